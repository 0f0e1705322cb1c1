// SPDX-License-Identifier: MIT
#include "ds3000/demod/connect.h"

#include <cstdint>
#include <string>

#include "ds3000/demod/firmware.h"
#include "ds3000/demod/power.h"
#include "ds3000/demod/programming.h"
#include "tests/support/channel_test.h"

namespace {

using tests::Edit;
using tests::edited;
using tests::Fields;
using tests::golden;
using tests::lines_between;

constexpr const char *dvbs_ds300x = "connect_dvbs_ds300x.txt";
constexpr const char *dvbs2_ds300x = "connect_dvbs2_ds300x.txt";
constexpr const char *dvbs_ds310x = "connect_dvbs_ds310x.txt";
constexpr const char *dvbs2_ds310x = "connect_dvbs2_ds310x.txt";

class ConnectTest : public tests::ChannelTest {
 protected:
    ConnectTest() { leave_old_channel(); }

    // The channels of the four goldens.
    static std::int32_t connect_dvbs() { return ds3000_connect(1236, 27500, STANDARD_DVBS); }
    static std::int32_t connect_dvbs2() { return ds3000_connect(1484, 22000, STANDARD_DVBS2); }

    static void use_chip(std::int32_t chip_type, std::int32_t tuner_offset_khz) {
        ds3000_context.chip_type = chip_type;
        bind_logging_tuner(tuner_offset_khz);
    }

    // Fields that a connect leaves, whatever channel there was before.
    static Fields armed(std::uint32_t standard, std::int32_t rate_ksps, std::int32_t carrier_khz) {
        return {{"standard", standard},
                {"requested_standard", standard},
                {"symbol_rate_ksps", rate_ksps},
                {"carrier_offset_khz", carrier_khz},
                {"spectrum_inverted", 0},
                {"locked_once", 0},
                {"first_poll", 1},
                {"ts_clock_pending", 1},
                {"s2_recovery_done", 0}};
    }

    static Fields with(const Fields &more, Fields fields) {
        for (const auto &[name, value] : more) {
            fields[name] = value;
        }
        return fields;
    }
};

// Whole connects.

TEST_F(ConnectTest, dvbs_on_ds300x) {
    use_chip(CHIP_DS300X, -1250);
    remember_context();
    board(golden(dvbs_ds300x));
    EXPECT_EQ(connect_dvbs(), 0);
    EXPECT_EQ(changed_fields(), armed(4, 27500, -1250));
}

TEST_F(ConnectTest, dvbs2_on_ds300x) {
    use_chip(CHIP_DS300X, 1250);
    remember_context();
    board(golden(dvbs2_ds300x));
    EXPECT_EQ(connect_dvbs2(), 0);
    EXPECT_EQ(changed_fields(), armed(5, 22000, 1250));
}

TEST_F(ConnectTest, dvbs_on_ds3002b_and_ds3103) {
    for (const std::int32_t chip : {CHIP_DS3002B, CHIP_DS3103}) {
        leave_old_channel();
        use_chip(chip, -1250);
        remember_context();
        board(golden(dvbs_ds310x));
        EXPECT_EQ(connect_dvbs(), 0);
        EXPECT_EQ(changed_fields(), armed(4, 27500, -1250));
    }
}

TEST_F(ConnectTest, dvbs2_on_ds3002b_and_ds3103) {
    for (const std::int32_t chip : {CHIP_DS3002B, CHIP_DS3103}) {
        leave_old_channel();
        use_chip(chip, 1250);
        remember_context();
        board(golden(dvbs2_ds310x));
        EXPECT_EQ(connect_dvbs2(), 0);
        EXPECT_EQ(changed_fields(), armed(5, 22000, 1250));
    }
}

TEST_F(ConnectTest, dvbs2_on_ds3103_with_the_tuner_that_the_initialisation_binds) {
    board(tests::initialisation("power_init_ds3103.txt", ds3000_firmware_a));
    standard_error_of([] { EXPECT_EQ(ds3000_init(), 0); });

    board(golden("connect_dvbs2_ds310x_with_tuner.txt"));
    EXPECT_EQ(ds3000_connect(1550, 30000, STANDARD_DVBS2), 0);
    EXPECT_EQ(ds3000_context.tuner_frequency_offset, 571);
    EXPECT_EQ(ds3000_context.carrier_offset_khz, 571);
}

// Standards.

TEST_F(ConnectTest, automatic_standard_begins_with_dvbs) {
    use_chip(CHIP_DS3103, -1250);
    remember_context();
    board(golden(dvbs_ds310x));
    EXPECT_EQ(ds3000_connect(1236, 27500, STANDARD_AUTO), 0);
    EXPECT_EQ(changed_fields(), with({{"requested_standard", 6}}, armed(4, 27500, -1250)));
}

TEST_F(ConnectTest, automatic_standard_on_ds300x_begins_with_dvbs) {
    use_chip(CHIP_DS300X, -1250);
    remember_context();
    board(golden(dvbs_ds300x));
    EXPECT_EQ(ds3000_connect(1236, 27500, STANDARD_AUTO), 0);
    EXPECT_EQ(changed_fields(), with({{"requested_standard", 6}}, armed(4, 27500, -1250)));
}

TEST_F(ConnectTest, code_of_no_standard_is_stored_and_programmed_as_dvbs) {
    for (const std::uint32_t code : {0U, 3U, 7U, 0xFFFFFFFFU}) {
        leave_old_channel();
        use_chip(CHIP_DS3002B, -1250);
        remember_context();
        board(golden(dvbs_ds310x));
        EXPECT_EQ(ds3000_connect(1236, 27500, code), 0);
        EXPECT_EQ(changed_fields(), armed(code, 27500, -1250));
    }
}

TEST_F(ConnectTest, code_of_no_standard_on_ds300x_reads_the_output_mode_as_dvbs2_does) {
    use_chip(CHIP_DS300X, -1250);
    remember_context();
    board(edited(golden(dvbs_ds300x),
                 {{"# output mode\nread demod FD -> A0", "read demod FD -> 41"},
                  {"# output mode copied\nread demod FD -> A0", "read demod FD -> 41"}}));
    EXPECT_EQ(ds3000_connect(1236, 27500, 7), 0);
    EXPECT_EQ(changed_fields(), armed(7, 27500, -1250));
}

// Output modes. The goldens have mode 3.

// A golden with another value in the output-mode register.
std::string in_mode(const std::string &transcript, const std::string &from, const std::string &to) {
    const std::string read = "read demod FD -> ";
    const std::string before = "# output mode\n" + read + from;
    const std::string copied = "# output mode copied\n" + read + from;
    const std::string now = read + to;
    return edited(transcript, {{before, now}, {copied, now}});
}

constexpr Edit no_divider_bit = {"read demod 27 -> 21\nwrite demod 27 31",
                                 "read demod 27 -> 31\nwrite demod 27 21"};
constexpr Edit bit_3_not_copied = {"read demod CA -> 22\nwrite demod CA 23",
                                   "read demod CA -> FF\nwrite demod CA FE"};

TEST_F(ConnectTest, dvbs_on_ds300x_in_mode_1_has_no_divider) {
    use_chip(CHIP_DS300X, -1250);
    board(edited(
        in_mode(golden(dvbs_ds300x), "A0", "68"),
        {{"read demod FE -> DF\nwrite demod FE C0", "read demod FE -> 7F\nwrite demod FE 40"},
         {"read demod CA -> 23\nwrite demod CA 22", "read demod CA -> FE\nwrite demod CA FF"},
         no_divider_bit}));
    EXPECT_EQ(connect_dvbs(), 0);
}

TEST_F(ConnectTest, dvbs_on_ds300x_in_mode_2_divides_96000_khz_by_2_and_2) {
    use_chip(CHIP_DS300X, -1250);
    board(edited(in_mode(golden(dvbs_ds300x), "A0", "20"),
                 {{"write demod FE C0", "write demod FE D2"}}));
    EXPECT_EQ(connect_dvbs(), 0);
}

TEST_F(ConnectTest, dvbs2_on_ds300x_in_mode_1_has_no_divider) {
    use_chip(CHIP_DS300X, 1250);
    board(edited(in_mode(golden(dvbs2_ds300x), "4B", "4E"),
                 {{"write demod FE CC", "write demod FE 00"}, no_divider_bit}));
    EXPECT_EQ(connect_dvbs2(), 0);
}

TEST_F(ConnectTest, dvbs2_on_ds300x_in_mode_2_divides_144000_khz_by_3_and_3) {
    use_chip(CHIP_DS300X, 1250);
    board(edited(in_mode(golden(dvbs2_ds300x), "4B", "42"),
                 {{"write demod FE CC", "write demod FE 33"}, bit_3_not_copied}));
    EXPECT_EQ(connect_dvbs2(), 0);
}

TEST_F(ConnectTest, dvbs_on_ds3103_in_mode_1_has_no_divider) {
    use_chip(CHIP_DS3103, -1250);
    board(edited(in_mode(golden(dvbs_ds310x), "4B", "4E"),
                 {{"write demod FE D1\nwrite demod EA C7", "write demod FE DF\nwrite demod EA FF"},
                  no_divider_bit}));
    EXPECT_EQ(connect_dvbs(), 0);
}

TEST_F(ConnectTest, dvbs_on_ds3103_in_mode_2_divides_96000_khz_by_2_and_2) {
    use_chip(CHIP_DS3103, -1250);
    board(edited(in_mode(golden(dvbs_ds310x), "4B", "42"),
                 {{"write demod FE D1\nwrite demod EA C7", "write demod FE D0\nwrite demod EA 41"},
                  bit_3_not_copied}));
    EXPECT_EQ(connect_dvbs(), 0);
}

TEST_F(ConnectTest, dvbs2_on_ds3103_in_mode_1_has_no_divider) {
    use_chip(CHIP_DS3103, 1250);
    board(edited(in_mode(golden(dvbs2_ds310x), "4B", "4E"),
                 {{"write demod FE D2\nwrite demod EA CB", "write demod FE DF\nwrite demod EA FF"},
                  no_divider_bit}));
    EXPECT_EQ(connect_dvbs2(), 0);
}

TEST_F(ConnectTest, dvbs2_on_ds3103_in_mode_2_divides_144000_khz_by_3_and_3) {
    use_chip(CHIP_DS3103, 1250);
    board(edited(in_mode(golden(dvbs2_ds310x), "4B", "42"),
                 {{"write demod FE D2\nwrite demod EA CB", "write demod FE D0\nwrite demod EA 82"},
                  bit_3_not_copied}));
    EXPECT_EQ(connect_dvbs2(), 0);
}

// Narrow carriers.

constexpr const char *narrow_writes =
    "write demod C0 04\nwrite demod 8A 09\nwrite demod 8B 22\nwrite demod 8C 88\n";

TEST_F(ConnectTest, dvbs_at_4999_ksps_tunes_3_mhz_above_and_expects_the_carrier_there) {
    use_chip(CHIP_DS3103, -1250);
    remember_context();
    board(edited(
        golden(dvbs_ds310x),
        {{"log tuner_set_frequency 1236000 27500 0", "log tuner_set_frequency 1239000 4999 3000"},
         {"# loops\nwrite demod C3 08\nwrite demod C8 06", "write demod C3 08\nwrite demod C8 10"},
         {"write demod 61 55\nwrite demod 62 49", "write demod 61 55\nwrite demod 62 0D"},
         {"write demod 5F FC\nwrite demod 5E AC", "write demod 5F 04\nwrite demod 5E AB"}}));
    EXPECT_EQ(ds3000_connect(1236, 4999, STANDARD_DVBS), 0);
    EXPECT_EQ(changed_fields(), armed(4, 4999, 1750));
}

TEST_F(ConnectTest, dvbs2_at_4999_ksps_tunes_3_mhz_above_and_widens_its_search) {
    use_chip(CHIP_DS300X, 1250);
    remember_context();
    board(edited(
        golden(dvbs2_ds300x),
        {{"log tuner_set_frequency 1484000 22000 0", "log tuner_set_frequency 1487000 4999 3000"},
         {"# output divider", narrow_writes},
         {"# loops\nwrite demod C3 08\nwrite demod C8 06", "write demod C3 08\nwrite demod C8 10"},
         {"write demod 61 AB\nwrite demod 62 3A", "write demod 61 55\nwrite demod 62 0D"},
         {"write demod 5F 03\nwrite demod 5E 55", "write demod 5F 0B\nwrite demod 5E 55"}}));
    EXPECT_EQ(ds3000_connect(1484, 4999, STANDARD_DVBS2), 0);
    EXPECT_EQ(changed_fields(), armed(5, 4999, 4250));
}

TEST_F(ConnectTest, dvbs_at_5000_ksps_is_not_shifted) {
    use_chip(CHIP_DS3103, -1250);
    remember_context();
    board(edited(
        golden(dvbs_ds310x),
        {{"log tuner_set_frequency 1236000 27500 0", "log tuner_set_frequency 1236000 5000 0"},
         {"# loops\nwrite demod C3 08\nwrite demod C8 06", "write demod C3 08\nwrite demod C8 10"},
         {"write demod 61 55\nwrite demod 62 49", "write demod 61 55\nwrite demod 62 0D"}}));
    EXPECT_EQ(ds3000_connect(1236, 5000, STANDARD_DVBS), 0);
    EXPECT_EQ(changed_fields(), armed(4, 5000, -1250));
}

// Spectrum inversion and board options.

constexpr Edit inversion_set = {"read demod 4D -> 93\nwrite demod 4D 91",
                                "read demod 4D -> 91\nwrite demod 4D 93"};

TEST_F(ConnectTest, ds300x_with_swapped_wiring_expects_the_carrier_negated) {
    use_chip(CHIP_DS300X, -1250);
    ds3000_context.board_iq_swap = 1;
    remember_context();
    board(edited(golden(dvbs_ds300x), {{"write demod 5F FC\nwrite demod 5E AC",
                                        "write demod 5F 03\nwrite demod 5E 55"}}));
    EXPECT_EQ(connect_dvbs(), 0);
    EXPECT_EQ(changed_fields(), with({{"spectrum_inverted", 1}}, armed(4, 27500, 1250)));
}

TEST_F(ConnectTest, ds300x_with_swapped_wiring_negates_the_shift_of_a_narrow_carrier_too) {
    use_chip(CHIP_DS300X, 1250);
    ds3000_context.board_iq_swap = 1;
    remember_context();
    board(edited(
        golden(dvbs_ds300x),
        {{"log tuner_set_frequency 1236000 27500 0", "log tuner_set_frequency 1239000 3000 3000"},
         {"# loops\nwrite demod C3 08\nwrite demod C8 06", "write demod C3 08\nwrite demod C8 20"},
         {"write demod 61 55\nwrite demod 62 49", "write demod 61 00\nwrite demod 62 08"},
         {"write demod 5F FC\nwrite demod 5E AC", "write demod 5F F4\nwrite demod 5E AC"}}));
    EXPECT_EQ(ds3000_connect(1236, 3000, STANDARD_DVBS), 0);
    EXPECT_EQ(changed_fields(), with({{"spectrum_inverted", 1}}, armed(4, 3000, -4250)));
}

TEST_F(ConnectTest, ds3103_with_swapped_wiring_inverts_the_spectrum_and_not_the_carrier) {
    use_chip(CHIP_DS3103, -1250);
    ds3000_context.board_iq_swap = 1;
    remember_context();
    board(edited(golden(dvbs_ds310x), {inversion_set}));
    EXPECT_EQ(connect_dvbs(), 0);
    EXPECT_EQ(changed_fields(), with({{"spectrum_inverted", 1}}, armed(4, 27500, -1250)));
}

TEST_F(ConnectTest, board_option_sets_bit_4_of_30_when_it_is_exactly_1) {
    use_chip(CHIP_DS3002B, 1250);
    ds3000_context.reg30_bit4_enable = 1;
    board(edited(golden(dvbs2_ds310x), {{"read demod 30 -> 18\nwrite demod 30 08",
                                         "read demod 30 -> 08\nwrite demod 30 18"}}));
    EXPECT_EQ(connect_dvbs2(), 0);

    ds3000_context.reg30_bit4_enable = 2;
    board(golden(dvbs2_ds310x));
    EXPECT_EQ(connect_dvbs2(), 0);
}

// Unicable. User band 3 at 1210 MHz, bank 1, as in the golden.

constexpr const char *unicable_golden = "connect_dvbs2_ds310x_unicable.txt";

void use_unicable(std::uint16_t ub_freq_mhz = 1210) {
    ds3000_context.unicable_enabled = 1;
    ds3000_context.unicable_ub_index = 3;
    ds3000_context.unicable_bank = 1;
    ds3000_context.unicable_ub_freq_mhz = ub_freq_mhz;
}

TEST_F(ConnectTest, unicable_asks_the_unit_and_expects_the_carrier_where_its_step_puts_it) {
    use_chip(CHIP_DS3103, 1250);
    use_unicable();
    remember_context();
    board(golden(unicable_golden));
    EXPECT_EQ(ds3000_connect(1500, 22000, STANDARD_DVBS2), 0);
    EXPECT_EQ(changed_fields(), with({{"spectrum_inverted", 1}}, armed(5, 22000, -750)));
}

TEST_F(ConnectTest, unicable_residue_is_0_to_3_mhz_below_by_the_units_4_mhz_steps) {
    use_chip(CHIP_DS3002B, 250);
    const struct {
        std::uint32_t frequency_mhz;
        const char *carrier;
        std::int32_t carrier_khz;
    } steps[] = {
        {1490, "write demod 5F 00\nwrite demod 5E AB", 250},
        {1491, "write demod 5F FE\nwrite demod 5E 01", -750},
        {1492, "write demod 5F FB\nwrite demod 5E 56", -1750},
        {1493, "write demod 5F F8\nwrite demod 5E AC", -2750},
    };
    for (const auto &step : steps) {
        SCOPED_TRACE(step.frequency_mhz);
        use_unicable();
        board(edited(golden(unicable_golden),
                     {{"write demod A7 47", "write demod A7 45"},
                      {"write demod 5F FE\nwrite demod 5E 01", step.carrier}}));
        EXPECT_EQ(ds3000_connect(step.frequency_mhz, 22000, STANDARD_DVBS2), 0);
        EXPECT_EQ(ds3000_context.carrier_offset_khz, step.carrier_khz);
    }
}

TEST_F(ConnectTest, unicable_below_5000_ksps_is_not_shifted) {
    use_chip(CHIP_DS3103, 1250);
    use_unicable();
    board(edited(
        golden(unicable_golden),
        {{"log tuner_set_frequency 1210000 22000 0", "log tuner_set_frequency 1210000 4999 0"},
         {"# output divider", narrow_writes},
         {"write demod FE D2\nwrite demod EA CB", "write demod FE D1\nwrite demod EA C7"},
         {"write demod 22 05\nwrite demod 24 4A", "write demod 22 85\nwrite demod 24 4A"},
         {"# loops\nwrite demod C3 08\nwrite demod C8 06", "write demod C3 08\nwrite demod C8 10"},
         {"write demod 61 AB\nwrite demod 62 3A", "write demod 61 55\nwrite demod 62 0D"}}));
    EXPECT_EQ(ds3000_connect(1500, 4999, STANDARD_DVBS2), 0);
    EXPECT_EQ(ds3000_context.carrier_offset_khz, -750);
}

TEST_F(ConnectTest, unicable_on_ds300x_expects_the_carrier_negated_with_its_residue) {
    use_chip(CHIP_DS300X, 1250);
    use_unicable();
    const std::string change = lines_between(golden(unicable_golden), "# tuner", "# hold");
    board(edited(golden(dvbs2_ds300x), {{"log tuner_set_frequency 1484000 22000 0", change},
                                        {"write demod 5F 03\nwrite demod 5E 55",
                                         "write demod 5F 02\nwrite demod 5E 00"}}));
    EXPECT_EQ(ds3000_connect(1500, 22000, STANDARD_DVBS2), 0);
    EXPECT_EQ(ds3000_context.carrier_offset_khz, 750);
}

TEST_F(ConnectTest, unicable_with_swapped_wiring_is_not_inverted) {
    use_chip(CHIP_DS3103, 1250);
    use_unicable();
    ds3000_context.board_iq_swap = 1;
    remember_context();
    board(edited(golden(unicable_golden), {{"read demod 4D -> 91\nwrite demod 4D 93",
                                            "read demod 4D -> 93\nwrite demod 4D 91"}}));
    EXPECT_EQ(ds3000_connect(1500, 22000, STANDARD_DVBS2), 0);
    EXPECT_EQ(changed_fields(), armed(5, 22000, -750));
}

TEST_F(ConnectTest, unicable_takes_band_bank_and_frequency_from_the_board_configuration) {
    use_chip(CHIP_DS3103, 250);
    ds3000_context.unicable_enabled = 1;
    ds3000_context.unicable_ub_index = 7;
    ds3000_context.unicable_bank = 6;
    ds3000_context.unicable_ub_freq_mhz = 2096;
    board(edited(
        golden(unicable_golden),
        {{"write demod A6 65\nwrite demod A7 47", "write demod A6 FA\nwrite demod A7 25"},
         {"log tuner_set_frequency 1210000 22000 0", "log tuner_set_frequency 2096000 22000 0"},
         {"write demod 5F FE\nwrite demod 5E 01", "write demod 5F 00\nwrite demod 5E AB"}}));
    EXPECT_EQ(ds3000_connect(1500, 22000, STANDARD_DVBS2), 0);
    EXPECT_EQ(ds3000_context.carrier_offset_khz, 250);
}

TEST_F(ConnectTest, unicable_code_that_is_neither_0_nor_1_tunes_directly_and_never_shifts) {
    use_chip(CHIP_DS3103, -1250);
    ds3000_context.unicable_enabled = 2;
    remember_context();
    board(edited(
        golden(dvbs_ds310x),
        {{"log tuner_set_frequency 1236000 27500 0", "log tuner_set_frequency 1236000 3001 0"},
         {"# loops\nwrite demod C3 08\nwrite demod C8 06", "write demod C3 08\nwrite demod C8 10"},
         {"write demod 61 55\nwrite demod 62 49", "write demod 61 01\nwrite demod 62 08"}}));
    EXPECT_EQ(ds3000_connect(1236, 3001, STANDARD_DVBS), 0);
    EXPECT_EQ(changed_fields(), with({{"spectrum_inverted", 2}}, armed(4, 3001, -1250)));
}

// A micro-controller left held.

TEST_F(ConnectTest, ds300x_left_held_is_released_before_anything_else) {
    use_chip(CHIP_DS300X, -1250);
    board(edited(golden(dvbs_ds300x), {{"# run, when left held\nread demod B2 -> 00", R"(
        read demod B2 -> 01
        write demod 05 00
        write demod B2 00)"}}));
    EXPECT_EQ(connect_dvbs(), 0);
}

TEST_F(ConnectTest, ds3002b_and_ds3103_left_held_are_released_before_anything_else) {
    for (const std::int32_t chip : {CHIP_DS3002B, CHIP_DS3103}) {
        use_chip(chip, 1250);
        board(edited(golden(dvbs2_ds310x), {{"# run, when left held\nread demod B2 -> 00", R"(
            read demod B2 -> 01
            write demod 00 00
            write demod B2 00)"}}));
        EXPECT_EQ(connect_dvbs2(), 0);
    }
}

TEST_F(ConnectTest, micro_controller_counts_as_held_only_when_b2_reads_exactly_1) {
    for (const std::string control : {"03", "81", "C1", "FF"}) {
        SCOPED_TRACE(control);
        use_chip(CHIP_DS3103, 1250);
        const std::string read = "read demod B2 -> " + control;
        board(edited(golden(dvbs2_ds310x), {{"read demod B2 -> 00", read}}));
        EXPECT_EQ(connect_dvbs2(), 0);
    }
}

// Refusals.

TEST_F(ConnectTest, without_tuner_set_frequency_nothing_is_touched_or_changed) {
    use_chip(CHIP_DS3103, 0);
    ds3000_context.tuner_ops.tuner_set_frequency = nullptr;
    remember_context();
    EXPECT_EQ(connect_dvbs(), -11);
    EXPECT_EQ(changed_fields(), Fields{});
}

TEST_F(ConnectTest, without_tuner_get_offset_nothing_is_touched_or_changed) {
    use_chip(CHIP_DS3103, 0);
    ds3000_context.tuner_ops.tuner_get_offset = nullptr;
    remember_context();
    EXPECT_EQ(connect_dvbs(), -11);
    EXPECT_EQ(changed_fields(), Fields{});
}

TEST_F(ConnectTest, unbound_tuner_is_refused_before_an_unknown_chip) {
    ds3000_context.chip_type = CHIP_UNKNOWN;
    remember_context();
    EXPECT_EQ(connect_dvbs(), -11);
    EXPECT_EQ(changed_fields(), Fields{});
}

TEST_F(ConnectTest, the_other_tuner_slots_are_not_needed) {
    use_chip(CHIP_DS300X, -1250);
    ds3000_context.tuner_ops.tuner_wake = nullptr;
    ds3000_context.tuner_ops.tuner_sleep = nullptr;
    ds3000_context.tuner_ops.tuner_get_gain = nullptr;
    board(golden(dvbs_ds300x));
    EXPECT_EQ(connect_dvbs(), 0);
}

TEST_F(ConnectTest, unknown_chip_is_refused_after_the_request_was_stored) {
    for (const std::int32_t chip : {-1, 0, 4, 5}) {
        leave_old_channel();
        use_chip(chip, 0);
        ds3000_context.unicable_enabled = 1;
        remember_context();
        EXPECT_EQ(ds3000_connect(1236, 27500, STANDARD_AUTO), -6);
        EXPECT_EQ(changed_fields(), (Fields{{"requested_standard", 6},
                                            {"symbol_rate_ksps", 27500},
                                            {"spectrum_inverted", 1},
                                            {"locked_once", 0},
                                            {"first_poll", 1},
                                            {"ts_clock_pending", 1},
                                            {"s2_recovery_done", 0}}));
    }
}

// Transfers that fail.

TEST_F(ConnectTest, tuner_that_does_not_tune_is_not_looked_at) {
    use_chip(CHIP_DS300X, -1250);
    tuner_result = -8;
    board(golden(dvbs_ds300x));
    EXPECT_EQ(connect_dvbs(), 0);
}

TEST_F(ConnectTest, table_row_that_fails_ends_the_table_and_nothing_else) {
    use_chip(CHIP_DS300X, -1250);
    const std::string transcript = golden(dvbs_ds300x);
    const std::string table = lines_between(transcript, "# table", "# output divider");
    board(edited(transcript, {{std::string_view(table).substr(0, table.size() - 1),
                               "write demod 23 05\nwrite demod 08 03 -> nack"}}));
    EXPECT_EQ(connect_dvbs(), 0);
}

TEST_F(ConnectTest, hold_carrier_and_release_that_fail_are_not_reported) {
    use_chip(CHIP_DS3103, 1250);
    board(edited(golden(dvbs2_ds310x),
                 {{"# run, when left held\nread demod B2 -> 00", "read demod B2 -> nack"},
                  {"# hold\nwrite demod B2 01\nwrite demod 00 01",
                   "write demod B2 01 -> nack\nwrite demod 00 01 -> nack"},
                  {"write demod 5F 03\nwrite demod 5E 55",
                   "write demod 5F 03 -> nack\nwrite demod 5E 55 -> nack"},
                  {"# run\nwrite demod 00 00\nwrite demod B2 00",
                   "write demod 00 00 -> nack\nwrite demod B2 00 -> nack"}}));
    EXPECT_EQ(connect_dvbs2(), 0);
}

TEST_F(ConnectTest, unicable_command_that_fails_does_not_stop_the_connect) {
    use_chip(CHIP_DS3103, 1250);
    use_unicable();
    board(edited(golden(unicable_golden),
                 {{"wait 10000\nread demod A1 -> 27\nread demod A2 -> 02\nwrite demod A2 82",
                   tests::repeat(15, "wait 10000\nread demod A1 -> 67") + R"(
                       read demod A1 -> 67
                       write demod A1 67
                       read demod A2 -> 02
                       write demod A2 82)"}}));
    EXPECT_EQ(ds3000_connect(1500, 22000, STANDARD_DVBS2), 0);
}

// The small operations.

TEST_F(ConnectTest, soft_reset_pulses_07_without_a_pause) {
    board("write demod 07 80\nwrite demod 07 00");
    EXPECT_EQ(ds3000_soft_reset(), 0);
    board("write demod 07 80 -> nack\nwrite demod 07 00 -> nack");
    EXPECT_EQ(ds3000_soft_reset(), 0);
}

TEST_F(ConnectTest, bit_0_of_56_is_cleared_by_mode_1_and_set_by_any_other) {
    board("read demod 56 -> FF\nwrite demod 56 FE");
    EXPECT_EQ(ds3000_set_reg56_bit0(1), 0);
    for (const std::uint32_t mode : {0U, 2U, 257U}) {
        board("read demod 56 -> 80\nwrite demod 56 81");
        EXPECT_EQ(ds3000_set_reg56_bit0(mode), 0);
    }
}

TEST_F(ConnectTest, bit_0_of_56_is_written_after_a_read_that_failed) {
    board("read demod 56 -> nack\nwrite demod 56 01 -> nack");
    EXPECT_EQ(ds3000_set_reg56_bit0(0), 0);
    board("read demod 56 -> nack address\nwrite demod 56 00");
    EXPECT_EQ(ds3000_set_reg56_bit0(1), 0);
}

TEST_F(ConnectTest, board_options_of_ds3002b_and_ds3103_are_one_bit_each) {
    for (const std::int32_t chip : {CHIP_DS3002B, CHIP_DS3103}) {
        std::uint8_t byte = 0;
        ds3000_context.chip_type = chip;
        ds3000_context.spectrum_inverted = 1;
        ds3000_context.reg30_bit4_enable = 1;
        board("read demod 4D -> 00\nwrite demod 4D 02\nread demod 30 -> 00\nwrite demod 30 10");
        ds3000::put_board_options(byte);

        ds3000_context.spectrum_inverted = 0;
        ds3000_context.reg30_bit4_enable = 0;
        board("read demod 4D -> FF\nwrite demod 4D FD\nread demod 30 -> FF\nwrite demod 30 EF");
        ds3000::put_board_options(byte);

        ds3000_context.spectrum_inverted = 3;
        ds3000_context.reg30_bit4_enable = 255;
        board("read demod 4D -> FF\nwrite demod 4D FD\nread demod 30 -> FF\nwrite demod 30 EF");
        ds3000::put_board_options(byte);
    }
}

}  // namespace
