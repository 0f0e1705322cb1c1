// SPDX-License-Identifier: MIT
#include "ds3000/diseqc/unicable.h"

#include <unistd.h>

#include <cstdint>
#include <limits>
#include <vector>

#include "tests/support/chip_test.h"

namespace {

struct Tuning {
    std::uint32_t frequency_khz;
    std::uint32_t symbol_rate_ksps;
    std::uint16_t margin_khz;
    bool operator==(const Tuning &) const = default;
};

std::vector<Tuning> tunings;

// The wait shows in a transcript when the tuner was called.
constexpr unsigned tuner_at_work_us = 777;

std::int32_t note_tuning(std::uint32_t frequency_khz, std::uint32_t symbol_rate_ksps,
                         std::uint16_t margin_khz) {
    tunings.push_back({frequency_khz, symbol_rate_ksps, margin_khz});
    usleep(tuner_at_work_us);
    return DS3000_I2C_FAILED;
}

class Unicable : public tests::ChipTest {
 protected:
    Unicable() {
        tunings.clear();
        ds3000_context.tuner_ops.tuner_set_frequency = note_tuning;
    }

    void expect(const std::string &b3, const std::string &b4) {
        board(R"(
            read demod A2 -> 80
            write demod A2 00
            write demod A3 E0
            write demod A4 00
            write demod A5 5A
            write demod A6 )" +
              b3 + "\nwrite demod A7 " + b4 + R"(
            read demod A1 -> 00
            write demod A1 27
            wait 10000
            read demod A1 -> 00
            read demod A2 -> 00
            write demod A2 80
            wait 777
        )");
    }

    // The frequency that the unit's step places on the user band.
    static std::int32_t change(std::int32_t freq_khz, std::uint8_t ub_index, std::uint16_t bank,
                               std::uint16_t ub_freq_mhz) {
        std::int32_t placed_khz = 0;
        EXPECT_EQ(
            unicable_channel_change(freq_khz, 27'500, &placed_khz, ub_index, bank, ub_freq_mhz),
            DS3000_OK);
        return placed_khz;
    }
};

TEST_F(Unicable, asks_for_1210_mhz_on_a_user_band_at_1210_mhz_with_word_255) {
    // T = (1210 + 1210) / 4 = 605; word 255; bank 1 is 0x04.
    expect("04", "FF");

    EXPECT_EQ(change(1'210'000, 0, 1, 1210), 1'210'000);
    EXPECT_THAT(tunings, testing::ElementsAre(Tuning{1'210'000, 27'500, 0}));
}

TEST_F(Unicable, tunes_to_the_user_band_and_not_to_the_transponder) {
    // T = (1680 + 1950) / 4 = 907; word 557 = 0x22D; user band 3 is 0x60, bank 5 is 0x14.
    // 907 * 4 - 1680 = 1948.
    expect("76", "2D");

    EXPECT_EQ(change(1'950'000, 3, 5, 1680), 1'948'000);
    EXPECT_THAT(tunings, testing::ElementsAre(Tuning{1'680'000, 27'500, 0}));
}

TEST_F(Unicable, hands_the_symbol_rate_on) {
    expect("04", "FF");

    std::int32_t placed_khz = 0;
    EXPECT_EQ(unicable_channel_change(1'210'000, 0xFFFFFFFF, &placed_khz, 0, 1, 1210), DS3000_OK);
    EXPECT_THAT(tunings, testing::ElementsAre(Tuning{1'210'000, 0xFFFFFFFF, 0}));
}

TEST_F(Unicable, truncates_to_whole_mhz_and_to_steps_of_4_mhz) {
    // T = (1210 + 1213) / 4 = 605; 605 * 4 - 1210 = 1210.
    expect("04", "FF");

    EXPECT_EQ(change(1'213'999, 0, 1, 1210), 1'210'000);
}

TEST_F(Unicable, truncates_the_sum_of_both_frequencies) {
    // T = (1211 + 1211) / 4 = 605; 605 * 4 - 1211 = 1209.
    expect("04", "FF");

    EXPECT_EQ(change(1'211'000, 0, 1, 1211), 1'209'000);
}

TEST_F(Unicable, the_word_s_high_bits_share_a_byte_with_user_band_and_bank) {
    // T = (2150 + 3342) / 4 = 1373; word 1023; user band 7 is 0xE0, bank 7 is 0x1C.
    // 1373 * 4 - 2150 = 3342.
    expect("FF", "FF");

    EXPECT_EQ(change(3'342'000, 7, 7, 2150), 3'342'000);
}

TEST_F(Unicable, the_word_is_cut_to_10_bits) {
    // T = (2150 + 3346) / 4 = 1374; word 1024 = 0x400.
    expect("00", "00");

    EXPECT_EQ(change(3'346'000, 0, 0, 2150), 3'346'000);
}

TEST_F(Unicable, a_bank_is_cut_to_3_bits_and_a_user_band_to_the_byte) {
    // Bank 9 * 4 = 0x24, of which 0x04; user band 9 << 5 = 0x120, of which 0x20.
    expect("24", "FF");
    EXPECT_EQ(change(1'210'000, 9, 9, 1210), 1'210'000);

    // Bank 0xFFFF, of which 0x1C; user band 0xFF << 5, of which 0xE0.
    expect("FC", "FF");
    EXPECT_EQ(change(1'210'000, 0xFF, 0xFFFF, 1210), 1'210'000);
}

TEST_F(Unicable, frequency_0_gives_a_negative_word) {
    // T = 1210 / 4 = 302; word -48 = 0xFFD0. 302 * 4 - 1210 = -2.
    expect("07", "D0");

    EXPECT_EQ(change(0, 0, 1, 1210), -2'000);
}

TEST_F(Unicable, a_negative_frequency_is_truncated_towards_0) {
    // T = (1210 - 1) / 4 = 302, word 0xFFD0.
    expect("07", "D0");
    EXPECT_EQ(change(-1'999, 0, 1, 1210), -2'000);

    // T = (0 - 7) / 4 = -1; word -351 = 0xFEA1. -1 * 4 - 0 = -4.
    expect("02", "A1");
    EXPECT_EQ(change(-7'000, 0, 0, 0), -4'000);
}

TEST_F(Unicable, the_largest_frequencies_are_worked_out_in_32_bits) {
    // T = (65535 + 2147483) / 4 = 553254; word 552904 = 0x86FC8. 553254 * 4 - 65535 = 2147481.
    expect("03", "C8");
    EXPECT_EQ(change(std::numeric_limits<std::int32_t>::max(), 0, 0, 0xFFFF), 2'147'481'000);

    // T = (0 - 2147483) / 4 = -536870; word -537220 = ..F7CD7C. -536870 * 4 = -2147480.
    expect("01", "7C");
    EXPECT_EQ(change(std::numeric_limits<std::int32_t>::min(), 0, 0, 0), -2'147'480'000);

    EXPECT_THAT(tunings, testing::ElementsAre(Tuning{65'535'000, 27'500, 0}, Tuning{0, 27'500, 0}));
}

TEST_F(Unicable, tunes_even_when_the_message_times_out) {
    board(R"(
        read demod A2 -> 80
        write demod A2 00
        write demod A3 E0
        write demod A4 00
        write demod A5 5A
        write demod A6 04
        write demod A7 FF
        read demod A1 -> 00
        write demod A1 27
    )" + tests::repeat(15, "wait 10000\nread demod A1 -> 40") +
          R"(
        read demod A1 -> 40
        write demod A1 40
        read demod A2 -> 00
        write demod A2 80
        wait 777
    )");

    EXPECT_EQ(change(1'210'000, 0, 1, 1210), 1'210'000);
    EXPECT_THAT(tunings, testing::ElementsAre(Tuning{1'210'000, 27'500, 0}));
}

TEST_F(Unicable, without_a_tuner_nothing_is_sent) {
    ds3000_context.tuner_ops.tuner_set_frequency = nullptr;

    std::int32_t placed_khz = 0;
    EXPECT_EQ(unicable_channel_change(1'210'000, 27'500, &placed_khz, 0, 1, 1210), DS3000_UNBOUND);
}

}  // namespace
