// SPDX-License-Identifier: MIT
#include "ds3000/demod/lock.h"

#include <array>
#include <string>

#include "tests/support/chip_test.h"
#include "tests/support/transcript_text.h"

namespace tests {
namespace {

class CheckFirstLockTest : public ChipTest {
 protected:
    // What an output looks like that the check leaves alone.
    static constexpr std::uint32_t untouched = 77777;

    // Check with fifteen readings of 0x59 that never turn negative.
    void expect_check(const std::array<unsigned, 15> &amplitudes, std::string_view rest) {
        std::string transcript = "read demod B3 -> 04\n";
        for (const unsigned amplitude : amplitudes) {
            transcript += read_line(0x59, amplitude);
        }
        board(transcript + std::string{rest});
        check();
        EXPECT_EQ(lock_state_, untouched);
    }

    void check() { EXPECT_EQ(ds3000_check_first_lock(&lock_state_), 0); }

    std::uint32_t lock_state_ = untouched;
};

constexpr const char *set_reg56_bit0 = R"(
    read demod 56 -> 5A
    write demod 56 5B
)";

TEST_F(CheckFirstLockTest, search_that_never_begins_fails_after_ten_sleeps) {
    board(repeat(10, "read demod B3 -> 38\nwait 10000") + "read demod B3 -> 38\n");

    check();

    EXPECT_EQ(lock_state_, LOCK_FAILED);
}

TEST_F(CheckFirstLockTest, eleventh_check_may_still_pass) {
    board(repeat(10, "read demod B3 -> 38\nwait 10000") + "read demod B3 -> 39\n" +
          repeat(15, "read demod 59 -> 03") + "wait 1000\n");

    check();

    EXPECT_EQ(lock_state_, untouched);
}

TEST_F(CheckFirstLockTest, search_state_below_4_is_no_beginning) {
    board(R"(
        read demod B3 -> 00
        wait 10000
        read demod B3 -> 01
        wait 10000
        read demod B3 -> 38
        wait 10000
        read demod B3 -> 03
        wait 10000
        read demod B3 -> 04
    )" + repeat(15, "read demod 59 -> 7F") +
          "wait 1000\n");

    check();

    EXPECT_EQ(lock_state_, untouched);
}

TEST_F(CheckFirstLockTest, any_other_search_state_passes_at_once) {
    for (const unsigned state : {0x04U, 0x37U, 0x39U, 0x40U, 0x80U, 0xB8U, 0xFFU}) {
        SCOPED_TRACE(state);
        board(read_line(0xB3, state) + repeat(15, "read demod 59 -> 10") + "wait 1000\n");

        check();

        EXPECT_EQ(lock_state_, untouched);
    }
}

TEST_F(CheckFirstLockTest, good_amplitudes_leave_register_56_alone) {
    expect_check({3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3}, "wait 1000");
}

TEST_F(CheckFirstLockTest, ten_good_amplitudes_of_fifteen_are_enough) {
    expect_check({2, 3, 2, 3, 2, 3, 2, 3, 2, 3, 3, 3, 3, 3, 127}, "wait 1000");
}

TEST_F(CheckFirstLockTest, nine_good_amplitudes_of_fifteen_set_bit_0_of_56) {
    expect_check({2, 3, 2, 3, 2, 3, 2, 3, 2, 3, 2, 3, 3, 3, 127},
                 std::string{set_reg56_bit0} + "wait 1000\n");
}

TEST_F(CheckFirstLockTest, amplitudes_of_0_set_bit_0_of_56) {
    expect_check({}, std::string{set_reg56_bit0} + "wait 1000\n");
}

TEST_F(CheckFirstLockTest, negative_amplitude_sets_bit_0_of_56_at_once) {
    board(std::string{"read demod B3 -> 04\nread demod 59 -> 80\n"} + set_reg56_bit0 +
          "wait 1000\n");
    check();
    EXPECT_EQ(lock_state_, untouched);

    // Even as the last one after fourteen good ones.
    board("read demod B3 -> 04\n" + repeat(14, "read demod 59 -> 7F") + "read demod 59 -> FF\n" +
          set_reg56_bit0 + "wait 1000\n");
    check();
    EXPECT_EQ(lock_state_, untouched);
}

TEST_F(CheckFirstLockTest, search_state_that_cannot_be_read_is_no_beginning) {
    board(repeat(10, "read demod B3 -> nack\nwait 10000") + "read demod B3 -> nack address\n");

    check();

    EXPECT_EQ(lock_state_, LOCK_FAILED);
}

TEST_F(CheckFirstLockTest, search_state_that_cannot_be_read_again_is_the_one_before) {
    board(repeat(1, "read demod B3 -> 38\nwait 10000") +
          repeat(9, "read demod B3 -> nack\nwait 10000") + "read demod B3 -> nack\n");

    check();

    EXPECT_EQ(lock_state_, LOCK_FAILED);
}

TEST_F(CheckFirstLockTest, amplitude_that_cannot_be_read_counts_the_one_before_again) {
    board("read demod B3 -> 04\n" + repeat(5, "read demod 59 -> 02") + "read demod 59 -> 03\n" +
          repeat(9, "read demod 59 -> nack") + "wait 1000\n");

    check();

    EXPECT_EQ(lock_state_, untouched);
}

class PollLockTest : public ChipTest {
 protected:
    static void use(std::int32_t chip_type, std::uint32_t standard) {
        ds3000_context.chip_type = chip_type;
        ds3000_context.standard = standard;
        ds3000_context.requested_standard = standard;
    }

    void expect_poll(std::string_view transcript, std::uint32_t expected,
                     std::int32_t status = DS3000_OK) {
        board(transcript);
        std::uint32_t lock_state = 77777;
        EXPECT_EQ(ds3000_poll_lock(&lock_state), status);
        EXPECT_EQ(lock_state, expected);
    }
};

// A poll's read of the micro-controller's hold, as long as it runs.
const std::string running = "read demod B2 -> 00\n";

// DVB-S lock.
const std::string dvbs_locked = R"(
    read demod D1 -> 07
    read demod 0D -> 07
)";

// The carrier where it was expected.
const std::string on_frequency = R"(
    read demod 5D -> 00
    write demod 5D 00
    read demod 5E -> 00
    read demod 5F -> 00
    write demod 5D 06
    read demod 5E -> 00
    read demod 5F -> 00
)";

// The programmed carrier `steps` of 96000/65536 kHz above the measured one.
std::string off_frequency(int steps) {
    return "read demod 5D -> C8\nwrite demod 5D C8\n" +
           read_word_lines(0x5E, 0x5F, static_cast<unsigned>(steps) & 0xFFFF) +
           "write demod 5D CE\n" + read_word_lines(0x5E, 0x5F, 0);
}

// 2730 steps are 3999 kHz, 2731 are 4000 kHz.
constexpr int steps_3999_khz = 2730;
constexpr int steps_4000_khz = 2731;

constexpr std::array<std::int32_t, 2> ds310x_chips{CHIP_DS3002B, CHIP_DS3103};

TEST_F(PollLockTest, null_output_is_refused_without_a_transfer) {
    use(CHIP_DS3002B, STANDARD_DVBS);
    ds3000_context.first_poll = 1;

    EXPECT_EQ(ds3000_poll_lock(nullptr), -3);

    EXPECT_EQ(ds3000_context.first_poll, 1);
    EXPECT_EQ(ds3000_context.ts_clock_pending, 0);
}

TEST_F(PollLockTest, held_chip_has_failed_before_any_other_register_is_read) {
    for (const std::int32_t chip_type : {CHIP_DS300X, CHIP_DS3002B, CHIP_DS3103, CHIP_UNKNOWN}) {
        for (const std::uint32_t standard : {STANDARD_DVBS, STANDARD_DVBS2}) {
            use(chip_type, standard);
            ds3000_context.first_poll = 1;

            expect_poll("read demod B2 -> 01", LOCK_FAILED);

            EXPECT_EQ(ds3000_context.first_poll, 1);
            EXPECT_EQ(ds3000_context.ts_clock_pending, 0);
        }
    }
}

TEST_F(PollLockTest, only_the_value_1_of_b2_means_held) {
    use(CHIP_DS3002B, STANDARD_DVBS);
    for (const unsigned control : {0x00U, 0x02U, 0x03U, 0x41U, 0xC1U}) {
        expect_poll(read_line(0xB2, control) + R"(
            read demod D1 -> 00
            read demod B3 -> 00
        )",
                    LOCK_SEARCHING);
    }
}

TEST_F(PollLockTest, first_poll_that_times_out_fails_and_is_repeated) {
    use(CHIP_DS3103, STANDARD_DVBS);
    ds3000_context.first_poll = 1;
    const std::string timed_out =
        running + repeat(10, "read demod B3 -> 38\nwait 10000") + "read demod B3 -> 38\n";

    expect_poll(timed_out, LOCK_FAILED);
    EXPECT_EQ(ds3000_context.first_poll, 1);
    EXPECT_EQ(ds3000_context.ts_clock_pending, 0);

    expect_poll(timed_out, LOCK_FAILED);
    EXPECT_EQ(ds3000_context.first_poll, 1);
}

TEST_F(PollLockTest, first_poll_that_passes_goes_on_and_is_not_repeated) {
    use(CHIP_DS3103, STANDARD_DVBS);
    ds3000_context.first_poll = 1;

    expect_poll(running + "read demod B3 -> 39\n" + repeat(15, "read demod 59 -> 05") + R"(
        wait 1000
        read demod D1 -> 00
        read demod B3 -> 00
    )",
                LOCK_SEARCHING);
    EXPECT_EQ(ds3000_context.first_poll, 0);

    expect_poll(running + "read demod D1 -> 00\nread demod B3 -> 00\n", LOCK_SEARCHING);
}

TEST_F(PollLockTest, dvbs_lock_needs_the_low_three_bits_of_both_registers) {
    for (const std::int32_t chip_type : {CHIP_DS300X, CHIP_DS3002B, CHIP_DS3103}) {
        use(chip_type, STANDARD_DVBS);
        for (const unsigned fec : {0x00U, 0x03U, 0x05U, 0x06U, 0xFBU, 0xFEU}) {
            expect_poll(running + read_line(0xD1, fec) + "read demod B3 -> 00\n", LOCK_SEARCHING);
        }
        for (const unsigned status : {0x00U, 0x03U, 0x05U, 0x06U, 0x88U, 0xF8U}) {
            expect_poll(running + "read demod D1 -> 07\n" + read_line(0x0D, status) +
                            "read demod B3 -> 00\n",
                        LOCK_SEARCHING);
        }
        ds3000_context.ts_clock_pending = 0;
        expect_poll(running + "read demod D1 -> 07\nread demod 0D -> FF\n" + on_frequency,
                    LOCK_LOCKED);
        expect_poll(running + "read demod D1 -> FF\nread demod 0D -> 07\n" + on_frequency,
                    LOCK_LOCKED);
    }
}

TEST_F(PollLockTest, any_standard_but_dvbs2_is_polled_as_dvbs) {
    use(CHIP_DS3002B, 7);
    expect_poll(running + dvbs_locked + on_frequency, LOCK_LOCKED);
}

TEST_F(PollLockTest, dvbs2_lock_needs_five_bits_of_0d) {
    use(CHIP_DS3002B, STANDARD_DVBS2);
    for (const unsigned status : {0x00U, 0x0FU, 0x7FU, 0x87U, 0x8BU, 0x8DU, 0x8EU, 0xF7U}) {
        expect_poll(
            running + "read demod 76 -> 40\n" + read_line(0x0D, status) + "read demod B3 -> 00\n",
            LOCK_SEARCHING);
    }
    for (const unsigned status : {0x8FU, 0xFFU, 0xDFU}) {
        ds3000_context.ts_clock_pending = 0;
        expect_poll(running + "read demod 76 -> 40\n" + read_line(0x0D, status) + on_frequency,
                    LOCK_LOCKED);
    }
}

TEST_F(PollLockTest, ds300x_dvbs2_lock_needs_five_bits_of_0d) {
    use(CHIP_DS300X, STANDARD_DVBS2);
    for (const unsigned status : {0x00U, 0x07U, 0x87U, 0x0FU, 0x8EU}) {
        expect_poll(
            running + "read demod 0D -> 00\n" + read_line(0x0D, status) + "read demod B3 -> 00\n",
            LOCK_SEARCHING);
    }
    ds3000_context.ts_clock_pending = 0;
    expect_poll(running + "read demod 0D -> 00\nread demod 0D -> 8F\n" + on_frequency, LOCK_LOCKED);
}

TEST_F(PollLockTest, dvbs_lock_status_that_cannot_be_read_is_the_byte_before) {
    use(CHIP_DS3002B, STANDARD_DVBS);

    expect_poll(running + "read demod D1 -> 07\nread demod 0D -> nack\n" + on_frequency,
                LOCK_LOCKED);

    expect_poll(running + R"(
        read demod D1 -> C0
        read demod B3 -> nack
    )",
                LOCK_FAILED);

    // All of it out of reach: nothing is held, nothing locked, nothing failed.
    expect_poll(R"(
        read demod B2 -> nack
        read demod D1 -> nack address
        read demod B3 -> nack
    )",
                LOCK_SEARCHING);
}

// DS300X: two DVB-S2 loop registers follow the received MODCOD.

const std::string not_locked = "read demod 0D -> 0F\nread demod B3 -> 00\n";

TEST_F(PollLockTest, ds300x_without_a_frame_header_leaves_the_loop_alone) {
    use(CHIP_DS300X, STANDARD_DVBS2);
    for (const unsigned status : {0x00U, 0x07U, 0xF7U}) {
        expect_poll(
            running + read_line(0x0D, status) + "read demod 0D -> 00\n" + "read demod B3 -> 00\n",
            LOCK_SEARCHING);
    }
}

TEST_F(PollLockTest, ds300x_8psk_loop_by_code_rate_without_pilots) {
    use(CHIP_DS300X, STANDARD_DVBS2);
    const std::array<std::string, 16> loops{"",
                                            "",
                                            "",
                                            "",
                                            "write demod 7C 01\nwrite demod 80 C9\n",
                                            "write demod 7C 01\nwrite demod 80 A8\n",
                                            "write demod 7C 01\nwrite demod 80 98\n",
                                            "",
                                            "write demod 7C 01\nwrite demod 80 98\n",
                                            "write demod 7C 01\nwrite demod 80 88\n",
                                            "write demod 7C 01\nwrite demod 80 88\n",
                                            "write demod 7C 01\nwrite demod 80 88\n",
                                            "write demod 7C 01\nwrite demod 80 88\n",
                                            "write demod 7C 01\nwrite demod 80 88\n",
                                            "write demod 7C 01\nwrite demod 80 88\n",
                                            "write demod 7C 01\nwrite demod 80 88\n"};
    for (unsigned code_rate = 0; code_rate < 16; ++code_rate) {
        SCOPED_TRACE(code_rate);
        expect_poll(running + "read demod 0D -> 08\n" + read_line(0x7E, 0x40 | code_rate) +
                        loops[code_rate] + not_locked,
                    LOCK_SEARCHING);
        // Bit 4 is no part of it.
        expect_poll(running + "read demod 0D -> FF\n" + read_line(0x7E, 0x50 | code_rate) +
                        loops[code_rate] + not_locked,
                    LOCK_SEARCHING);
    }
}

TEST_F(PollLockTest, ds300x_8psk_loop_with_pilots_up_to_5_6_is_one_setting) {
    use(CHIP_DS300X, STANDARD_DVBS2);
    for (unsigned code_rate = 0; code_rate < 8; ++code_rate) {
        SCOPED_TRACE(code_rate);
        expect_poll(running + "read demod 0D -> 08\n" + read_line(0x7E, 0x60 | code_rate) + R"(
            write demod 7C 01
            write demod AE 0F
            write demod 80 54
            write demod 81 85
        )" + not_locked,
                    LOCK_SEARCHING);
    }
}

TEST_F(PollLockTest, ds300x_8psk_loop_from_5_6_on_is_the_same_with_pilots) {
    use(CHIP_DS300X, STANDARD_DVBS2);
    expect_poll(running + R"(
        read demod 0D -> 08
        read demod 7E -> 68
        write demod 7C 01
        write demod 80 98
    )" + not_locked,
                LOCK_SEARCHING);
    for (unsigned code_rate = 9; code_rate < 16; ++code_rate) {
        SCOPED_TRACE(code_rate);
        expect_poll(running + "read demod 0D -> 08\n" + read_line(0x7E, 0x60 | code_rate) + R"(
            write demod 7C 01
            write demod 80 88
        )" + not_locked,
                    LOCK_SEARCHING);
    }
}

TEST_F(PollLockTest, ds300x_qpsk_loop_is_one_setting) {
    use(CHIP_DS300X, STANDARD_DVBS2);
    for (unsigned modcod = 0x00; modcod < 0x40; ++modcod) {
        expect_poll(running + "read demod 0D -> 08\n" + read_line(0x7E, modcod) + R"(
            write demod 7C 00
            write demod 80 88
            write demod 81 88
        )" + not_locked,
                    LOCK_SEARCHING);
    }
}

TEST_F(PollLockTest, ds300x_16apsk_and_32apsk_leave_the_loop_alone) {
    use(CHIP_DS300X, STANDARD_DVBS2);
    for (unsigned modcod = 0x80; modcod < 0x100; ++modcod) {
        expect_poll(running + "read demod 0D -> 08\n" + read_line(0x7E, modcod) + not_locked,
                    LOCK_SEARCHING);
    }
}

TEST_F(PollLockTest, ds300x_adjusts_the_loop_on_every_poll_and_before_the_lock_is_read) {
    use(CHIP_DS300X, STANDARD_DVBS2);
    const std::string locked = running + R"(
        read demod 0D -> 8F
        read demod 7E -> 46
        write demod 7C 01
        write demod 80 98
        read demod 0D -> 8F
    )" + on_frequency;

    expect_poll(locked, LOCK_LOCKED);
    expect_poll(locked, LOCK_LOCKED);
}

// DS3002B, DS3103: one recovery reset a connect when the energy is spread too far.

// A measured point: signed 10-bit x and y.
struct Point {
    int x = 0;
    int y = 0;
};

using Points = std::array<Point, 21>;

std::string energy_value_lines(unsigned index, int value) {
    const auto bits = static_cast<unsigned>(value) & 0x3FF;
    return write_line(0x7A, 4 * index) + read_line(0x7A, 4 * index | (bits & 3)) +
           read_line(0x7B, bits >> 2);
}

// The 42 values of an energy measurement.
std::string energy_lines(const Points &points) {
    std::string lines;
    for (unsigned i = 0; i < points.size(); ++i) {
        lines += energy_value_lines(i, points[i].x) + energy_value_lines(i + 21, points[i].y);
    }
    return lines;
}

const std::string recovery_conditions = R"(
    read demod 76 -> BF
    read demod B3 -> 21
    read demod 7E -> DF
)";

const std::string recovery_reset = R"(
    write demod BD 03
    write demod B2 01
    write demod 00 01
    wait 1000
    write demod 00 00
    write demod B2 00
)";

const std::string dvbs2_not_locked = "read demod 0D -> 00\nread demod B3 -> 00\n";

class DvbS2RecoveryTest : public PollLockTest {
 protected:
    DvbS2RecoveryTest() { use(CHIP_DS3002B, STANDARD_DVBS2); }

    void expect_recovery(const Points &points) {
        ds3000_context.s2_recovery_done = 0;
        expect_poll(running + recovery_conditions + energy_lines(points) + recovery_reset +
                        dvbs2_not_locked,
                    LOCK_SEARCHING);
        EXPECT_EQ(ds3000_context.s2_recovery_done, 1);
    }

    void expect_no_recovery(const Points &points) {
        ds3000_context.s2_recovery_done = 0;
        expect_poll(running + recovery_conditions + energy_lines(points) + dvbs2_not_locked,
                    LOCK_SEARCHING);
        EXPECT_EQ(ds3000_context.s2_recovery_done, 0);
    }
};

TEST_F(DvbS2RecoveryTest, stops_at_bit_6_of_76) {
    for (const unsigned reading : {0x40U, 0x7FU, 0xFFU}) {
        expect_poll(running + read_line(0x76, reading) + dvbs2_not_locked, LOCK_SEARCHING);
    }
}

TEST_F(DvbS2RecoveryTest, stops_after_76_when_it_was_done_before) {
    ds3000_context.s2_recovery_done = 1;

    expect_poll(running + "read demod 76 -> BF\n" + dvbs2_not_locked, LOCK_SEARCHING);

    EXPECT_EQ(ds3000_context.s2_recovery_done, 1);
}

TEST_F(DvbS2RecoveryTest, stops_at_a_search_state_below_33) {
    for (const unsigned state : {0x00U, 0x20U, 0xE0U, 0x60U, 0xDFU}) {
        expect_poll(running + "read demod 76 -> 00\n" + read_line(0xB3, state) + dvbs2_not_locked,
                    LOCK_SEARCHING);
    }
}

TEST_F(DvbS2RecoveryTest, stops_at_pilots) {
    for (const unsigned state : {0x21U, 0x3FU, 0xE1U}) {
        expect_poll(running + "read demod 76 -> 00\n" + read_line(0xB3, state) +
                        "read demod 7E -> 20\n" + dvbs2_not_locked,
                    LOCK_SEARCHING);
    }
}

TEST_F(DvbS2RecoveryTest, is_not_for_dvbs) {
    use(CHIP_DS3002B, STANDARD_DVBS);

    expect_poll(running + "read demod D1 -> 00\nread demod B3 -> 00\n", LOCK_SEARCHING);
}

TEST_F(DvbS2RecoveryTest, reads_42_energy_values_and_resets_once) {
    // Every point but the eleventh at 1, 0; that one at 2, 1: 100 × 20 / 5 is 400.
    expect_poll(running + R"(
        read demod 76 -> 00
        read demod B3 -> 3F
        read demod 7E -> 00
        write demod 7A 00
        read demod 7A -> 01
        read demod 7B -> 00
        write demod 7A 54
        read demod 7A -> 54
        read demod 7B -> 00
        write demod 7A 04
        read demod 7A -> 05
        read demod 7B -> 00
        write demod 7A 58
        read demod 7A -> 58
        read demod 7B -> 00
        write demod 7A 08
        read demod 7A -> 09
        read demod 7B -> 00
        write demod 7A 5C
        read demod 7A -> 5C
        read demod 7B -> 00
        write demod 7A 0C
        read demod 7A -> 0D
        read demod 7B -> 00
        write demod 7A 60
        read demod 7A -> 60
        read demod 7B -> 00
        write demod 7A 10
        read demod 7A -> 11
        read demod 7B -> 00
        write demod 7A 64
        read demod 7A -> 64
        read demod 7B -> 00
        write demod 7A 14
        read demod 7A -> 15
        read demod 7B -> 00
        write demod 7A 68
        read demod 7A -> 68
        read demod 7B -> 00
        write demod 7A 18
        read demod 7A -> 19
        read demod 7B -> 00
        write demod 7A 6C
        read demod 7A -> 6C
        read demod 7B -> 00
        write demod 7A 1C
        read demod 7A -> 1D
        read demod 7B -> 00
        write demod 7A 70
        read demod 7A -> 70
        read demod 7B -> 00
        write demod 7A 20
        read demod 7A -> 21
        read demod 7B -> 00
        write demod 7A 74
        read demod 7A -> 74
        read demod 7B -> 00
        write demod 7A 24
        read demod 7A -> 25
        read demod 7B -> 00
        write demod 7A 78
        read demod 7A -> 78
        read demod 7B -> 00
        write demod 7A 28
        read demod 7A -> 2A
        read demod 7B -> 00
        write demod 7A 7C
        read demod 7A -> 7D
        read demod 7B -> 00
        write demod 7A 2C
        read demod 7A -> 2D
        read demod 7B -> 00
        write demod 7A 80
        read demod 7A -> 80
        read demod 7B -> 00
        write demod 7A 30
        read demod 7A -> 31
        read demod 7B -> 00
        write demod 7A 84
        read demod 7A -> 84
        read demod 7B -> 00
        write demod 7A 34
        read demod 7A -> 35
        read demod 7B -> 00
        write demod 7A 88
        read demod 7A -> 88
        read demod 7B -> 00
        write demod 7A 38
        read demod 7A -> 39
        read demod 7B -> 00
        write demod 7A 8C
        read demod 7A -> 8C
        read demod 7B -> 00
        write demod 7A 3C
        read demod 7A -> 3D
        read demod 7B -> 00
        write demod 7A 90
        read demod 7A -> 90
        read demod 7B -> 00
        write demod 7A 40
        read demod 7A -> 41
        read demod 7B -> 00
        write demod 7A 94
        read demod 7A -> 94
        read demod 7B -> 00
        write demod 7A 44
        read demod 7A -> 45
        read demod 7B -> 00
        write demod 7A 98
        read demod 7A -> 98
        read demod 7B -> 00
        write demod 7A 48
        read demod 7A -> 49
        read demod 7B -> 00
        write demod 7A 9C
        read demod 7A -> 9C
        read demod 7B -> 00
        write demod 7A 4C
        read demod 7A -> 4D
        read demod 7B -> 00
        write demod 7A A0
        read demod 7A -> A0
        read demod 7B -> 00
        write demod 7A 50
        read demod 7A -> 51
        read demod 7B -> 00
        write demod 7A A4
        read demod 7A -> A4
        read demod 7B -> 00
        write demod BD 03
        write demod B2 01
        write demod 00 01
        wait 1000
        write demod 00 00
        write demod B2 00
        read demod 0D -> 00
        read demod B3 -> 00
    )",
                LOCK_SEARCHING);
    EXPECT_EQ(ds3000_context.s2_recovery_done, 1);

    expect_poll(running + "read demod 76 -> 00\n" + dvbs2_not_locked, LOCK_SEARCHING);
}

TEST_F(DvbS2RecoveryTest, spread_of_exactly_5_percent_is_within_bounds) {
    // 100 × 100 in the middle; 22 × 22 + 4 × 4 = 500 beside it.
    Points points{};
    points[10] = {100, 0};
    points[0] = {22, 4};

    expect_no_recovery(points);
}

TEST_F(DvbS2RecoveryTest, spread_above_5_percent_is_rounded_up_to_6) {
    Points points{};
    points[10] = {100, 0};
    points[0] = {22, 4};
    points[20] = {0, 1};

    expect_recovery(points);
}

TEST_F(DvbS2RecoveryTest, every_point_but_the_eleventh_adds_to_the_spread) {
    for (std::size_t i = 0; i < 21; ++i) {
        SCOPED_TRACE(i);
        Points points{};
        points[10] = {60, 80};
        points[i == 0 ? 1 : 0] = {-4, -22};
        if (i != 10) {
            points[i].x = i == 1 ? 1 : -1;
            expect_recovery(points);
        } else {
            points[i].x = 61;
            expect_no_recovery(points);
        }
    }
}

TEST_F(DvbS2RecoveryTest, values_are_signed_10_bit_numbers) {
    // -512 squared is 262144, 5 % of it 13107.2; 111 × 111 + 28 × 28 + 1 is 13106.
    Points points{};
    points[10] = {-512, 0};
    points[3] = {-111, 28};
    points[4] = {1, 0};
    expect_no_recovery(points);

    points[5] = {0, -1};
    expect_no_recovery(points);

    points[6] = {-1, 0};
    expect_recovery(points);

    // 511 squared is 261121, 5 % of it 13056.05; 111 × 111 + 27 × 27 + 2 × 2 + 1 + 1 is 13056.
    points = {};
    points[10] = {0, 511};
    points[3] = {-111, 27};
    points[7] = {2, -1};
    points[8] = {1, 0};
    expect_no_recovery(points);

    points[9] = {0, -1};
    expect_recovery(points);
}

TEST_F(DvbS2RecoveryTest, largest_spread_does_not_overflow) {
    Points points{};
    points.fill({-512, -512});

    expect_recovery(points);
}

TEST_F(DvbS2RecoveryTest, no_energy_in_the_middle_means_no_reset) {
    Points points{};
    points.fill({500, 500});
    points[10] = {};

    expect_no_recovery(points);
}

TEST_F(DvbS2RecoveryTest, value_bytes_carry_their_low_bits_in_7a) {
    // Bits 7 to 2 of 0x7A are no part of the value: 0x7B = 19, low bits 0, is 100.
    std::string lines;
    for (unsigned i = 0; i < 21; ++i) {
        const unsigned high = i == 10 ? 25 : 0;
        lines += write_line(0x7A, 4 * i) + read_line(0x7A, 0xFC) + read_line(0x7B, high) +
                 write_line(0x7A, 4 * (i + 21)) + read_line(0x7A, 0xFC) + read_line(0x7B, 0);
    }
    expect_poll(running + recovery_conditions + lines + dvbs2_not_locked, LOCK_SEARCHING);
    EXPECT_EQ(ds3000_context.s2_recovery_done, 0);
}

TEST_F(DvbS2RecoveryTest, runs_on_every_chip_but_ds300x) {
    Points points{};
    points[10] = {1, 0};
    points[0] = {1, 0};
    for (const std::int32_t chip_type : {+CHIP_DS3002B, +CHIP_DS3103, +CHIP_UNKNOWN}) {
        use(chip_type, STANDARD_DVBS2);
        expect_recovery(points);
    }
}

TEST_F(DvbS2RecoveryTest, lock_is_read_after_the_reset) {
    Points points{};
    points[10] = {1, 0};
    points[0] = {1, 0};

    expect_poll(running + recovery_conditions + energy_lines(points) + recovery_reset +
                    "read demod 0D -> 8F\n" + on_frequency,
                LOCK_LOCKED);
}

TEST_F(DvbS2RecoveryTest, value_that_cannot_be_read_is_the_one_before) {
    // The same bytes for all values: 21 equal points, with or without an answer.
    std::string lines = "write demod 7A 00\nread demod 7A -> 03\nread demod 7B -> 01\n";
    for (unsigned i = 1; i < 42; ++i) {
        const unsigned index = i / 2 + (i % 2 != 0 ? 21 : 0);
        lines += write_line(0x7A, 4 * index) + "read demod 7A -> nack\nread demod 7B -> nack\n";
    }
    expect_poll(running + recovery_conditions + lines + recovery_reset + dvbs2_not_locked,
                LOCK_SEARCHING);
    EXPECT_EQ(ds3000_context.s2_recovery_done, 1);
}

TEST_F(DvbS2RecoveryTest, values_that_never_could_be_read_are_0) {
    std::string lines;
    for (unsigned i = 0; i < 42; ++i) {
        const unsigned index = i / 2 + (i % 2 != 0 ? 21 : 0);
        lines += write_line(0x7A, 4 * index) + "read demod 7A -> nack\nread demod 7B -> nack\n";
    }
    expect_poll(running + recovery_conditions + lines + dvbs2_not_locked, LOCK_SEARCHING);
    EXPECT_EQ(ds3000_context.s2_recovery_done, 0);
}

// Not locked.

TEST_F(PollLockTest, unlocked_poll_arms_the_ts_clock_again) {
    use(CHIP_DS3002B, STANDARD_DVBS);
    ds3000_context.ts_clock_pending = 0;

    expect_poll(running + "read demod D1 -> 00\nread demod B3 -> 3F\n", LOCK_SEARCHING);

    EXPECT_EQ(ds3000_context.ts_clock_pending, 1);
}

TEST_F(PollLockTest, fixed_request_has_failed_when_the_search_ended_either_way) {
    for (const std::int32_t chip_type : {CHIP_DS300X, CHIP_DS3002B, CHIP_DS3103}) {
        use(chip_type, STANDARD_DVBS);
        for (const unsigned state : {0x40U, 0x80U, 0xC0U, 0xFFU}) {
            expect_poll(running + "read demod D1 -> 00\n" + read_line(0xB3, state), LOCK_FAILED);
        }
        use(chip_type, STANDARD_DVBS2);
        const std::string no_lock = chip_type == CHIP_DS300X
                                        ? "read demod 0D -> 00\nread demod 0D -> 00\n"
                                        : "read demod 76 -> 40\nread demod 0D -> 00\n";
        for (const unsigned state : {0x40U, 0x80U, 0xC0U, 0xFFU}) {
            expect_poll(running + no_lock + read_line(0xB3, state), LOCK_FAILED);
        }
        expect_poll(running + no_lock + read_line(0xB3, 0x3F), LOCK_SEARCHING);
    }
}

TEST_F(PollLockTest, automatic_request_restarts_the_search_that_failed) {
    for (const std::int32_t chip_type : {CHIP_DS300X, CHIP_DS3002B, CHIP_DS3103}) {
        for (const std::uint32_t locked_once : {0U, 1U}) {
            for (const unsigned state : {0x80U, 0xC0U}) {
                use(chip_type, STANDARD_DVBS);
                ds3000_context.requested_standard = STANDARD_AUTO;
                ds3000_context.locked_once = locked_once;

                expect_poll(running + "read demod D1 -> 00\n" + read_line(0xB3, state) + R"(
                    write demod B2 01
                    wait 2000
                    write demod B2 00
                )",
                            LOCK_FAILED);

                EXPECT_EQ(ds3000_context.standard, STANDARD_DVBS);
                EXPECT_EQ(ds3000_context.ts_clock_pending, 1);
            }
        }
    }
}

TEST_F(PollLockTest, automatic_request_waits_while_the_search_goes_on) {
    use(CHIP_DS3002B, STANDARD_DVBS);
    ds3000_context.requested_standard = STANDARD_AUTO;

    expect_poll(running + "read demod D1 -> 00\nread demod B3 -> 3F\n", LOCK_SEARCHING);

    EXPECT_EQ(ds3000_context.standard, STANDARD_DVBS);
}

TEST_F(PollLockTest, automatic_request_never_switches_after_the_first_lock) {
    for (const std::int32_t chip_type : {CHIP_DS300X, CHIP_DS3002B, CHIP_DS3103}) {
        use(chip_type, STANDARD_DVBS);
        ds3000_context.requested_standard = STANDARD_AUTO;
        ds3000_context.ts_clock_pending = 0;
        ds3000_context.locked_once = 0;

        expect_poll(running + dvbs_locked + on_frequency, LOCK_LOCKED);
        EXPECT_EQ(ds3000_context.locked_once, 1U);

        expect_poll(running + "read demod D1 -> 00\nread demod B3 -> 40\n", LOCK_SEARCHING);
        EXPECT_EQ(ds3000_context.standard, STANDARD_DVBS);
    }
}

TEST_F(PollLockTest, automatic_request_on_ds3002b_switches_to_dvbs2_and_back) {
    use(CHIP_DS3002B, STANDARD_DVBS);
    ds3000_context.requested_standard = STANDARD_AUTO;
    ds3000_context.symbol_rate_ksps = 27500;
    ds3000_context.carrier_offset_khz = 3000;

    expect_poll(running + R"(
        read demod D1 -> 00
        read demod B3 -> 40
        write demod 07 80
        write demod 07 00
        write demod 5F 08
        write demod 5E 00
        write demod B2 01
        write demod 00 01
        read demod FD -> 43
        read demod 08 -> 03
        write demod 08 07
    )" + golden("lock_dvbs2_table_ds310x.txt") +
                    R"(
        read demod 4D -> 93
        write demod 4D 91
        read demod 30 -> 18
        write demod 30 08
        read demod FE -> 50
        write demod FE 52
        write demod EA CB
        read demod 22 -> AA
        read demod 24 -> D5
        write demod 22 2A
        write demod 24 55
        read demod FD -> 43
        read demod CA -> 23
        write demod CA 22
        write demod 33 99
        read demod 29 -> FF
        write demod 29 7F
        read demod 29 -> 7F
        write demod 29 6F
        read demod 25 -> 82
        write demod 25 8A
        read demod 27 -> 21
        write demod 27 31
        write demod C3 08
        write demod C8 06
        write demod C4 08
        write demod C7 00
        write demod 61 55
        write demod 62 49
        read demod 56 -> 03
        write demod 56 02
        read demod 76 -> B8
        write demod 76 38
        write demod 00 00
        write demod B2 00
    )",
                LOCK_SEARCHING);
    EXPECT_EQ(ds3000_context.standard, STANDARD_DVBS2);
    EXPECT_EQ(ds3000_context.requested_standard, STANDARD_AUTO);
    EXPECT_EQ(ds3000_context.carrier_offset_khz, 3000);

    expect_poll(running + R"(
        read demod 76 -> 40
        read demod 0D -> 0F
        read demod B3 -> 40
        write demod 07 80
        write demod 07 00
        write demod 5F 08
        write demod 5E 00
        write demod B2 01
        write demod 00 01
        read demod FD -> 43
        read demod 08 -> 07
        write demod 08 03
    )" + golden("lock_dvbs_table_ds310x.txt") +
                    R"(
        read demod 4D -> 91
        write demod 4D 91
        read demod 30 -> 08
        write demod 30 08
        read demod FE -> 52
        write demod FE 51
        write demod EA C7
        read demod 22 -> 2A
        read demod 24 -> 55
        write demod 22 AA
        write demod 24 55
        read demod FD -> 43
        read demod CA -> 22
        write demod CA 22
        write demod 33 99
        read demod 29 -> 6F
        write demod 29 6F
        read demod 29 -> 6F
        write demod 29 6F
        read demod 25 -> 82
        write demod 25 8A
        read demod 27 -> 31
        write demod 27 31
        write demod C3 08
        write demod C8 06
        write demod C4 08
        write demod C7 00
        write demod 61 55
        write demod 62 49
        read demod 56 -> 02
        write demod 56 02
        read demod 76 -> 38
        write demod 76 38
        write demod 00 00
        write demod B2 00
    )",
                LOCK_SEARCHING);
    EXPECT_EQ(ds3000_context.standard, STANDARD_DVBS);
    EXPECT_EQ(ds3000_context.first_poll, 0);
    EXPECT_EQ(ds3000_context.locked_once, 0U);
}

TEST_F(PollLockTest, automatic_request_on_ds3103_switches_with_board_options_and_mode_2) {
    use(CHIP_DS3103, STANDARD_DVBS2);
    ds3000_context.requested_standard = STANDARD_AUTO;
    ds3000_context.symbol_rate_ksps = 5000;
    ds3000_context.carrier_offset_khz = -1500;
    ds3000_context.spectrum_inverted = 1;
    ds3000_context.reg30_bit4_enable = 1;

    expect_poll(running + R"(
        read demod 76 -> 40
        read demod 0D -> 00
        read demod B3 -> 79
        write demod 07 80
        write demod 07 00
        write demod 5F FC
        write demod 5E 01
        write demod B2 01
        write demod 00 01
        read demod FD -> 0A
        read demod 08 -> FF
        write demod 08 FB
    )" + golden("lock_dvbs_table_ds310x.txt") +
                    R"(
        read demod 4D -> 91
        write demod 4D 93
        read demod 30 -> 08
        write demod 30 18
        read demod FE -> AF
        write demod FE A0
        write demod EA 41
        read demod 22 -> 00
        read demod 24 -> C0
        write demod 22 80
        write demod 24 40
        read demod FD -> 0A
        read demod CA -> 22
        write demod CA 23
        write demod 33 99
        read demod 29 -> 90
        write demod 29 10
        read demod 29 -> 10
        write demod 29 00
        read demod 25 -> 82
        write demod 25 8A
        read demod 27 -> 21
        write demod 27 31
        write demod C3 08
        write demod C8 10
        write demod C4 08
        write demod C7 00
        write demod 61 55
        write demod 62 0D
        read demod 56 -> FF
        write demod 56 FE
        read demod 76 -> FF
        write demod 76 7F
        write demod 00 00
        write demod B2 00
    )",
                LOCK_SEARCHING);

    EXPECT_EQ(ds3000_context.standard, STANDARD_DVBS);
    EXPECT_EQ(ds3000_context.carrier_offset_khz, -1500);
}

TEST_F(PollLockTest, automatic_request_on_ds300x_switches_to_dvbs2_and_back) {
    use(CHIP_DS300X, STANDARD_DVBS);
    ds3000_context.requested_standard = STANDARD_AUTO;
    ds3000_context.symbol_rate_ksps = 3000;
    ds3000_context.carrier_offset_khz = 3000;

    expect_poll(running + R"(
        read demod D1 -> 00
        read demod B3 -> 40
        write demod B2 01
        read demod FD -> 44
        read demod 08 -> 03
        write demod 08 07
    )" + golden("lock_dvbs2_table_ds300x.txt") +
                    R"(
        write demod C0 04
        write demod 8A 09
        write demod 8B 22
        write demod 8C 88
        write demod FE 00
        read demod FD -> 44
        read demod CA -> 23
        write demod CA 22
        write demod 33 99
        read demod 29 -> FF
        write demod 29 7F
        read demod 29 -> 7F
        write demod 29 6F
        read demod 25 -> 82
        write demod 25 8A
        read demod 27 -> 31
        write demod 27 21
        write demod C3 08
        write demod C8 20
        write demod C4 08
        write demod C7 00
        write demod 61 00
        write demod 62 08
        read demod 56 -> 01
        write demod 56 00
        read demod 76 -> 80
        write demod 76 00
        write demod B2 00
    )",
                LOCK_SEARCHING);
    EXPECT_EQ(ds3000_context.standard, STANDARD_DVBS2);

    expect_poll(running + R"(
        read demod 0D -> 00
        read demod 0D -> 00
        read demod B3 -> 40
        write demod B2 01
        read demod FD -> A8
        read demod 08 -> 07
        write demod 08 03
    )" + golden("lock_dvbs_table_ds300x.txt") +
                    R"(
        read demod FE -> B6
        write demod FE 80
        read demod FD -> A8
        read demod CA -> 22
        write demod CA 23
        write demod 33 99
        read demod 29 -> 6F
        write demod 29 6F
        read demod 29 -> 6F
        write demod 29 6F
        read demod 25 -> 82
        write demod 25 8A
        read demod 27 -> 21
        write demod 27 31
        write demod C3 08
        write demod C8 20
        write demod C4 08
        write demod C7 00
        write demod 61 00
        write demod 62 08
        read demod 56 -> 01
        write demod 56 00
        read demod 76 -> 00
        write demod 76 00
        write demod B2 00
    )",
                LOCK_SEARCHING);
    EXPECT_EQ(ds3000_context.standard, STANDARD_DVBS);
}

TEST_F(PollLockTest, automatic_request_on_an_unknown_chip_switches_the_standard_bit_alone) {
    use(CHIP_UNKNOWN, STANDARD_DVBS);
    ds3000_context.requested_standard = STANDARD_AUTO;

    expect_poll(running + R"(
        read demod D1 -> 00
        read demod B3 -> 40
        write demod B2 01
        read demod 08 -> 03
        write demod 08 07
        write demod B2 00
    )",
                LOCK_SEARCHING);

    EXPECT_EQ(ds3000_context.standard, STANDARD_DVBS2);
}

TEST_F(PollLockTest, failing_table_ends_early_and_the_switch_goes_on) {
    use(CHIP_DS300X, STANDARD_DVBS);
    ds3000_context.requested_standard = STANDARD_AUTO;
    ds3000_context.symbol_rate_ksps = 10001;

    expect_poll(running + R"(
        read demod D1 -> 00
        read demod B3 -> 40
        write demod B2 01
        read demod FD -> 44
        read demod 08 -> 03
        write demod 08 07
        write demod 23 0F
        write demod 08 07 -> nack
        write demod FE 00
        read demod FD -> 44
        read demod CA -> 23
        write demod CA 22
        write demod 33 99
        read demod 29 -> 00
        write demod 29 00
        read demod 29 -> 00
        write demod 29 00
        read demod 25 -> 00
        write demod 25 08
        read demod 27 -> 10
        write demod 27 00
        write demod C3 08
        write demod C8 06
        write demod C4 08
        write demod C7 00
        write demod 61 AB
        write demod 62 1A
        read demod 56 -> 00
        write demod 56 00
        read demod 76 -> 00
        write demod 76 00
        write demod B2 00
    )",
                LOCK_SEARCHING);

    EXPECT_EQ(ds3000_context.standard, STANDARD_DVBS2);
}

// Locked.

TEST_F(PollLockTest, lock_within_3999_khz_is_accepted_on_every_chip) {
    for (const std::int32_t chip_type : {CHIP_DS300X, CHIP_DS3002B, CHIP_DS3103}) {
        for (const int steps : {0, 1, -1, steps_3999_khz, -steps_3999_khz}) {
            SCOPED_TRACE(steps);
            use(chip_type, STANDARD_DVBS);
            ds3000_context.locked_once = 0;

            expect_poll(running + dvbs_locked + off_frequency(steps), LOCK_LOCKED);

            EXPECT_EQ(ds3000_context.locked_once, 1U);
            EXPECT_EQ(ds3000_context.ts_clock_pending, 0);
        }
    }
}

TEST_F(PollLockTest, lock_4000_khz_off_on_ds300x_is_rejected_and_held) {
    for (const int steps : {steps_4000_khz, -steps_4000_khz, 15000, -15000}) {
        SCOPED_TRACE(steps);
        use(CHIP_DS300X, STANDARD_DVBS);
        ds3000_context.locked_once = 0;

        expect_poll(running + dvbs_locked + off_frequency(steps) + R"(
            write demod B2 01
            write demod 05 10
        )",
                    LOCK_FAILED);
        EXPECT_EQ(ds3000_context.locked_once, 1U);

        expect_poll("read demod B2 -> 01", LOCK_FAILED);
    }
}

TEST_F(PollLockTest, lock_4000_khz_off_on_ds3002b_and_ds3103_is_rejected_and_held) {
    for (const std::int32_t chip_type : ds310x_chips) {
        for (const int steps : {steps_4000_khz, -steps_4000_khz, 15000, -15000}) {
            SCOPED_TRACE(steps);
            use(chip_type, STANDARD_DVBS);
            ds3000_context.locked_once = 0;

            expect_poll(running + dvbs_locked + off_frequency(steps) + R"(
                write demod B2 01
                write demod 00 01
            )",
                        LOCK_FAILED);
            EXPECT_EQ(ds3000_context.locked_once, 1U);

            expect_poll("read demod B2 -> 01", LOCK_FAILED);
        }
    }
}

TEST_F(PollLockTest, dvbs2_lock_4000_khz_off_is_rejected_as_well) {
    use(CHIP_DS3103, STANDARD_DVBS2);

    expect_poll(running + "read demod 76 -> 40\nread demod 0D -> 8F\n" +
                    off_frequency(steps_4000_khz) + "write demod B2 01\nwrite demod 00 01\n",
                LOCK_FAILED);
}

TEST_F(PollLockTest, lock_of_an_unknown_chip_is_refused_after_the_offset_was_read) {
    use(CHIP_UNKNOWN, STANDARD_DVBS);
    ds3000_context.ts_clock_pending = 1;

    expect_poll(running + dvbs_locked + on_frequency, LOCK_FAILED, DS3000_UNKNOWN_CHIP);

    EXPECT_EQ(ds3000_context.locked_once, 1U);
    EXPECT_EQ(ds3000_context.ts_clock_pending, 1);
}

TEST_F(PollLockTest, unknown_chip_that_is_not_locked_is_no_error) {
    use(CHIP_UNKNOWN, STANDARD_DVBS);

    expect_poll(running + "read demod D1 -> 00\nread demod B3 -> 40\n", LOCK_FAILED);
}

TEST_F(PollLockTest, first_lock_adapts_the_ts_clock_once) {
    use(CHIP_DS3002B, STANDARD_DVBS);
    ds3000_context.ts_clock_pending = 1;

    expect_poll(running + dvbs_locked + on_frequency + R"(
        read demod 6D -> 56
        read demod 6E -> 49
        read demod E6 -> 40
        read demod E0 -> 00
        read demod FD -> 43
        read demod 22 -> 80
        read demod 24 -> 40
        read demod FE -> 50
        write demod FE 51
        write demod EA C7
    )",
                LOCK_LOCKED);
    EXPECT_EQ(ds3000_context.ts_clock_pending, 0);
    EXPECT_EQ(ds3000_context.master_clock_khz, 72000U);

    expect_poll(running + dvbs_locked + on_frequency, LOCK_LOCKED);
}

TEST_F(PollLockTest, ts_clock_is_adapted_again_after_an_unlocked_poll) {
    use(CHIP_DS300X, STANDARD_DVBS);

    expect_poll(running + "read demod D1 -> 03\nread demod B3 -> 00\n", LOCK_SEARCHING);

    expect_poll(running + dvbs_locked + on_frequency + R"(
        read demod 6D -> 56
        read demod 6E -> 49
        read demod E6 -> 40
        read demod E0 -> 00
        read demod FD -> A0
        read demod FE -> B6
        write demod FE BF
    )",
                LOCK_LOCKED);
    EXPECT_EQ(ds3000_context.ts_clock_pending, 0);
}

TEST_F(PollLockTest, rejected_lock_adapts_the_ts_clock_all_the_same) {
    use(CHIP_DS3103, STANDARD_DVBS);
    ds3000_context.ts_clock_pending = 1;

    expect_poll(running + dvbs_locked + off_frequency(steps_4000_khz) + R"(
        write demod B2 01
        write demod 00 01
        read demod 6D -> 56
        read demod 6E -> 49
        read demod E6 -> 40
        read demod E0 -> 00
        read demod FD -> 43
        read demod 22 -> 80
        read demod 24 -> 40
        read demod FE -> 50
        write demod FE 51
        write demod EA C7
    )",
                LOCK_FAILED);
    EXPECT_EQ(ds3000_context.ts_clock_pending, 0);

    use(CHIP_DS300X, STANDARD_DVBS);
    ds3000_context.ts_clock_pending = 1;
    expect_poll(running + dvbs_locked + off_frequency(-steps_4000_khz) + R"(
        write demod B2 01
        write demod 05 10
        read demod 6D -> 00
        read demod 6E -> 00
    )",
                LOCK_FAILED);
    EXPECT_EQ(ds3000_context.ts_clock_pending, 0);
}

TEST_F(PollLockTest, ts_clock_that_cannot_be_adapted_is_no_error) {
    use(CHIP_DS3002B, STANDARD_DVBS);
    ds3000_context.ts_clock_pending = 1;

    expect_poll(running + dvbs_locked + on_frequency + R"(
        read demod 6D -> 00
        read demod 6E -> 00
    )",
                LOCK_LOCKED);

    EXPECT_EQ(ds3000_context.ts_clock_pending, 0);
}

TEST_F(PollLockTest, first_dvbs2_poll_after_a_connect_goes_through_every_step) {
    use(CHIP_DS3002B, STANDARD_DVBS2);
    ds3000_context.first_poll = 1;
    ds3000_context.ts_clock_pending = 1;
    Points points{};
    points[10] = {100, 0};

    expect_poll(running + "read demod B3 -> 39\n" + repeat(15, "read demod 59 -> 05") +
                    "wait 1000\n" + recovery_conditions + energy_lines(points) +
                    "read demod 0D -> 8F\n" + on_frequency + R"(
        read demod 6D -> 56
        read demod 6E -> 49
        read demod 7E -> 46
        read demod 89 -> 00
        read demod F2 -> 00
        read demod FD -> 43
        read demod 22 -> 00
        read demod 24 -> 40
        read demod FE -> 52
        write demod FE 52
        write demod EA 08
    )",
                LOCK_LOCKED);

    // 144000 / 7734 is 18: 9 and 9. The clock of mode 1 would be 96000.
    EXPECT_EQ(ds3000_context.master_clock_khz, 96000U);
    EXPECT_EQ(ds3000_context.first_poll, 0);
    EXPECT_EQ(ds3000_context.locked_once, 1U);
}

}  // namespace
}  // namespace tests
