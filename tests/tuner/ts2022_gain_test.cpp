// SPDX-License-Identifier: MIT
#include <cstdint>

#include "ds3000/tuner/ts2022.h"
#include "tests/support/chip_test.h"
#include "tests/support/tuner_transcript.h"

namespace {

using tests::on_the_bus;

// Expected values are written as the sum they come from: LNA, baseband, RF and AGC parts.

class Ts2022Gain : public tests::ChipTest {
 protected:
    std::int32_t type_1(const std::string &reg_3d, const std::string &reg_21, std::uint16_t agc) {
        ds3000_context.tuner_type = 1;
        board(on_the_bus("read tuner 3D -> " + reg_3d + "\nread tuner 21 -> " + reg_21));
        return ts2022_gain(agc);
    }

    std::int32_t type_2(const std::string &reg_3d, const std::string &reg_21,
                        const std::string &reg_66, std::uint16_t agc) {
        ds3000_context.tuner_type = 2;
        board(on_the_bus("read tuner 3D -> " + reg_3d + "\nread tuner 21 -> " + reg_21 +
                         "\nread tuner 66 -> " + reg_66));
        return ts2022_gain(agc);
    }
};

TEST_F(Ts2022Gain, type_1_adds_its_parts) {
    EXPECT_EQ(type_1("0A", "07", 700), 233 * 10 + 350 * 7 + 1000 + 1680);
}

TEST_F(Ts2022Gain, type_1_caps_the_lna_figure_at_15) {
    EXPECT_EQ(type_1("0F", "00", 0), 233 * 15 + 1000 + 960);
    EXPECT_EQ(type_1("10", "00", 0), 233 * 15 + 1000 + 960);
    EXPECT_EQ(type_1("1F", "00", 0), 233 * 15 + 1000 + 960);
}

TEST_F(Ts2022Gain, type_1_looks_at_5_bits_of_both_registers) {
    EXPECT_EQ(type_1("E3", "E5", 0), 233 * 3 + 350 * 5 + 1000 + 960);
    EXPECT_EQ(type_1("20", "20", 0), 1000 + 960);
}

TEST_F(Ts2022Gain, type_1_caps_the_baseband_figure_at_13) {
    EXPECT_EQ(type_1("00", "0C", 0), 350 * 12 + 1000 + 960);
    EXPECT_EQ(type_1("00", "0D", 0), 350 * 13 + 1000 + 960);
    EXPECT_EQ(type_1("00", "0E", 0), 350 * 13 + 1000 + 960);
    EXPECT_EQ(type_1("00", "1F", 0), 350 * 13 + 1000 + 960);
}

TEST_F(Ts2022Gain, type_1_agc_part_is_960_below_400) {
    EXPECT_EQ(type_1("00", "00", 0), 1000 + 960);
    EXPECT_EQ(type_1("00", "00", 390), 1000 + 960);
    EXPECT_EQ(type_1("00", "00", 399), 1000 + 960);
}

TEST_F(Ts2022Gain, type_1_agc_part_meets_960_at_400) {
    EXPECT_EQ(type_1("00", "00", 400), 1000 + 960);
}

TEST_F(Ts2022Gain, type_1_agc_part_is_24_tenths_truncated_in_between) {
    EXPECT_EQ(type_1("00", "00", 401), 1000 + 962);    // 9624 / 10
    EXPECT_EQ(type_1("00", "00", 404), 1000 + 969);    // 9696 / 10
    EXPECT_EQ(type_1("00", "00", 1099), 1000 + 2637);  // 26376 / 10
}

TEST_F(Ts2022Gain, type_1_agc_part_meets_2640_at_1100) {
    EXPECT_EQ(type_1("00", "00", 1100), 1000 + 2640);
}

TEST_F(Ts2022Gain, type_1_agc_part_is_2640_above_1100) {
    EXPECT_EQ(type_1("00", "00", 1101), 1000 + 2640);
    EXPECT_EQ(type_1("00", "00", 1105), 1000 + 2640);
    EXPECT_EQ(type_1("00", "00", 0xFFFF), 1000 + 2640);
}

TEST_F(Ts2022Gain, type_2_adds_its_parts) {
    EXPECT_EQ(type_2("0A", "07", "18", 1000), 265 * 10 - 3000 + 338 * 7 + 285 * 3 + 1760);
}

TEST_F(Ts2022Gain, type_2_caps_the_lna_figure_at_15) {
    EXPECT_EQ(type_2("0F", "00", "00", 0), 265 * 15 - 3000 + 676 + 1056);
    EXPECT_EQ(type_2("10", "00", "00", 0), 265 * 15 - 3000 + 676 + 1056);
    EXPECT_EQ(type_2("E1", "00", "00", 0), 265 * 1 - 3000 + 676 + 1056);
}

TEST_F(Ts2022Gain, type_2_baseband_part_is_676_below_2) {
    EXPECT_EQ(type_2("0F", "00", "00", 0), 3975 - 3000 + 676 + 1056);
    EXPECT_EQ(type_2("0F", "01", "00", 0), 3975 - 3000 + 676 + 1056);
    EXPECT_EQ(type_2("0F", "E1", "00", 0), 3975 - 3000 + 676 + 1056);
}

TEST_F(Ts2022Gain, type_2_baseband_part_is_338_times_the_figure_from_2_to_16) {
    EXPECT_EQ(type_2("0F", "02", "00", 0), 3975 - 3000 + 338 * 2 + 1056);
    EXPECT_EQ(type_2("0F", "03", "00", 0), 3975 - 3000 + 338 * 3 + 1056);
    EXPECT_EQ(type_2("0F", "10", "00", 0), 3975 - 3000 + 338 * 16 + 1056);
}

TEST_F(Ts2022Gain, type_2_baseband_part_is_5408_above_16) {
    EXPECT_EQ(type_2("0F", "11", "00", 0), 3975 - 3000 + 5408 + 1056);
    EXPECT_EQ(type_2("0F", "1F", "00", 0), 3975 - 3000 + 5408 + 1056);
}

TEST_F(Ts2022Gain, type_2_rf_part_is_285_times_bits_5_to_3_below_7) {
    EXPECT_EQ(type_2("0F", "00", "C7", 0), 3975 - 3000 + 676 + 285 * 0 + 1056);
    EXPECT_EQ(type_2("0F", "00", "08", 0), 3975 - 3000 + 676 + 285 * 1 + 1056);
    EXPECT_EQ(type_2("0F", "00", "F7", 0), 3975 - 3000 + 676 + 285 * 6 + 1056);
}

TEST_F(Ts2022Gain, type_2_rf_part_is_1710_at_7) {
    EXPECT_EQ(type_2("0F", "00", "38", 0), 3975 - 3000 + 676 + 1710 + 1056);
}

TEST_F(Ts2022Gain, type_2_raises_the_agc_figure_to_600) {
    EXPECT_EQ(type_2("0F", "00", "00", 0), 3975 - 3000 + 676 + 1056);
    EXPECT_EQ(type_2("0F", "00", "00", 599), 3975 - 3000 + 676 + 1056);
    EXPECT_EQ(type_2("0F", "00", "00", 600), 3975 - 3000 + 676 + 1056);
}

TEST_F(Ts2022Gain, type_2_agc_part_is_176_hundredths_truncated_in_between) {
    EXPECT_EQ(type_2("0F", "00", "00", 601), 3975 - 3000 + 676 + 1057);   // 105776 / 100
    EXPECT_EQ(type_2("0F", "00", "00", 1599), 3975 - 3000 + 676 + 2814);  // 281424 / 100
    EXPECT_EQ(type_2("0F", "00", "00", 1600), 3975 - 3000 + 676 + 2816);
}

TEST_F(Ts2022Gain, type_2_agc_part_is_2816_above_1600) {
    EXPECT_EQ(type_2("0F", "00", "00", 1601), 3975 - 3000 + 676 + 2816);
    EXPECT_EQ(type_2("0F", "00", "00", 1606), 3975 - 3000 + 676 + 2816);
    EXPECT_EQ(type_2("0F", "00", "00", 0xFFFF), 3975 - 3000 + 676 + 2816);
}

TEST_F(Ts2022Gain, type_2_gain_of_a_strong_signal_is_negative) {
    EXPECT_EQ(type_2("00", "00", "00", 0), -1268);  // -3000 + 676 + 1056
}

TEST_F(Ts2022Gain, an_unknown_tuner_has_gain_0_though_its_registers_are_read) {
    ds3000_context.tuner_type = 0;
    board(on_the_bus(R"(
        read tuner 3D -> 0F
        read tuner 21 -> 1F
    )"));

    EXPECT_EQ(ts2022_gain(1000), 0);
}

TEST_F(Ts2022Gain, a_register_that_cannot_be_read_counts_as_the_one_before) {
    ds3000_context.tuner_type = 2;
    board(on_the_bus(R"(
        read tuner 3D -> 0B
        read tuner 21 -> nack
        read tuner 66 -> nack repeater
    )"));

    EXPECT_EQ(ts2022_gain(600), 265 * 11 - 3000 + 338 * 11 + 285 * 1 + 1056);
}

TEST_F(Ts2022Gain, on_a_dead_bus_counts_every_register_as_0) {
    ds3000_context.tuner_type = 1;
    board(tests::on_a_dead_bus("read tuner 3D\nread tuner 21"));

    EXPECT_EQ(ts2022_gain(400), 1000 + 960);
}

class Ts2022GetGain : public tests::ChipTest {
 protected:
    // The gain at an AGC level with the tuner's own registers at 0x0F, 0x00 (and 0x00).
    std::uint32_t at_level(std::uint8_t type, const std::string &level) {
        ds3000_context.tuner_type = type;
        board(on_the_bus("read demod 3F -> " + level +
                         "\nread tuner 3D -> 0F\nread tuner 21 -> 00\n" +
                         (type == 2 ? "read tuner 66 -> 00\n" : "")));
        std::uint32_t gain = 0xDEADBEEF;
        EXPECT_EQ(ts2022_get_gain(&gain), DS3000_OK);
        return gain;
    }
};

TEST_F(Ts2022GetGain, type_1_agc_figure_is_20_times_the_level_less_1166) {
    EXPECT_EQ(at_level(1, "4F"), 3495U + 1000 + 993);   // 20 * 79 - 1166 = 414, 9936 / 10
    EXPECT_EQ(at_level(1, "5A"), 3495U + 1000 + 1521);  // 20 * 90 - 1166 = 634, 15216 / 10
    EXPECT_EQ(at_level(1, "71"), 3495U + 1000 + 2625);  // 20 * 113 - 1166 = 1094, 26256 / 10
    EXPECT_EQ(at_level(1, "FF"), 3495U + 1000 + 2640);  // 20 * 255 - 1166 = 3934
}

TEST_F(Ts2022GetGain, type_2_agc_figure_is_16_times_the_level_less_670) {
    EXPECT_EQ(at_level(2, "50"), 3975U - 3000 + 676 + 1073);  // 16 * 80 - 670 = 610, 107360 / 100
    EXPECT_EQ(at_level(2, "64"), 3975U - 3000 + 676 + 1636);  // 16 * 100 - 670 = 930
    EXPECT_EQ(at_level(2, "8D"), 3975U - 3000 + 676 + 2791);  // 16 * 141 - 670 = 1586
    EXPECT_EQ(at_level(2, "FF"), 3975U - 3000 + 676 + 2816);  // 16 * 255 - 670 = 3410
}

TEST_F(Ts2022GetGain, a_negative_agc_figure_of_type_1_counts_as_0) {
    EXPECT_EQ(at_level(1, "00"), 3495U + 1000 + 960);
    EXPECT_EQ(at_level(1, "3A"), 3495U + 1000 + 960);  // 20 * 58 - 1166 = -6
}

TEST_F(Ts2022GetGain, level_0_on_type_2_gives_the_minimum_agc_part_of_1056) {
    EXPECT_EQ(at_level(2, "00"), 3975U - 3000 + 676 + 1056);  // -670
    EXPECT_EQ(at_level(2, "29"), 3975U - 3000 + 676 + 1056);  // 16 * 41 - 670 = -14
}

TEST_F(Ts2022GetGain, a_negative_gain_is_written_in_two_s_complement) {
    ds3000_context.tuner_type = 2;
    board(on_the_bus(R"(
        read demod 3F -> 00
        read tuner 3D -> 00
        read tuner 21 -> 00
        read tuner 66 -> 00
    )"));

    std::uint32_t gain = 0;
    EXPECT_EQ(ts2022_get_gain(&gain), DS3000_OK);
    EXPECT_EQ(gain, 0xFFFFFB0CU);  // -1268
}

TEST_F(Ts2022GetGain, an_unknown_tuner_has_gain_0) { EXPECT_EQ(at_level(0, "FF"), 0U); }

TEST_F(Ts2022GetGain, a_level_that_cannot_be_read_counts_as_0) {
    ds3000_context.tuner_type = 2;
    board(on_the_bus(R"(
        read demod 3F -> nack
        read tuner 3D -> 0F
        read tuner 21 -> 00
        read tuner 66 -> 00
    )"));

    std::uint32_t gain = 0;
    EXPECT_EQ(ts2022_get_gain(&gain), DS3000_OK);
    EXPECT_EQ(gain, 3975U - 3000 + 676 + 1056);
}

}  // namespace
