// SPDX-License-Identifier: MIT
#include "ds3000/demod/power.h"

#include <cstdint>
#include <string>

#include "ds3000/demod/firmware.h"
#include "ds3000/tuner/ts2022.h"
#include "tests/support/channel_test.h"

namespace {

using tests::blocks_of;
using tests::edited;
using tests::Fields;
using tests::golden;
using tests::image_goes_here;
using tests::initialisation;

class PowerTest : public tests::ChannelTest {
 protected:
    PowerTest() { leave_old_channel(); }

    std::string identify(const std::string &transcript, std::int32_t expected) {
        board(transcript);
        std::int32_t chip_type = 77;
        const std::string messages =
            standard_error_of([&chip_type] { EXPECT_EQ(ds3000_identify(&chip_type), 0); });
        check_board();
        EXPECT_EQ(chip_type, expected);
        return messages;
    }

    // What an operation returns, with its messages kept off the test's output.
    template <typename Operation>
    static std::int32_t silently(Operation operation) {
        std::int32_t result = 77;
        standard_error_of([&] { result = operation(); });
        return result;
    }

    // Fields that an initialisation leaves, whatever channel there was before.
    static Fields fresh_start(std::int32_t chip_type) {
        return {{"chip_type", chip_type}, {"standard", 4},        {"requested_standard", 4},
                {"symbol_rate_ksps", 0},  {"locked_once", 0},     {"first_poll", 0},
                {"s2_recovery_done", 0},  {"ts_clock_pending", 0}};
    }

    static Fields with(Fields fields, const Fields &more) {
        fields.insert(more.begin(), more.end());
        return fields;
    }
};

const Fields bound_tuner = {{"tuner_wake", tests::field_value(ts2022_wake)},
                            {"tuner_set_frequency", tests::field_value(ts2022_set_frequency)},
                            {"tuner_sleep", tests::field_value(ts2022_sleep)},
                            {"tuner_get_offset", tests::field_value(tuner_get_offset)},
                            {"tuner_get_gain", tests::field_value(ts2022_get_gain)}};

// Identification.

TEST_F(PowerTest, id_c0_is_a_ds300x) {
    EXPECT_EQ(identify(R"(
        read demod 01 -> C0
        read demod 02 -> 00
        read demod B2 -> C0
    )",
                       1),
              "\tChip ID = [DS300X]!\n\n");
}

TEST_F(PowerTest, id_d0_with_control_bits_00_is_a_ds3002b) {
    EXPECT_EQ(identify(R"(
        read demod 01 -> D0
        read demod 02 -> 00
        read demod B2 -> 3F
    )",
                       2),
              "\tChip ID = [DS3002B]!\n\n");
}

TEST_F(PowerTest, id_d0_with_control_bits_11_is_a_ds3103) {
    EXPECT_EQ(identify(R"(
        read demod 01 -> D0
        read demod 02 -> 00
        read demod B2 -> C1
    )",
                       3),
              "\tChip ID = [DS3103]!\n\n");
}

TEST_F(PowerTest, id_d0_with_control_bits_01_or_10_is_unknown_and_has_no_message) {
    for (const std::string control : {"40", "7F", "80", "BF"}) {
        EXPECT_EQ(
            identify("read demod 01 -> D0\nread demod 02 -> 00\nread demod B2 -> " + control, 4),
            "");
    }
}

TEST_F(PowerTest, nonzero_high_id_is_unknown_whatever_the_id_is) {
    for (const std::string id : {"C0", "D0", "00"}) {
        EXPECT_EQ(
            identify("read demod 01 -> " + id + "\nread demod 02 -> 01\nread demod B2 -> 00", 4),
            "");
    }
}

TEST_F(PowerTest, any_other_id_is_unknown_and_has_no_message) {
    for (const std::string id : {"00", "C1", "D1", "FF"}) {
        EXPECT_EQ(
            identify("read demod 01 -> " + id + "\nread demod 02 -> 00\nread demod B2 -> 00", 4),
            "");
    }
}

TEST_F(PowerTest, identification_that_cannot_read_goes_on_with_zeros) {
    EXPECT_EQ(identify(R"(
        read demod 01 -> nack
        read demod 02 -> 00
        read demod B2 -> C0
    )",
                       4),
              "");
    EXPECT_EQ(identify(R"(
        read demod 01 -> D0
        read demod 02 -> nack
        read demod B2 -> nack address
    )",
                       2),
              "\tChip ID = [DS3002B]!\n\n");
}

TEST_F(PowerTest, identification_writes_nothing_but_its_result) {
    remember_context();
    identify("read demod 01 -> C0\nread demod 02 -> 00\nread demod B2 -> 00", 1);
    EXPECT_EQ(changed_fields(), Fields{});
}

// Hard initialisation.

TEST_F(PowerTest, hard_init_resets_enables_and_forgets_the_channel) {
    remember_context();
    board(R"(
        read demod 01 -> C0
        read demod 02 -> 00
        read demod B2 -> 00
        read demod B2 -> 00
        write demod 07 80
        write demod 07 00
        wait 1000
        read demod 08 -> 46
        write demod 08 47
        wait 1000
    )");
    EXPECT_EQ(silently(ds3000_hard_init), 0);
    EXPECT_EQ(changed_fields(), fresh_start(CHIP_DS300X));
}

TEST_F(PowerTest, hard_init_of_a_held_ds300x_releases_register_05_before_b2) {
    board(R"(
        read demod 01 -> C0
        read demod 02 -> 00
        read demod B2 -> 01
        read demod B2 -> 01
        write demod 05 00
        write demod B2 00
        write demod 07 80
        write demod 07 00
        wait 1000
        read demod 08 -> 47
        write demod 08 47
        wait 1000
    )");
    EXPECT_EQ(silently(ds3000_hard_init), 0);
}

TEST_F(PowerTest, hard_init_of_a_held_ds3002b_releases_register_00_before_b2) {
    remember_context();
    board(R"(
        read demod 01 -> D0
        read demod 02 -> 00
        read demod B2 -> 01
        read demod B2 -> 01
        write demod 00 00
        write demod B2 00
        write demod 07 80
        write demod 07 00
        wait 1000
        read demod 08 -> 00
        write demod 08 01
        wait 1000
    )");
    EXPECT_EQ(silently(ds3000_hard_init), 0);
    EXPECT_EQ(changed_fields(), fresh_start(CHIP_DS3002B));
}

TEST_F(PowerTest, hard_init_of_a_held_ds3103_releases_register_00_before_b2) {
    remember_context();
    board(R"(
        read demod 01 -> D0
        read demod 02 -> 00
        read demod B2 -> C0
        read demod B2 -> 01
        write demod 00 00
        write demod B2 00
        write demod 07 80
        write demod 07 00
        wait 1000
        read demod 08 -> 00
        write demod 08 01
        wait 1000
    )");
    EXPECT_EQ(silently(ds3000_hard_init), 0);
    EXPECT_EQ(changed_fields(), fresh_start(CHIP_DS3103));
}

TEST_F(PowerTest, hard_init_releases_only_when_b2_reads_exactly_1) {
    for (const std::string control : {"C1", "03", "00", "FF"}) {
        SCOPED_TRACE(control);
        board("read demod 01 -> D0\nread demod 02 -> 00\nread demod B2 -> C0\nread demod B2 -> " +
              control + R"(
            write demod 07 80
            write demod 07 00
            wait 1000
            read demod 08 -> 00
            write demod 08 01
            wait 1000
        )");
        EXPECT_EQ(silently(ds3000_hard_init), 0);
    }
}

TEST_F(PowerTest, hard_init_of_id_d0_with_control_40_is_refused_without_a_message_or_a_write) {
    remember_context();
    board(R"(
        read demod 01 -> D0
        read demod 02 -> 00
        read demod B2 -> 40
    )");
    const std::string messages = standard_error_of([] { EXPECT_EQ(ds3000_hard_init(), -6); });
    EXPECT_EQ(messages, "");
    EXPECT_EQ(changed_fields(), (Fields{{"chip_type", 4}}));
}

TEST_F(PowerTest, hard_init_goes_on_when_transfers_fail) {
    remember_context();
    board(R"(
        read demod 01 -> D0
        read demod 02 -> 00
        read demod B2 -> C0
        read demod B2 -> nack
        write demod 07 80 -> nack
        write demod 07 00 -> nack
        wait 1000
        read demod 08 -> nack
        write demod 08 01 -> nack
        wait 1000
    )");
    EXPECT_EQ(silently(ds3000_hard_init), 0);
    EXPECT_EQ(changed_fields(), fresh_start(CHIP_DS3103));
}

TEST_F(PowerTest, hard_init_that_cannot_read_08_enables_with_the_byte_it_read_last) {
    board(R"(
        read demod 01 -> D0
        read demod 02 -> 00
        read demod B2 -> C0
        read demod B2 -> C4
        write demod 07 80
        write demod 07 00
        wait 1000
        read demod 08 -> nack
        write demod 08 C5
        wait 1000
    )");
    EXPECT_EQ(silently(ds3000_hard_init), 0);
}

// Full initialisation.

TEST_F(PowerTest, init_of_a_ds300x_touches_neither_4d_nor_30_and_resets_no_micro_controller) {
    ds3000_context.spectrum_inverted = 7;
    remember_context();
    board(initialisation("power_init_ds300x.txt", ds3000_firmware_b));
    EXPECT_EQ(silently(ds3000_init), 0);
    EXPECT_EQ(changed_fields(), with(with(fresh_start(CHIP_DS300X), bound_tuner),
                                     {{"tuner_type", 1}, {"spectrum_inverted", 0}}));
}

TEST_F(PowerTest, init_of_a_ds3002b) {
    ds3000_context.tuner_type = 0;
    remember_context();
    board(initialisation("power_init_ds3002b.txt", ds3000_firmware_a));
    EXPECT_EQ(silently(ds3000_init), 0);
    EXPECT_EQ(changed_fields(), with(with(fresh_start(CHIP_DS3002B), bound_tuner),
                                     {{"tuner_type", 2}, {"spectrum_inverted", 0}}));
}

TEST_F(PowerTest, init_of_a_ds3103) {
    ds3000_context.tuner_type = 0;
    remember_context();
    board(initialisation("power_init_ds3103.txt", ds3000_firmware_a));
    EXPECT_EQ(silently(ds3000_init), 0);
    EXPECT_EQ(changed_fields(), with(with(fresh_start(CHIP_DS3103), bound_tuner),
                                     {{"tuner_type", 2}, {"spectrum_inverted", 0}}));
}

TEST_F(PowerTest, init_names_the_chip_once) {
    board(initialisation("power_init_ds3103.txt", ds3000_firmware_a));
    EXPECT_EQ(standard_error_of([] { ds3000_init(); }), "\tChip ID = [DS3103]!\n\n");
}

TEST_F(PowerTest, init_binds_the_ts2022) {
    bind_logging_tuner(0);
    board(initialisation("power_init_ds3002b.txt", ds3000_firmware_a));
    EXPECT_EQ(silently(ds3000_init), 0);
    EXPECT_EQ(ds3000_context.tuner_ops.tuner_wake, ts2022_wake);
    EXPECT_EQ(ds3000_context.tuner_ops.tuner_set_frequency, ts2022_set_frequency);
    EXPECT_EQ(ds3000_context.tuner_ops.tuner_sleep, ts2022_sleep);
    EXPECT_EQ(ds3000_context.tuner_ops.tuner_get_offset, tuner_get_offset);
    EXPECT_EQ(ds3000_context.tuner_ops.tuner_get_gain, ts2022_get_gain);
}

TEST_F(PowerTest, the_two_firmware_images_differ) {
    EXPECT_NE(blocks_of(ds3000_firmware_a), blocks_of(ds3000_firmware_b));
}

TEST_F(PowerTest, init_with_swapped_wiring_and_unicable_is_not_inverted) {
    ds3000_context.board_iq_swap = 1;
    ds3000_context.unicable_enabled = 1;
    board(initialisation("power_init_ds3103.txt", ds3000_firmware_a));
    EXPECT_EQ(silently(ds3000_init), 0);
    EXPECT_EQ(ds3000_context.spectrum_inverted, 0);
}

TEST_F(PowerTest, init_with_swapped_wiring_sets_the_inversion_bit) {
    ds3000_context.board_iq_swap = 1;
    board(edited(
        initialisation("power_init_ds3002b.txt", ds3000_firmware_a),
        {{"read demod 4D -> 93\nwrite demod 4D 91", "read demod 4D -> 91\nwrite demod 4D 93"}}));
    EXPECT_EQ(silently(ds3000_init), 0);
    EXPECT_EQ(ds3000_context.spectrum_inverted, 1);
}

TEST_F(PowerTest, init_with_unicable_sets_the_inversion_bit) {
    ds3000_context.unicable_enabled = 1;
    board(edited(
        initialisation("power_init_ds3103.txt", ds3000_firmware_a),
        {{"read demod 4D -> 93\nwrite demod 4D 91", "read demod 4D -> 91\nwrite demod 4D 93"}}));
    EXPECT_EQ(silently(ds3000_init), 0);
    EXPECT_EQ(ds3000_context.spectrum_inverted, 1);
}

TEST_F(PowerTest, init_of_a_ds300x_notes_the_inversion_without_writing_it) {
    ds3000_context.board_iq_swap = 1;
    board(initialisation("power_init_ds300x.txt", ds3000_firmware_b));
    EXPECT_EQ(silently(ds3000_init), 0);
    EXPECT_EQ(ds3000_context.spectrum_inverted, 1);
}

TEST_F(PowerTest, init_sets_bit_4_of_30_when_the_board_option_is_exactly_1) {
    ds3000_context.reg30_bit4_enable = 1;
    board(edited(
        initialisation("power_init_ds3103.txt", ds3000_firmware_a),
        {{"read demod 30 -> 18\nwrite demod 30 08", "read demod 30 -> 08\nwrite demod 30 18"}}));
    EXPECT_EQ(silently(ds3000_init), 0);

    ds3000_context.reg30_bit4_enable = 2;
    board(initialisation("power_init_ds3103.txt", ds3000_firmware_a));
    EXPECT_EQ(silently(ds3000_init), 0);
}

TEST_F(PowerTest, init_of_an_unknown_chip_binds_and_starts_the_tuner_and_loads_no_firmware) {
    ds3000_context.board_iq_swap = 1;
    remember_context();
    board(R"(
        read demod 01 -> D0
        read demod 02 -> 00
        read demod B2 -> 80
        write demod 03 11
        read tuner 00 -> 43
        write demod 03 11
        write tuner 00 03
        wait 2000
        write demod 03 11
        read tuner 00 -> 81
        write demod 03 11
        write tuner 62 FD
        wait 2000
        write demod 03 11
        write tuner 42 63
        write demod 03 11
        write tuner 07 02
        write demod 03 11
        write tuner 08 01
    )");
    const std::string messages = standard_error_of([] { EXPECT_EQ(ds3000_init(), -6); });
    EXPECT_EQ(messages, "");
    EXPECT_EQ(changed_fields(),
              with(bound_tuner, {{"chip_type", 4}, {"tuner_type", 1}, {"spectrum_inverted", 1}}));
}

TEST_F(PowerTest, init_does_not_report_a_firmware_block_that_failed_and_sends_no_more_of_them) {
    board(edited(golden("power_init_ds3103.txt"),
                 {{image_goes_here, tests::failing(blocks_of(ds3000_firmware_a, 3))}}));
    EXPECT_EQ(silently(ds3000_init), 0);
}

TEST_F(PowerTest, init_does_not_report_a_first_firmware_block_that_failed) {
    board(edited(golden("power_init_ds300x.txt"),
                 {{image_goes_here, tests::failing(blocks_of(ds3000_firmware_b, 1))}}));
    EXPECT_EQ(silently(ds3000_init), 0);
}

TEST_F(PowerTest, init_downloads_although_the_hold_and_the_release_failed) {
    board(edited(initialisation("power_init_ds300x.txt", ds3000_firmware_b),
                 {{"# firmware\nwrite demod B2 01", "write demod B2 01 -> nack"},
                  {"write demod B2 00\n# output mode 3", "write demod B2 00 -> nack"}}));
    EXPECT_EQ(silently(ds3000_init), 0);
}

TEST_F(PowerTest, init_goes_on_when_the_tuner_does_not_answer) {
    ds3000_context.tuner_type = 2;
    board(R"(
        read demod 01 -> D1
        read demod 02 -> 00
        read demod B2 -> 00
        write demod 03 11 -> nack
        write demod 03 11
        write tuner 00 01 -> nack
        wait 2000
        write demod 03 11
        write tuner 00 03 -> nack
        wait 2000
        write demod 03 11
        read tuner 00 -> nack address
    )");
    EXPECT_EQ(silently(ds3000_init), -6);
    EXPECT_EQ(ds3000_context.tuner_type, 0);
}

TEST_F(PowerTest, init_writes_the_board_options_after_reads_that_failed) {
    ds3000_context.board_iq_swap = 1;
    board(edited(
        initialisation("power_init_ds3103.txt", ds3000_firmware_a),
        {{"read demod 4D -> 93\nwrite demod 4D 91", "read demod 4D -> nack\nwrite demod 4D 02"},
         {"read demod 30 -> 18\nwrite demod 30 08", "read demod 30 -> nack\nwrite demod 30 02"}}));
    EXPECT_EQ(silently(ds3000_init), 0);
}

// Wake and sleep.

TEST_F(PowerTest, wake_wakes_the_demodulator_and_the_tuner_last) {
    bind_logging_tuner(0);
    remember_context();
    board(R"(
        read demod 08 -> 46
        write demod 08 47
        read demod 04 -> FF
        write demod 04 FE
        read demod 23 -> FF
        write demod 23 EF
        log tuner_wake
    )");
    EXPECT_EQ(ds3000_wake(), 0);
    EXPECT_EQ(changed_fields(), Fields{});
}

TEST_F(PowerTest, sleep_puts_the_tuner_to_sleep_first_and_then_the_demodulator) {
    bind_logging_tuner(0);
    remember_context();
    board(R"(
        log tuner_sleep
        read demod 08 -> FF
        write demod 08 FE
        read demod 04 -> 42
        write demod 04 43
        read demod 23 -> 07
        write demod 23 17
    )");
    EXPECT_EQ(ds3000_sleep(), 0);
    EXPECT_EQ(changed_fields(), Fields{});
}

TEST_F(PowerTest, wake_and_sleep_skip_a_tuner_that_is_not_bound) {
    board(R"(
        read demod 08 -> 00
        write demod 08 01
        read demod 04 -> 01
        write demod 04 00
        read demod 23 -> 10
        write demod 23 00
    )");
    EXPECT_EQ(ds3000_wake(), 0);

    board(R"(
        read demod 08 -> 01
        write demod 08 00
        read demod 04 -> 00
        write demod 04 01
        read demod 23 -> 00
        write demod 23 10
    )");
    EXPECT_EQ(ds3000_sleep(), 0);
}

TEST_F(PowerTest, wake_goes_on_with_the_byte_it_holds_when_transfers_fail) {
    bind_logging_tuner(0);
    board(R"(
        read demod 08 -> nack
        write demod 08 01 -> nack
        read demod 04 -> 7B
        write demod 04 7A
        read demod 23 -> nack address
        write demod 23 6A
        log tuner_wake
    )");
    EXPECT_EQ(ds3000_wake(), 0);
}

TEST_F(PowerTest, sleep_goes_on_with_the_byte_it_holds_when_transfers_fail) {
    board(R"(
        read demod 08 -> 85
        write demod 08 84
        read demod 04 -> nack
        write demod 04 85
        read demod 23 -> nack
        write demod 23 95 -> nack
    )");
    EXPECT_EQ(ds3000_sleep(), 0);
}

// Mode selection. The transcripts of an unlocked demodulator differ in the mode register and in
// the clock alone.

constexpr const char *clock_96000 = "read demod 22 -> AA\nread demod 24 -> 55\n";
constexpr const char *clock_144000 = "read demod 22 -> 2A\nread demod 24 -> 55\n";
constexpr const char *clock_192000 = "read demod 22 -> EA\nread demod 24 -> 15\n";
constexpr const char *unlocked_dvbs2 = "read demod 0D -> 0F\n";
constexpr const char *locked_dvbs2 = "read demod 0D -> FF\n";
constexpr const char *locked_dvbs = "read demod D1 -> 0F\nread demod 0D -> F7\n";
constexpr const char *mode_end = "read demod 29 -> FF\nwrite demod 29 DF\n";

std::string switch_clock(const std::string &old_clock, const std::string &a, const std::string &b) {
    return "write demod 06 E0\n" + old_clock + "write demod 22 " + a + "\nwrite demod 24 " + b +
           "\nwrite demod 06 00\n";
}

const std::string to_96000_from_144000 = switch_clock(clock_144000, "AA", "55");
const std::string to_144000_from_96000 = switch_clock(clock_96000, "2A", "55");
const std::string to_192000_from_96000 = switch_clock(clock_96000, "EA", "15");

class SetModeTest : public PowerTest {
 protected:
    SetModeTest() {
        ds3000_context.chip_type = CHIP_DS3002B;
        ds3000_context.standard = STANDARD_DVBS2;
        ds3000_context.master_clock_khz = 96000;
    }

    void expect_mode(std::uint8_t mode, const std::string &transcript) {
        SCOPED_TRACE(static_cast<int>(mode));
        board(transcript);
        EXPECT_EQ(ds3000_set_mode(mode), 0);
        check_board();
    }
};

constexpr const char *mode_1_written = "read demod FD -> FB\nwrite demod FD FE\n";
constexpr const char *mode_2_written = "read demod FD -> FF\nwrite demod FD FA\n";
constexpr const char *mode_3_written = "read demod FD -> FE\nwrite demod FD FB\n";

// The symbol rate that the demodulator reports.
std::string reported_rate(const std::string &low, const std::string &high) {
    return "read demod 6D -> " + low + "\nread demod 6E -> " + high + "\n";
}

TEST_F(SetModeTest, each_mode_has_its_bits_in_fd) {
    ds3000_context.symbol_rate_ksps = 1000;
    const std::string rest = std::string(unlocked_dvbs2) + clock_96000 + mode_end;
    expect_mode(0, "read demod FD -> FE\nwrite demod FD FB\n" + rest);
    expect_mode(0, "read demod FD -> 04\nwrite demod FD 01\n" + rest);
    expect_mode(1, "read demod FD -> FB\nwrite demod FD FE\n" + rest);
    expect_mode(1, "read demod FD -> 01\nwrite demod FD 04\n" + rest);
    expect_mode(2, "read demod FD -> FF\nwrite demod FD FA\n" + rest);
    expect_mode(2, "read demod FD -> 00\nwrite demod FD 00\n" + rest);
    expect_mode(3, "read demod FD -> FE\nwrite demod FD FB\n" + rest);
    expect_mode(4, "read demod FD -> 06\nwrite demod FD 03\n" + rest);
    expect_mode(255, "read demod FD -> 06\nwrite demod FD 03\n" + rest);
}

TEST_F(SetModeTest, ds3103_is_served_like_ds3002b) {
    ds3000_context.chip_type = CHIP_DS3103;
    expect_mode(1, std::string(mode_1_written) + unlocked_dvbs2 + clock_96000 + mode_end);
}

TEST_F(SetModeTest, other_chips_are_refused_without_an_access) {
    for (const std::int32_t chip : {-1, 0, 1, 4, 5}) {
        ds3000_context.chip_type = chip;
        EXPECT_EQ(ds3000_set_mode(1), -6);
    }
}

TEST_F(SetModeTest, modes_0_and_1_go_back_to_the_clock_in_the_context) {
    ds3000_context.master_clock_khz = 115200;
    ds3000_context.symbol_rate_ksps = 45000;
    const std::string rest = std::string(unlocked_dvbs2) + clock_96000 +
                             switch_clock(clock_96000, "6A", "55") + mode_end;
    remember_context();
    expect_mode(0, mode_3_written + rest);
    expect_mode(1, mode_1_written + rest);
    EXPECT_EQ(changed_fields(), Fields{});
}

TEST_F(SetModeTest, modes_2_and_3_run_dvbs_at_96000) {
    ds3000_context.standard = STANDARD_DVBS;
    ds3000_context.master_clock_khz = 72000;
    ds3000_context.symbol_rate_ksps = 45000;
    const std::string rest = "read demod D1 -> 07\nread demod 0D -> 06\n" +
                             std::string(clock_144000) + to_96000_from_144000 + mode_end;
    expect_mode(2, mode_2_written + rest);
    expect_mode(3, mode_3_written + rest);
}

TEST_F(SetModeTest, any_standard_but_dvbs2_is_taken_for_dvbs) {
    ds3000_context.standard = 7;
    ds3000_context.symbol_rate_ksps = 45000;
    expect_mode(3, std::string(mode_3_written) + "read demod D1 -> 07\nread demod 0D -> 00\n" +
                       clock_96000 + mode_end);
}

TEST_F(SetModeTest, unlocked_dvbs2_above_28000_ksps_runs_at_192000) {
    for (const std::int32_t rate : {28001, 45000}) {
        ds3000_context.symbol_rate_ksps = rate;
        const std::string rest =
            std::string(unlocked_dvbs2) + clock_96000 + to_192000_from_96000 + mode_end;
        expect_mode(3, mode_3_written + rest);
        expect_mode(2, mode_2_written + rest);
    }
}

TEST_F(SetModeTest, unlocked_dvbs2_from_18001_to_28000_ksps_runs_at_144000) {
    for (const std::int32_t rate : {18001, 28000}) {
        ds3000_context.symbol_rate_ksps = rate;
        const std::string rest =
            std::string(unlocked_dvbs2) + clock_96000 + to_144000_from_96000 + mode_end;
        expect_mode(3, mode_3_written + rest);
        expect_mode(2, mode_2_written + rest);
    }
}

TEST_F(SetModeTest, unlocked_dvbs2_up_to_18000_ksps_runs_at_96000) {
    for (const std::int32_t rate : {-1, 0, 18000}) {
        ds3000_context.symbol_rate_ksps = rate;
        const std::string rest =
            std::string(unlocked_dvbs2) + clock_144000 + to_96000_from_144000 + mode_end;
        expect_mode(3, mode_3_written + rest);
        expect_mode(2, mode_2_written + rest);
    }
}

TEST_F(SetModeTest, clock_that_is_right_already_is_left_alone) {
    ds3000_context.symbol_rate_ksps = 28000;
    expect_mode(3, std::string(mode_3_written) + unlocked_dvbs2 + clock_144000 + mode_end);
    ds3000_context.symbol_rate_ksps = 28001;
    expect_mode(3, std::string(mode_3_written) + unlocked_dvbs2 + clock_192000 + mode_end);
}

TEST_F(SetModeTest, clock_that_cannot_be_read_counts_as_96000) {
    const std::string no_clock = "read demod 22 -> 00\nread demod 24 -> 80\n";
    ds3000_context.symbol_rate_ksps = 18000;
    expect_mode(3, mode_3_written + std::string(unlocked_dvbs2) + no_clock + mode_end);
    ds3000_context.symbol_rate_ksps = 18001;
    expect_mode(3, mode_3_written + std::string(unlocked_dvbs2) + no_clock +
                       switch_clock(no_clock, "00", "40") + mode_end);
}

TEST_F(SetModeTest, dvbs2_is_locked_only_with_all_of_bits_7_3_2_1_0) {
    ds3000_context.symbol_rate_ksps = 1000;
    for (const std::string status : {"7F", "F7", "FB", "FD", "FE"}) {
        SCOPED_TRACE(status);
        expect_mode(2, std::string(mode_2_written) + "read demod 0D -> " + status + "\n" +
                           clock_96000 + mode_end);
    }
}

TEST_F(SetModeTest, dvbs_is_locked_only_with_all_of_bits_2_1_0_in_0d) {
    ds3000_context.standard = STANDARD_DVBS;
    for (const std::string status : {"FB", "FD", "FE"}) {
        SCOPED_TRACE(status);
        expect_mode(2, std::string(mode_2_written) + "read demod D1 -> 07\nread demod 0D -> " +
                           status + "\n" + clock_96000 + mode_end);
    }
}

TEST_F(SetModeTest, dvbs_without_bits_2_1_0_in_d1_is_not_locked) {
    ds3000_context.standard = STANDARD_DVBS;
    for (const std::string status : {"FB", "FD", "FE", "00"}) {
        SCOPED_TRACE(status);
        expect_mode(2, std::string(mode_2_written) + "read demod D1 -> " + status + "\n" +
                           clock_96000 + mode_end);
    }
}

// The carrier is gone when the adaptation asks for its rate, which ends the adaptation.
TEST_F(SetModeTest, locked_dvbs2_takes_the_rate_that_the_demodulator_reports) {
    const struct {
        std::string low, high, clock;
        std::int32_t old_rate;
    } cases[] = {
        {"00", "30", std::string(clock_144000) + reported_rate("00", "30") + to_96000_from_144000,
         45000},
        {"01", "30", std::string(clock_96000) + reported_rate("01", "30") + to_144000_from_96000,
         1000},
        {"AB", "4A", std::string(clock_96000) + reported_rate("AB", "4A") + to_144000_from_96000,
         1000},
        {"AC", "4A", std::string(clock_96000) + reported_rate("AC", "4A") + to_192000_from_96000,
         1000},
        {"61", "57", std::string(clock_96000) + reported_rate("61", "57") + to_192000_from_96000,
         1000},
    };
    for (const auto &rate : cases) {
        SCOPED_TRACE(rate.high + rate.low);
        ds3000_context.symbol_rate_ksps = rate.old_rate;
        for (const std::uint8_t mode : {std::uint8_t{2}, std::uint8_t{3}}) {
            expect_mode(mode, (mode == 2 ? mode_2_written : mode_3_written) +
                                  std::string(locked_dvbs2) + rate.clock +
                                  reported_rate("00", "00") + mode_end);
        }
        EXPECT_EQ(ds3000_context.symbol_rate_ksps, rate.old_rate);
    }
}

TEST_F(SetModeTest, locked_rate_that_reads_back_wrapped_and_negative_runs_at_96000) {
    ds3000_context.symbol_rate_ksps = 33000;
    remember_context();
    board(R"(
        read demod FD -> 07
        write demod FD 02
        read demod 0D -> 8F
        read demod 22 -> EA
        read demod 24 -> 15
        read demod 6D -> 62
        read demod 6E -> 57
        write demod 06 E0
        read demod 22 -> EA
        read demod 24 -> 15
        write demod 22 AA
        write demod 24 55
        write demod 06 00
        # the output clock
        read demod 6D -> 62
        read demod 6E -> 57
        read demod 7E -> 06
        read demod 89 -> 00
        read demod F2 -> 00
        read demod FD -> 02
        read demod 22 -> AA
        read demod 24 -> 55
        read demod FE -> DF
        write demod FE D1
        write demod EA C7
        # the end
        read demod 29 -> 20
        write demod 29 00
    )");
    EXPECT_EQ(ds3000_set_mode(2), 0);
    EXPECT_EQ(changed_fields(), (Fields{{"master_clock_khz", 72000}}));
}

TEST_F(SetModeTest, locked_dvbs2_sizes_the_output_clock_after_the_master_clock) {
    ds3000_context.symbol_rate_ksps = 1000;
    ds3000_context.master_clock_khz = 72000;
    remember_context();
    board(R"(
        read demod FD -> 00
        write demod FD 01
        read demod 0D -> 8F
        read demod 22 -> AA
        read demod 24 -> 55
        read demod 6D -> AC
        read demod 6E -> 4A
        write demod 06 E0
        read demod 22 -> AA
        read demod 24 -> 55
        write demod 22 EA
        write demod 24 15
        write demod 06 00
        # the output clock: 28001 ksym/s of 8PSK 3/4 are 7875 kbyte/s
        read demod 6D -> AC
        read demod 6E -> 4A
        read demod 7E -> 66
        read demod 89 -> 80
        read demod F2 -> 01
        read demod FD -> 01
        read demod 22 -> EA
        read demod 24 -> 15
        read demod FE -> DF
        write demod FE D2
        write demod EA CB
        # the end
        read demod 29 -> FF
        write demod 29 DF
    )");
    EXPECT_EQ(ds3000_set_mode(3), 0);
    EXPECT_EQ(changed_fields(), (Fields{{"master_clock_khz", 96000}}));
}

TEST_F(SetModeTest, locked_dvbs_in_mode_1_reads_no_rate_for_the_clock_and_adapts_it_afterwards) {
    ds3000_context.standard = STANDARD_DVBS;
    remember_context();
    board(std::string("read demod FD -> 01\nwrite demod FD 04\n") + locked_dvbs + clock_96000 + R"(
        # the output clock: 27499 ksym/s of 3/4 are 5156 kbyte/s
        read demod 6D -> 55
        read demod 6E -> 49
        read demod E6 -> 40
        read demod E0 -> 00
        read demod FD -> 04
        read demod 22 -> AA
        read demod 24 -> 55
        write demod 06 E0
        read demod 22 -> AA
        read demod 24 -> 55
        write demod 22 2A
        write demod 24 D5
        write demod 06 00
        # the end
        read demod 29 -> FF
        write demod 29 DF
    )");
    EXPECT_EQ(ds3000_set_mode(1), 0);
    EXPECT_EQ(changed_fields(), (Fields{{"master_clock_khz", 72000}}));
}

TEST_F(SetModeTest, locked_dvbs_in_mode_2_reads_no_rate_for_the_clock) {
    ds3000_context.standard = STANDARD_DVBS;
    expect_mode(2, std::string(mode_2_written) + locked_dvbs + clock_96000 +
                       reported_rate("00", "00") + mode_end);
}

TEST_F(SetModeTest, an_adaptation_that_fails_is_not_reported) {
    expect_mode(1, std::string(mode_1_written) + locked_dvbs2 + clock_96000 +
                       reported_rate("00", "00") + mode_end);
}

TEST_F(SetModeTest, mode_is_set_with_the_bytes_held_when_transfers_fail) {
    ds3000_context.symbol_rate_ksps = 18001;
    board(R"(
        read demod FD -> nack
        write demod FD 01 -> nack
        read demod 0D -> 6F
        read demod 22 -> nack
        read demod 24 -> nack
        write demod 06 E0 -> nack
        read demod 22 -> nack
        read demod 24 -> nack
        write demod 22 00
        write demod 24 40
        write demod 06 00 -> nack
        read demod 29 -> nack
        write demod 29 4F -> nack
    )");
    EXPECT_EQ(ds3000_set_mode(3), 0);
}

TEST_F(PowerTest, revision_is_60303_and_touches_nothing) {
    std::uint32_t revision = 0;
    remember_context();
    EXPECT_EQ(ds3000_get_revision(&revision), 0);
    EXPECT_EQ(revision, 60303U);
    EXPECT_EQ(changed_fields(), Fields{});
}

}  // namespace
