// SPDX-License-Identifier: MIT
#include "ds3000/demod/lock.h"

#include <fmt/format.h>

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "tests/support/channel_test.h"

namespace tests {
namespace {

// The check of a first poll. `untouched` is an output that it leaves alone.

constexpr std::uint32_t untouched = 77777;

const struct {
    const char *name;
    const char *transcript;
    std::uint32_t expected;
} first_checks[] = {
    {"a search that never begins fails after ten sleeps", R"(
        10 times read demod B3 -> 38; wait 10000
        read demod B3 -> 38)",
     LOCK_FAILED},
    {"the eleventh check may still pass", R"(
        10 times read demod B3 -> 38; wait 10000
        read demod B3 -> 39
        15 times read demod 59 -> 03
        wait 1000)",
     untouched},
    {"a search state below 4 is no beginning", R"(
        read demod B3 -> 00; wait 10000; read demod B3 -> 01; wait 10000
        read demod B3 -> 38; wait 10000; read demod B3 -> 03; wait 10000
        read demod B3 -> 04
        15 times read demod 59 -> 7F
        wait 1000)",
     untouched},
    {"good amplitudes leave register 0x56 alone", R"(
        read demod B3 -> 04
        15 times read demod 59 -> 03
        wait 1000)",
     untouched},
    {"ten good amplitudes of fifteen are enough", R"(
        read demod B3 -> 04
        5 times read demod 59 -> 02; read demod 59 -> 03
        4 times read demod 59 -> 03
        read demod 59 -> 7F; wait 1000)",
     untouched},
    {"nine good amplitudes of fifteen set bit 0 of 0x56", R"(
        read demod B3 -> 04
        6 times read demod 59 -> 02; read demod 59 -> 03
        2 times read demod 59 -> 03
        read demod 59 -> 7F; update demod 56 5A -> 5B; wait 1000)",
     untouched},
    {"amplitudes of 0 set it", R"(
        read demod B3 -> 04
        15 times read demod 59 -> 00
        update demod 56 5A -> 5B; wait 1000)",
     untouched},
    {"a negative amplitude sets it at once", R"(
        read demod B3 -> 04; read demod 59 -> 80; update demod 56 5A -> 5B; wait 1000)",
     untouched},
    {"a negative one after fourteen good ones does too", R"(
        read demod B3 -> 04
        14 times read demod 59 -> 7F
        read demod 59 -> FF; update demod 56 5A -> 5B; wait 1000)",
     untouched},
    {"a search state that cannot be read is no beginning", R"(
        10 times read demod B3 -> nack; wait 10000
        read demod B3 -> nack address)",
     LOCK_FAILED},
    {"a search state that cannot be read again is the one before", R"(
        read demod B3 -> 38; wait 10000
        9 times read demod B3 -> nack; wait 10000
        read demod B3 -> nack)",
     LOCK_FAILED},
    {"an amplitude that cannot be read counts the one before again", R"(
        read demod B3 -> 04
        5 times read demod 59 -> 02
        read demod 59 -> 03
        9 times read demod 59 -> nack
        wait 1000)",
     untouched},
};

using CheckFirstLockTest = ChipTest;

TEST_F(CheckFirstLockTest, waits_for_the_search_and_looks_at_fifteen_amplitudes) {
    for_each_row(first_checks, [this](const auto &row) {
        board(row.transcript);
        std::uint32_t lock_state = untouched;
        EXPECT_EQ(ds3000_check_first_lock(&lock_state), 0);
        EXPECT_EQ(lock_state, row.expected);
    });
}

TEST_F(CheckFirstLockTest, any_search_state_from_4_on_but_38_passes_at_once) {
    for (const std::string &state : words("04 37 39 40 80 B8 FF")) {
        SCOPED_TRACE(state);
        board("read demod B3 -> " + state + "\n15 times read demod 59 -> 10\nwait 1000");
        std::uint32_t lock_state = untouched;
        EXPECT_EQ(ds3000_check_first_lock(&lock_state), 0);
        EXPECT_EQ(lock_state, untouched);
    }
}

// The poll.

// What a poll of a fresh channel changes when it finds no lock, and when it finds one.
const Fields adaptation_due{{"ts_clock_pending", 1}};
const Fields first_lock{{"locked_once", 1}};

class PollLockTest : public ChannelTest {
 protected:
    static void use(std::int32_t chip_type, std::uint32_t standard) {
        ds3000_context = {};
        ds3000_context.chip_type = chip_type;
        ds3000_context.standard = standard;
        ds3000_context.requested_standard = standard;
    }

    // Poll a micro-controller that runs: what crosses the bus after that was read, what is reported
    // and which fields change to what.
    void poll(const std::string &transcript, std::uint32_t expected, const Fields &changes,
              std::int32_t status = DS3000_OK) {
        poll_whole("read demod B2 -> 00\n" + transcript, expected, changes, status);
    }

    // The same from the first transfer on.
    void poll_whole(const std::string &transcript, std::uint32_t expected, const Fields &changes,
                    std::int32_t status = DS3000_OK) {
        remember_context();
        board(transcript);
        std::uint32_t lock_state = LOCK_FAILED;
        if (expected == LOCK_FAILED) {
            lock_state = LOCK_LOCKED;
        }
        EXPECT_EQ(ds3000_poll_lock(&lock_state), status);
        EXPECT_EQ(lock_state, expected);
        EXPECT_EQ(changed_fields(), changes);
    }
};

const std::string dvbs_locked = "read demod D1 -> 07; read demod 0D -> 07\n";
const std::string dvbs_searching = "read demod D1 -> 00; read demod B3 -> 00\n";
const std::string dvbs2_searching = "read demod 0D -> 00; read demod B3 -> 00\n";

// The programmed carrier `steps` of 96000/65536 kHz above the measured one.
std::string off_frequency(int steps) {
    return "update demod 5D C8 -> C8\n" +
           read_word_lines(0x5E, 0x5F, static_cast<unsigned>(steps) & 0xFFFF) +
           "write demod 5D CE; read demod 5E -> 00; read demod 5F -> 00\n";
}

const std::string on_frequency = off_frequency(0);

TEST_F(PollLockTest, null_output_is_refused_without_a_transfer) {
    use(CHIP_DS3002B, STANDARD_DVBS);
    ds3000_context.first_poll = 1;
    remember_context();
    EXPECT_EQ(ds3000_poll_lock(nullptr), -3);
    EXPECT_EQ(changed_fields(), Fields{});
}

TEST_F(PollLockTest, held_chip_has_failed_before_any_other_register_is_read) {
    for (const std::int32_t chip_type : {CHIP_DS300X, CHIP_DS3002B, CHIP_DS3103, CHIP_UNKNOWN}) {
        for (const std::uint32_t standard : {STANDARD_DVBS, STANDARD_DVBS2}) {
            use(chip_type, standard);
            ds3000_context.first_poll = 1;
            poll_whole("read demod B2 -> 01", LOCK_FAILED, {});
        }
    }
}

TEST_F(PollLockTest, only_the_value_1_of_b2_means_held) {
    for (const std::string &control : words("00 02 03 41 C1")) {
        use(CHIP_DS3002B, STANDARD_DVBS);
        poll_whole(fmt::format("read demod B2 -> {}\n{}", control, dvbs_searching), LOCK_SEARCHING,
                   adaptation_due);
    }
}

TEST_F(PollLockTest, first_poll_that_times_out_fails_and_is_repeated) {
    use(CHIP_DS3103, STANDARD_DVBS);
    ds3000_context.first_poll = 1;
    for (int i = 0; i < 2; ++i) {
        poll("10 times read demod B3 -> 38; wait 10000\nread demod B3 -> 38", LOCK_FAILED, {});
    }
}

TEST_F(PollLockTest, first_poll_that_passes_goes_on_and_is_not_repeated) {
    use(CHIP_DS3103, STANDARD_DVBS);
    ds3000_context.first_poll = 1;
    poll("read demod B3 -> 39\n15 times read demod 59 -> 05\nwait 1000\n" + dvbs_searching,
         LOCK_SEARCHING, {{"first_poll", 0}, {"ts_clock_pending", 1}});
    poll(dvbs_searching, LOCK_SEARCHING, {});
}

// Values of one register, with what is read around it.
const struct {
    const char *name;
    bool locked;
    std::uint32_t standard;
    std::vector<std::int32_t> chip_types;
    const char *before, *reg, *values;
    std::string after;
} lock_bits[] = {
    {"DVB-S: three bits of D1", false, 4, {1, 2, 3}, "", "D1", "00 03 05 06 FB FE", ""},
    {"DVB-S: three bits of 0D", false, 4, {1, 2, 3}, "D1 -> 07", "0D", "00 03 05 06 88 F8", ""},
    {"DVB-S: all bits of 0D", true, 4, {1, 2, 3}, "D1 -> 07", "0D", "FF 07", ""},
    {"DVB-S: all bits of D1", true, 4, {1, 2, 3}, "", "D1", "FF 07", "read demod 0D -> 07\n"},
    {"no standard is polled as DVB-S", true, 7, {2}, "D1 -> 07", "0D", "07", ""},
    {"DVB-S2: five bits of 0D", false, 5, {2}, "76 -> 40", "0D", "00 0F 7F 87 8B 8D 8E F7", ""},
    {"DVB-S2: all five bits of 0D", true, 5, {2}, "76 -> 40", "0D", "8F FF DF", ""},
    {"DS300X, DVB-S2: five bits of 0D", false, 5, {1}, "0D -> 00", "0D", "00 07 87 0F 8E", ""},
    {"DS300X, DVB-S2: all five bits of 0D", true, 5, {1}, "0D -> 00", "0D", "8F", ""},
    {"0D that cannot be read is D1", true, 4, {2}, "D1 -> 07", "0D", "nack", ""},
};

TEST_F(PollLockTest, lock_needs_every_status_bit) {
    for_each_row(lock_bits, [this](const auto &row) {
        for (const std::int32_t chip_type : row.chip_types) {
            for (const std::string &value : words(row.values)) {
                SCOPED_TRACE(value);
                use(chip_type, row.standard);
                const std::string before =
                    *row.before != '\0' ? fmt::format("read demod {}\n", row.before) : "";
                poll(fmt::format("{}read demod {} -> {}\n{}{}", before, row.reg, value, row.after,
                                 row.locked ? on_frequency : "read demod B3 -> 00\n"),
                     row.locked ? LOCK_LOCKED : LOCK_SEARCHING,
                     row.locked ? first_lock : adaptation_due);
            }
        }
    });
}

// DS300X: two DVB-S2 loop registers follow the received MODCOD.

const struct {
    const char *name;
    unsigned first, last;  // register 0x7E
    const char *loop;
} loops[] = {
    {"QPSK", 0x00, 0x3F, "write demod 7C 00; write demod 80 88; write demod 81 88\n"},
    {"8PSK up to 1/2", 0x40, 0x43, ""},
    {"8PSK 3/5", 0x44, 0x44, "write demod 7C 01; write demod 80 C9\n"},
    {"8PSK 2/3", 0x45, 0x45, "write demod 7C 01; write demod 80 A8\n"},
    {"8PSK 3/4", 0x46, 0x46, "write demod 7C 01; write demod 80 98\n"},
    {"8PSK 4/5", 0x47, 0x47, ""},
    {"8PSK 5/6", 0x48, 0x48, "write demod 7C 01; write demod 80 98\n"},
    {"8PSK from 8/9 on", 0x49, 0x4F, "write demod 7C 01; write demod 80 88\n"},
    {"8PSK up to 4/5 with pilots", 0x60, 0x67,
     "write demod 7C 01; write demod AE 0F; write demod 80 54; write demod 81 85\n"},
    {"8PSK 5/6 with pilots", 0x68, 0x68, "write demod 7C 01; write demod 80 98\n"},
    {"8PSK from 8/9 on with pilots", 0x69, 0x6F, "write demod 7C 01; write demod 80 88\n"},
    {"16APSK and 32APSK", 0x80, 0xFF, ""},
};

TEST_F(PollLockTest, ds300x_adjusts_its_loop_to_the_modcod_before_the_lock_is_read) {
    const std::string not_locked = "read demod 0D -> 0F; read demod B3 -> 00\n";
    for_each_row(loops, [&](const auto &row) {
        for (unsigned modcod = row.first; modcod <= row.last; ++modcod) {
            SCOPED_TRACE(modcod);
            use(CHIP_DS300X, STANDARD_DVBS2);
            poll("read demod 0D -> 08\n" + read_line(0x7E, modcod) + row.loop + not_locked,
                 LOCK_SEARCHING, adaptation_due);
            // Bit 4 is no part of it.
            poll("read demod 0D -> FF\n" + read_line(0x7E, modcod | 0x10) + row.loop + not_locked,
                 LOCK_SEARCHING, {});
        }
    });
}

TEST_F(PollLockTest, ds300x_without_a_frame_header_leaves_the_loop_alone) {
    for (const std::string &status : words("00 07 F7")) {
        use(CHIP_DS300X, STANDARD_DVBS2);
        poll(fmt::format("read demod 0D -> {}\n{}", status, dvbs2_searching), LOCK_SEARCHING,
             adaptation_due);
    }
}

TEST_F(PollLockTest, ds300x_adjusts_the_loop_on_every_poll) {
    use(CHIP_DS300X, STANDARD_DVBS2);
    const std::string locked = R"(
        read demod 0D -> 8F; read demod 7E -> 46; write demod 7C 01; write demod 80 98
        read demod 0D -> 8F
    )" + on_frequency;
    poll(locked, LOCK_LOCKED, first_lock);
    poll(locked, LOCK_LOCKED, {});
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

// Every value read with the same answers.
std::string energy_lines(const std::string &low, const std::string &high, unsigned first = 0) {
    std::string lines;
    for (unsigned i = first; i < 42; ++i) {
        lines += fmt::format("write demod 7A {:02X}; read demod 7A -> {}; read demod 7B -> {}\n",
                             4 * (i / 2 + i % 2 * 21), low, high);
    }
    return lines;
}

const std::string recovery_conditions =
    "read demod 76 -> BF; read demod B3 -> 21; read demod 7E -> DF\n";
const std::string recovery_reset = R"(
    write demod BD 03; write demod B2 01; write demod 00 01
    wait 1000
    write demod 00 00; write demod B2 00
)";
const Fields recovered = with(adaptation_due, {{"s2_recovery_done", 1}});

class DvbS2RecoveryTest : public PollLockTest {
 protected:
    void expect_recovery(bool expected, const std::string &energy,
                         std::int32_t chip_type = CHIP_DS3002B) {
        use(chip_type, STANDARD_DVBS2);
        poll(recovery_conditions + energy + (expected ? recovery_reset : "") + dvbs2_searching,
             LOCK_SEARCHING, expected ? recovered : adaptation_due);
    }
};

TEST_F(DvbS2RecoveryTest, stops_at_bit_6_of_76) {
    for (const std::string &reading : words("40 7F FF")) {
        use(CHIP_DS3002B, STANDARD_DVBS2);
        poll(fmt::format("read demod 76 -> {}\n{}", reading, dvbs2_searching), LOCK_SEARCHING,
             adaptation_due);
    }
}

TEST_F(DvbS2RecoveryTest, stops_after_76_when_it_was_done_before) {
    use(CHIP_DS3002B, STANDARD_DVBS2);
    ds3000_context.s2_recovery_done = 1;
    poll("read demod 76 -> BF\n" + dvbs2_searching, LOCK_SEARCHING, adaptation_due);
}

TEST_F(DvbS2RecoveryTest, stops_at_a_search_state_below_33) {
    for (const std::string &state : words("00 20 E0 60 DF")) {
        use(CHIP_DS3002B, STANDARD_DVBS2);
        poll(fmt::format("read demod 76 -> 00; read demod B3 -> {}\n{}", state, dvbs2_searching),
             LOCK_SEARCHING, adaptation_due);
    }
}

TEST_F(DvbS2RecoveryTest, stops_at_pilots) {
    for (const std::string &state : words("21 3F E1")) {
        use(CHIP_DS3002B, STANDARD_DVBS2);
        poll(fmt::format("read demod 76 -> 00; read demod B3 -> {}; read demod 7E -> 20\n{}", state,
                         dvbs2_searching),
             LOCK_SEARCHING, adaptation_due);
    }
}

TEST_F(DvbS2RecoveryTest, is_not_for_dvbs) {
    use(CHIP_DS3002B, STANDARD_DVBS);
    poll(dvbs_searching, LOCK_SEARCHING, adaptation_due);
}

// Every point but the eleventh at 1, 0; that one at 2, 1: 100 × 20 / 5 is 400.
TEST_F(DvbS2RecoveryTest, reads_42_energy_values_and_resets_once) {
    use(CHIP_DS3002B, STANDARD_DVBS2);
    poll(R"(
        read demod 76 -> 00; read demod B3 -> 3F; read demod 7E -> 00
        write demod 7A 00; read demod 7A -> 01; read demod 7B -> 00
        write demod 7A 54; read demod 7A -> 54; read demod 7B -> 00
        write demod 7A 04; read demod 7A -> 05; read demod 7B -> 00
        write demod 7A 58; read demod 7A -> 58; read demod 7B -> 00
        write demod 7A 08; read demod 7A -> 09; read demod 7B -> 00
        write demod 7A 5C; read demod 7A -> 5C; read demod 7B -> 00
        write demod 7A 0C; read demod 7A -> 0D; read demod 7B -> 00
        write demod 7A 60; read demod 7A -> 60; read demod 7B -> 00
        write demod 7A 10; read demod 7A -> 11; read demod 7B -> 00
        write demod 7A 64; read demod 7A -> 64; read demod 7B -> 00
        write demod 7A 14; read demod 7A -> 15; read demod 7B -> 00
        write demod 7A 68; read demod 7A -> 68; read demod 7B -> 00
        write demod 7A 18; read demod 7A -> 19; read demod 7B -> 00
        write demod 7A 6C; read demod 7A -> 6C; read demod 7B -> 00
        write demod 7A 1C; read demod 7A -> 1D; read demod 7B -> 00
        write demod 7A 70; read demod 7A -> 70; read demod 7B -> 00
        write demod 7A 20; read demod 7A -> 21; read demod 7B -> 00
        write demod 7A 74; read demod 7A -> 74; read demod 7B -> 00
        write demod 7A 24; read demod 7A -> 25; read demod 7B -> 00
        write demod 7A 78; read demod 7A -> 78; read demod 7B -> 00
        write demod 7A 28; read demod 7A -> 2A; read demod 7B -> 00
        write demod 7A 7C; read demod 7A -> 7D; read demod 7B -> 00
        write demod 7A 2C; read demod 7A -> 2D; read demod 7B -> 00
        write demod 7A 80; read demod 7A -> 80; read demod 7B -> 00
        write demod 7A 30; read demod 7A -> 31; read demod 7B -> 00
        write demod 7A 84; read demod 7A -> 84; read demod 7B -> 00
        write demod 7A 34; read demod 7A -> 35; read demod 7B -> 00
        write demod 7A 88; read demod 7A -> 88; read demod 7B -> 00
        write demod 7A 38; read demod 7A -> 39; read demod 7B -> 00
        write demod 7A 8C; read demod 7A -> 8C; read demod 7B -> 00
        write demod 7A 3C; read demod 7A -> 3D; read demod 7B -> 00
        write demod 7A 90; read demod 7A -> 90; read demod 7B -> 00
        write demod 7A 40; read demod 7A -> 41; read demod 7B -> 00
        write demod 7A 94; read demod 7A -> 94; read demod 7B -> 00
        write demod 7A 44; read demod 7A -> 45; read demod 7B -> 00
        write demod 7A 98; read demod 7A -> 98; read demod 7B -> 00
        write demod 7A 48; read demod 7A -> 49; read demod 7B -> 00
        write demod 7A 9C; read demod 7A -> 9C; read demod 7B -> 00
        write demod 7A 4C; read demod 7A -> 4D; read demod 7B -> 00
        write demod 7A A0; read demod 7A -> A0; read demod 7B -> 00
        write demod 7A 50; read demod 7A -> 51; read demod 7B -> 00
        write demod 7A A4; read demod 7A -> A4; read demod 7B -> 00
        write demod BD 03; write demod B2 01; write demod 00 01; wait 1000
        write demod 00 00; write demod B2 00
        read demod 0D -> 00; read demod B3 -> 00
    )",
         LOCK_SEARCHING, recovered);
    poll("read demod 76 -> 00\n" + dvbs2_searching, LOCK_SEARCHING, {});
}

struct Tap {
    std::size_t index;
    Point point;
};

const struct {
    const char *name;
    bool recovery;
    std::vector<Tap> taps;  // the others are 0
} spreads[] = {
    // 100 × 100 in the middle; 22 × 22 + 4 × 4 = 500 beside it.
    {"5 % is within bounds", false, {{10, {100, 0}}, {0, {22, 4}}}},
    {"above 5 % is rounded up to 6", true, {{10, {100, 0}}, {0, {22, 4}}, {20, {0, 1}}}},
    // -512 squared is 262144, 5 % of it 13107.2; 111 × 111 + 28 × 28 + 1 is 13106.
    {"13106", false, {{10, {-512, 0}}, {3, {-111, 28}}, {4, {1, 0}}}},
    {"13107", false, {{10, {-512, 0}}, {3, {-111, 28}}, {4, {1, 0}}, {5, {0, -1}}}},
    {"13108", true, {{10, {-512, 0}}, {3, {-111, 28}}, {4, {1, 0}}, {5, {0, -1}}, {6, {-1, 0}}}},
    // 511 squared is 261121, 5 % of it 13056.05; 111 × 111 + 27 × 27 + 2 × 2 + 1 + 1 is 13056.
    {"13056", false, {{10, {0, 511}}, {3, {-111, 27}}, {7, {2, -1}}, {8, {1, 0}}}},
    {"13057", true, {{10, {0, 511}}, {3, {-111, 27}}, {7, {2, -1}}, {8, {1, 0}}, {9, {0, -1}}}},
    {"as much beside the middle as in it", true, {{10, {1, 0}}, {0, {1, 0}}}},
};

TEST_F(DvbS2RecoveryTest, energy_beside_the_eleventh_point_above_5_percent_calls_for_a_reset) {
    for_each_row(spreads, [this](const auto &row) {
        Points points{};
        for (const Tap &tap : row.taps) {
            points.at(tap.index) = tap.point;
        }
        for (const std::int32_t chip_type : {CHIP_DS3002B, CHIP_DS3103, CHIP_UNKNOWN}) {
            expect_recovery(row.recovery, energy_lines(points), chip_type);
        }
    });
}

TEST_F(DvbS2RecoveryTest, every_point_but_the_eleventh_adds_to_the_spread) {
    for (std::size_t i = 0; i < 21; ++i) {
        SCOPED_TRACE(i);
        Points points{};
        points[10] = {60, 80};
        points[i == 0 ? 1 : 0] = {-4, -22};
        points[i].x = i == 10 ? 61 : (i == 1 ? 1 : -1);
        expect_recovery(i != 10, energy_lines(points));
    }
}

TEST_F(DvbS2RecoveryTest, largest_spread_does_not_overflow) {
    Points points{};
    points.fill({-512, -512});
    expect_recovery(true, energy_lines(points));
}

TEST_F(DvbS2RecoveryTest, no_energy_in_the_middle_means_no_reset) {
    Points points{};
    points.fill({500, 500});
    points[10] = {};
    expect_recovery(false, energy_lines(points));
}

TEST_F(DvbS2RecoveryTest, value_bytes_carry_their_low_bits_in_7a) {
    // Bits 7 to 2 of 0x7A are no part of the value: 0x7B = 25, low bits 0, is 100.
    std::string lines = energy_lines("FC", "00");
    const std::string middle = "write demod 7A 28\nread demod 7A -> FC\nread demod 7B -> ";
    expect_recovery(false, edited(lines, {{middle + "00", middle + "19"}}));
}

TEST_F(DvbS2RecoveryTest, a_value_that_cannot_be_read_is_the_one_before) {
    // The same bytes for all values: 21 equal points, with or without an answer.
    expect_recovery(true, "write demod 7A 00; read demod 7A -> 03; read demod 7B -> 01\n" +
                              energy_lines("nack", "nack", 1));
    expect_recovery(false, energy_lines("nack", "nack"));
}

TEST_F(DvbS2RecoveryTest, lock_is_read_after_the_reset) {
    Points points{};
    points[10] = {1, 0};
    points[0] = {1, 0};
    use(CHIP_DS3002B, STANDARD_DVBS2);
    poll(recovery_conditions + energy_lines(points) + recovery_reset + "read demod 0D -> 8F\n" +
             on_frequency,
         LOCK_LOCKED, {{"locked_once", 1}, {"s2_recovery_done", 1}});
}

// Not locked.

const struct {
    const char *name;
    std::int32_t chip_type;
    std::uint32_t standard;
    const char *unlocked;
} ended_searches[] = {
    {"DS300X, DVB-S", CHIP_DS300X, 4, "read demod D1 -> 00\n"},
    {"DS3002B, DVB-S", CHIP_DS3002B, 4, "read demod D1 -> 00\n"},
    {"DS3103, DVB-S", CHIP_DS3103, 4, "read demod D1 -> 00\n"},
    {"an unknown chip, DVB-S", CHIP_UNKNOWN, 4, "read demod D1 -> 00\n"},
    {"DS300X, DVB-S2", CHIP_DS300X, 5, "read demod 0D -> 00; read demod 0D -> 00\n"},
    {"DS3002B, DVB-S2", CHIP_DS3002B, 5, "read demod 76 -> 40; read demod 0D -> 00\n"},
    {"DS3103, DVB-S2", CHIP_DS3103, 5, "read demod 76 -> 40; read demod 0D -> 00\n"},
};

TEST_F(PollLockTest, fixed_request_has_failed_when_the_search_ended_either_way) {
    for_each_row(ended_searches, [this](const auto &row) {
        for (const unsigned state : {0x3FU, 0x40U, 0x80U, 0xC0U, 0xFFU}) {
            use(row.chip_type, row.standard);
            poll(row.unlocked + read_line(0xB3, state), state < 0x40 ? LOCK_SEARCHING : LOCK_FAILED,
                 adaptation_due);
        }
    });
}

TEST_F(PollLockTest, search_state_that_cannot_be_read_is_the_byte_before) {
    use(CHIP_DS3002B, STANDARD_DVBS);
    poll("read demod D1 -> C0; read demod B3 -> nack", LOCK_FAILED, adaptation_due);
    // All of it out of reach: nothing is held, nothing locked, nothing failed.
    poll_whole("read demod B2 -> nack; read demod D1 -> nack address; read demod B3 -> nack",
               LOCK_SEARCHING, {});
}

TEST_F(PollLockTest, automatic_request_restarts_the_search_that_failed) {
    for (const std::int32_t chip_type : known_chips) {
        for (const std::uint32_t locked_once : {0U, 1U}) {
            for (const std::string &state : words("80 C0")) {
                use(chip_type, STANDARD_DVBS);
                ds3000_context.requested_standard = STANDARD_AUTO;
                ds3000_context.locked_once = locked_once;
                poll("read demod D1 -> 00; read demod B3 -> " + state + R"(
                         write demod B2 01; wait 2000; write demod B2 00)",
                     LOCK_FAILED, adaptation_due);
            }
        }
    }
}

TEST_F(PollLockTest, automatic_request_waits_while_the_search_goes_on) {
    use(CHIP_DS3002B, STANDARD_DVBS);
    ds3000_context.requested_standard = STANDARD_AUTO;
    poll("read demod D1 -> 00; read demod B3 -> 3F", LOCK_SEARCHING, adaptation_due);
}

TEST_F(PollLockTest, automatic_request_never_switches_after_the_first_lock) {
    for (const std::int32_t chip_type : known_chips) {
        use(chip_type, STANDARD_DVBS);
        ds3000_context.requested_standard = STANDARD_AUTO;
        poll(dvbs_locked + on_frequency, LOCK_LOCKED, first_lock);
        poll("read demod D1 -> 00; read demod B3 -> 40", LOCK_SEARCHING, adaptation_due);
    }
}

// What an automatic request does when a standard is not on the air: what is read and written up to
// the register table, the table, and the rest of the programming.
struct Switch {
    const char *name;
    std::uint32_t from;
    const char *before;
    const char *table;
    const char *after;
};

const Switch ds3002b_switches[] = {
    {"DS3002B to DVB-S2", STANDARD_DVBS, R"(
        read demod D1 -> 00; read demod B3 -> 40
        write demod 07 80; write demod 07 00; write demod 5F 08; write demod 5E 00
        write demod B2 01; write demod 00 01; read demod FD -> 43; update demod 08 03 -> 07)",
     "lock_dvbs2_table_ds310x.txt", R"(
        update demod 4D 93 -> 91; update demod 30 18 -> 08
        update demod FE 50 -> 52; write demod EA CB
        read demod 22 -> AA; read demod 24 -> D5; write demod 22 2A; write demod 24 55
        read demod FD -> 43; update demod CA 23 -> 22; write demod 33 99
        update demod 29 FF -> 7F; update demod 29 7F -> 6F
        update demod 25 82 -> 8A; update demod 27 21 -> 31
        write demod C3 08; write demod C8 06; write demod C4 08; write demod C7 00
        write demod 61 55; write demod 62 49; update demod 56 03 -> 02; update demod 76 B8 -> 38
        write demod 00 00; write demod B2 00)"},
    {"and back to DVB-S", STANDARD_DVBS2, R"(
        read demod 76 -> 40; read demod 0D -> 0F; read demod B3 -> 40
        write demod 07 80; write demod 07 00; write demod 5F 08; write demod 5E 00
        write demod B2 01; write demod 00 01; read demod FD -> 43; update demod 08 07 -> 03)",
     "lock_dvbs_table_ds310x.txt", R"(
        update demod 4D 91 -> 91; update demod 30 08 -> 08
        update demod FE 52 -> 51; write demod EA C7
        read demod 22 -> 2A; read demod 24 -> 55; write demod 22 AA; write demod 24 55
        read demod FD -> 43; update demod CA 22 -> 22; write demod 33 99
        update demod 29 6F -> 6F; update demod 29 6F -> 6F
        update demod 25 82 -> 8A; update demod 27 31 -> 31
        write demod C3 08; write demod C8 06; write demod C4 08; write demod C7 00
        write demod 61 55; write demod 62 49; update demod 56 02 -> 02; update demod 76 38 -> 38
        write demod 00 00; write demod B2 00)"},
};

const Switch ds3103_switches[] = {
    {"DS3103 with board options and mode 2, to DVB-S", STANDARD_DVBS2, R"(
        read demod 76 -> 40; read demod 0D -> 00; read demod B3 -> 79
        write demod 07 80; write demod 07 00; write demod 5F FC; write demod 5E 01
        write demod B2 01; write demod 00 01; read demod FD -> 0A; update demod 08 FF -> FB)",
     "lock_dvbs_table_ds310x.txt", R"(
        update demod 4D 91 -> 93; update demod 30 08 -> 18
        update demod FE AF -> A0; write demod EA 41
        read demod 22 -> 00; read demod 24 -> C0; write demod 22 80; write demod 24 40
        read demod FD -> 0A; update demod CA 22 -> 23; write demod 33 99
        update demod 29 90 -> 10; update demod 29 10 -> 00
        update demod 25 82 -> 8A; update demod 27 21 -> 31
        write demod C3 08; write demod C8 10; write demod C4 08; write demod C7 00
        write demod 61 55; write demod 62 0D; update demod 56 FF -> FE; update demod 76 FF -> 7F
        write demod 00 00; write demod B2 00)"},
};

const Switch ds300x_switches[] = {
    {"DS300X to DVB-S2", STANDARD_DVBS, R"(
        read demod D1 -> 00; read demod B3 -> 40
        write demod B2 01; read demod FD -> 44; update demod 08 03 -> 07)",
     "lock_dvbs2_table_ds300x.txt", R"(
        write demod C0 04; write demod 8A 09; write demod 8B 22; write demod 8C 88
        write demod FE 00
        read demod FD -> 44; update demod CA 23 -> 22; write demod 33 99
        update demod 29 FF -> 7F; update demod 29 7F -> 6F
        update demod 25 82 -> 8A; update demod 27 31 -> 21
        write demod C3 08; write demod C8 20; write demod C4 08; write demod C7 00
        write demod 61 00; write demod 62 08; update demod 56 01 -> 00; update demod 76 80 -> 00
        write demod B2 00)"},
    {"and back to DVB-S", STANDARD_DVBS2, R"(
        read demod 0D -> 00; read demod 0D -> 00; read demod B3 -> 40
        write demod B2 01; read demod FD -> A8; update demod 08 07 -> 03)",
     "lock_dvbs_table_ds300x.txt", R"(
        update demod FE B6 -> 80
        read demod FD -> A8; update demod CA 22 -> 23; write demod 33 99
        update demod 29 6F -> 6F; update demod 29 6F -> 6F
        update demod 25 82 -> 8A; update demod 27 21 -> 31
        write demod C3 08; write demod C8 20; write demod C4 08; write demod C7 00
        write demod 61 00; write demod 62 08; update demod 56 01 -> 00; update demod 76 00 -> 00
        write demod B2 00)"},
};

class SwitchTest : public PollLockTest {
 protected:
    static void request(std::int32_t chip_type, std::uint32_t standard,
                        std::int32_t symbol_rate_ksps, std::int32_t carrier_offset_khz) {
        use(chip_type, standard);
        ds3000_context.requested_standard = STANDARD_AUTO;
        ds3000_context.symbol_rate_ksps = symbol_rate_ksps;
        ds3000_context.carrier_offset_khz = carrier_offset_khz;
        ds3000_context.ts_clock_pending = 1;
    }

    void expect_switch(const Switch &row) {
        const std::uint32_t to = row.from == STANDARD_DVBS ? STANDARD_DVBS2 : STANDARD_DVBS;
        poll(std::string(row.before) + '\n' + golden(row.table) + row.after, LOCK_SEARCHING,
             {{"standard", to}});
    }
};

TEST_F(SwitchTest, automatic_request_switches_the_standard_that_is_not_on_the_air_and_back) {
    request(CHIP_DS3002B, STANDARD_DVBS, 27500, 3000);
    for (const Switch &row : ds3002b_switches) {
        SCOPED_TRACE(row.name);
        expect_switch(row);
    }
    request(CHIP_DS3103, STANDARD_DVBS2, 5000, -1500);
    ds3000_context.spectrum_inverted = 1;
    ds3000_context.reg30_bit4_enable = 1;
    for (const Switch &row : ds3103_switches) {
        SCOPED_TRACE(row.name);
        expect_switch(row);
    }
    request(CHIP_DS300X, STANDARD_DVBS, 3000, 3000);
    for (const Switch &row : ds300x_switches) {
        SCOPED_TRACE(row.name);
        expect_switch(row);
    }
}

TEST_F(SwitchTest, an_unknown_chip_switches_the_standard_bit_alone) {
    request(CHIP_UNKNOWN, STANDARD_DVBS, 27500, 3000);
    poll(R"(
             read demod D1 -> 00; read demod B3 -> 40
             write demod B2 01; update demod 08 03 -> 07; write demod B2 00)",
         LOCK_SEARCHING, {{"standard", STANDARD_DVBS2}});
}

TEST_F(SwitchTest, a_failing_table_ends_early_and_the_switch_goes_on) {
    request(CHIP_DS300X, STANDARD_DVBS, 10001, 0);
    poll(R"(
             read demod D1 -> 00; read demod B3 -> 40
             write demod B2 01; read demod FD -> 44; update demod 08 03 -> 07
             write demod 23 0F; write demod 08 07 -> nack
             write demod FE 00
             read demod FD -> 44; update demod CA 23 -> 22; write demod 33 99
             update demod 29 00 -> 00; update demod 29 00 -> 00
             update demod 25 00 -> 08; update demod 27 10 -> 00
             write demod C3 08; write demod C8 06; write demod C4 08; write demod C7 00
             write demod 61 AB; write demod 62 1A
             update demod 56 00 -> 00; update demod 76 00 -> 00; write demod B2 00)",
         LOCK_SEARCHING, {{"standard", STANDARD_DVBS2}});
}

// Locked.

// Carriers up to 3999 kHz off, which is 2730 steps; 2731 are 4000 kHz.
const struct {
    const char *name;
    int steps;
    bool accepted;
} locks[] = {
    {"on the spot", 0, true},    {"a step above", 1, true},     {"a step below", -1, true},
    {"3999 kHz", 2730, true},    {"-3999 kHz", -2730, true},    {"4000 kHz", 2731, false},
    {"-4000 kHz", -2731, false}, {"15000 steps", 15000, false}, {"-15000 steps", -15000, false},
};

const std::string held = "write demod B2 01; write demod 00 01\n";
const std::string ds300x_held = "write demod B2 01; write demod 05 10\n";

TEST_F(PollLockTest, lock_4000_khz_off_is_rejected_and_held) {
    for_each_row(locks, [this](const auto &row) {
        const std::string offset = off_frequency(row.steps);
        for (const std::int32_t chip_type : known_chips) {
            use(chip_type, STANDARD_DVBS);
            if (row.accepted) {
                poll(dvbs_locked + offset, LOCK_LOCKED, first_lock);
                continue;
            }
            poll(dvbs_locked + offset + (chip_type == CHIP_DS300X ? ds300x_held : held),
                 LOCK_FAILED, first_lock);
            poll_whole("read demod B2 -> 01", LOCK_FAILED, {});
        }
    });
}

TEST_F(PollLockTest, dvbs2_lock_4000_khz_off_is_rejected_as_well) {
    use(CHIP_DS3103, STANDARD_DVBS2);
    poll("read demod 76 -> 40; read demod 0D -> 8F\n" + off_frequency(2731) + held, LOCK_FAILED,
         first_lock);
}

TEST_F(PollLockTest, lock_of_an_unknown_chip_is_refused_after_the_offset_was_read) {
    use(CHIP_UNKNOWN, STANDARD_DVBS);
    ds3000_context.ts_clock_pending = 1;
    poll(dvbs_locked + on_frequency, LOCK_FAILED, first_lock, DS3000_UNKNOWN_CHIP);
}

// The TS clock: 27500 ksym/s of 3/4 are 5156 kbyte/s.
const std::string received = R"(
    read demod 6D -> 56; read demod 6E -> 49; read demod E6 -> 40; read demod E0 -> 00
)";
const std::string divided_by_16 = R"(
    read demod FD -> 43; read demod 22 -> 80; read demod 24 -> 40
    update demod FE 50 -> 51; write demod EA C7
)";
const std::string no_rate = "read demod 6D -> 00; read demod 6E -> 00\n";
const Fields adapted{{"locked_once", 1}, {"ts_clock_pending", 0}};
const Fields adapted_to_72000 = with(adapted, {{"master_clock_khz", 72000}});

const struct {
    const char *name;
    std::int32_t chip_type;
    std::uint32_t expected;
    std::string transcript;
    Fields changes;
} clock_adaptations[] = {
    {"a lock adapts the clock", CHIP_DS3002B, LOCK_LOCKED, on_frequency + received + divided_by_16,
     adapted_to_72000},
    {"a rejected lock does all the same", CHIP_DS3103, LOCK_FAILED,
     off_frequency(2731) + held + received + divided_by_16, adapted_to_72000},
    {"a rejected lock of DS300X too", CHIP_DS300X, LOCK_FAILED,
     off_frequency(-2731) + ds300x_held + no_rate, adapted},
    {"a clock that cannot be adapted is no error", CHIP_DS3002B, LOCK_LOCKED,
     on_frequency + no_rate, adapted},
};

TEST_F(PollLockTest, first_lock_adapts_the_ts_clock_once) {
    for_each_row(clock_adaptations, [this](const auto &row) {
        use(row.chip_type, STANDARD_DVBS);
        ds3000_context.ts_clock_pending = 1;
        poll(dvbs_locked + row.transcript, row.expected, row.changes);
        poll(dvbs_locked + on_frequency, LOCK_LOCKED, {});
    });
}

TEST_F(PollLockTest, ts_clock_is_adapted_again_after_an_unlocked_poll) {
    use(CHIP_DS300X, STANDARD_DVBS);
    poll("read demod D1 -> 03; read demod B3 -> 00", LOCK_SEARCHING, adaptation_due);
    poll(dvbs_locked + on_frequency + received + "read demod FD -> A0; update demod FE B6 -> BF",
         LOCK_LOCKED, adapted);
}

TEST_F(PollLockTest, first_dvbs2_poll_after_a_connect_goes_through_every_step) {
    use(CHIP_DS3002B, STANDARD_DVBS2);
    ds3000_context.first_poll = 1;
    ds3000_context.ts_clock_pending = 1;
    ds3000_context.master_clock_khz = 72000;
    Points points{};
    points[10] = {100, 0};
    // 144000 / 7734 is 18: 9 and 9. The clock of mode 1 would be 96000.
    poll("read demod B3 -> 39\n15 times read demod 59 -> 05\nwait 1000\n" + recovery_conditions +
             energy_lines(points) + "read demod 0D -> 8F\n" + on_frequency +
             R"(read demod 6D -> 56; read demod 6E -> 49
                read demod 7E -> 46; read demod 89 -> 00; read demod F2 -> 00
                read demod FD -> 43; read demod 22 -> 00; read demod 24 -> 40
                update demod FE 52 -> 52; write demod EA 08)",
         LOCK_LOCKED, with(adapted, {{"first_poll", 0}, {"master_clock_khz", 96000}}));
}

}  // namespace
}  // namespace tests
