// SPDX-License-Identifier: MIT
#include "ds3000/demod/signal_strength.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <string>

#include "ds3000/tuner/ts2022.h"
#include "tests/support/chip_test.h"

namespace tests {
namespace {

// The readings of one call: the AGC level, and tuner registers 0x3D, 0x21 and, on type 2, 0x66.
struct Readings {
    std::uint8_t tuner_type;
    const char *level, *reg_3d, *reg_21, *reg_66;
};

std::string lines_of(const Readings &readings) {
    std::string text = fmt::format(R"(
        read demod 3F -> {}
        write demod 03 11; read tuner 3D -> {}
        write demod 03 11; read tuner 21 -> {})",
                                   readings.level, readings.reg_3d, readings.reg_21);
    if (readings.tuner_type == 2) {
        text += fmt::format("\nwrite demod 03 11; read tuner 66 -> {}", readings.reg_66);
    }
    return text + '\n';
}

// Polls of a DVB-S channel on DS300X: micro-controller held, no lock yet, locked on the carrier.
const std::string mcu_held = "read demod B2 -> 01\n";
const std::string searching = "read demod B2 -> 00; read demod D1 -> 00; read demod B3 -> 00\n";
const std::string locked = R"(
    read demod B2 -> 00; read demod D1 -> 07; read demod 0D -> 07
    update demod 5D 00 -> 00; read demod 5E -> 00; read demod 5F -> 00
    write demod 5D 06; read demod 5E -> 00; read demod 5F -> 00
)";

// AGC figure 20 R - 1166 (type 1) or 16 R - 670 (type 2); for the parts see the gain's own tests.
constexpr Readings gain_8501{1, "51", "0E", "09", ""};    // 3262 + 3150 + 1000 + 454 * 24 / 10
constexpr Readings gain_8466{1, "5A", "0F", "07", ""};    // 3495 + 2450 + 1000 + 634 * 24 / 10
constexpr Readings gain_7200{1, "53", "05", "0B", ""};    // 1165 + 3850 + 1000 + 494 * 24 / 10
constexpr Readings gain_7167{1, "5C", "00", "0D", ""};    // 0 + 4550 + 1000 + 674 * 24 / 10
constexpr Readings gain_7166{1, "5C", "03", "0B", ""};    // 699 + 3850 + 1000 + 674 * 24 / 10
constexpr Readings gain_6501{1, "53", "02", "0B", ""};    // 466 + 3850 + 1000 + 494 * 24 / 10
constexpr Readings gain_5101{1, "53", "02", "07", ""};    // 466 + 2450 + 1000 + 494 * 24 / 10
constexpr Readings gain_4500{2, "53", "05", "0E", "08"};  // 1325 - 3000 + 4732 + 285 + 1158
constexpr Readings gain_minus_1268{2, "00", "00", "00", "00"};

class SignalStrengthTest : public ChipTest {
 protected:
    SignalStrengthTest() {
        ds3000_context.chip_type = CHIP_DS300X;
        ds3000_context.tuner_ops.tuner_get_gain = ts2022_get_gain;
    }

    // What one call reports on the ring as it stands.
    int report(const Readings &readings, const std::string &poll = mcu_held) {
        ds3000_context.tuner_type = readings.tuner_type;
        board(lines_of(readings) + poll);
        std::uint8_t percent = 0xFF;
        EXPECT_EQ(signal_strength(&percent), DS3000_OK);
        return percent;
    }
};

const struct {
    const char *name;
    Readings readings;
    std::string poll;
    int stored;
} calls[] = {
    {"11685: 3495 + 4550 + 1000 + 2640", {1, "FF", "0F", "0D", ""}, mcu_held, 0},
    {"8501", gain_8501, mcu_held, 0},
    {"8500: 3710 - 3000 + 5408 + 1140 + 1242", {2, "56", "0E", "10", "20"}, mcu_held, 0},
    {"8467: 99 / 100", {1, "5A", "0C", "09", ""}, mcu_held, 0},
    {"8466: 102 / 100", gain_8466, mcu_held, 1},
    {"7166: 4002 / 100", gain_7166, mcu_held, 40},
    {"6501: 5997 / 100", gain_6501, mcu_held, 59},
    {"6500: 1165 + 3150 + 1000 + 494 * 24 / 10", {1, "53", "05", "09", ""}, mcu_held, 60},
    {"6434: 198 / 200 + 60", {2, "57", "0B", "0D", "18"}, mcu_held, 60},
    {"6433: 201 / 200 + 60", {1, "54", "00", "0C", ""}, mcu_held, 61},
    {"5166: 4002 / 200 + 60", {1, "52", "0D", "00", ""}, mcu_held, 80},
    {"4501: 5997 / 200 + 60", {2, "50", "07", "0B", "18"}, mcu_held, 89},
    {"4500", gain_4500, mcu_held, 90},
    {"4001: 499 / 500 + 90", {1, "52", "08", "00", ""}, mcu_held, 90},
    {"4000: 500 / 500 + 90", {2, "00", "09", "08", "18"}, mcu_held, 91},
    {"-1268: 5768 / 500 + 90", gain_minus_1268, mcu_held, 101},
    {"0 of a tuner of unknown type: 4500 / 500 + 90", {0, "FF", "1F", "1F", ""}, mcu_held, 99},
    {"a level that cannot be read is 0, gain 4000", {2, "nack", "09", "08", "18"}, mcu_held, 91},
    {"7200, unlocked below 40", gain_7200, mcu_held, 39},
    {"7200, searching", gain_7200, searching, 39},
    {"8501, searching", gain_8501, searching, 0},
    {"8501, locked: 0 / 2 + 20", gain_8501, locked, 20},
    {"8466, locked: 1 / 2 + 20", gain_8466, locked, 20},
    {"7167, locked: 39 / 2 + 20", gain_7167, locked, 39},
    {"7166, locked and not below 40", gain_7166, locked, 40},
    {"6501, locked", gain_6501, locked, 59},
    {"4500, locked", gain_4500, locked, 90},
};

TEST_F(SignalStrengthTest, a_reading_follows_the_gain_and_a_lock_lifts_it_to_20) {
    for_each_row(calls, [this](const auto &row) {
        EXPECT_EQ(report(row.readings, row.poll), row.stored / 16);
        EXPECT_EQ(ds3000_context.strength_ring[0], row.stored);
        EXPECT_EQ(ds3000_context.strength_index, 1);
    });
}

TEST_F(SignalStrengthTest, a_poll_that_fails_counts_as_unlocked) {
    ds3000_context.chip_type = CHIP_UNKNOWN;
    report(gain_8501, locked);
    EXPECT_EQ(ds3000_context.strength_ring[0], 0);
}

TEST_F(SignalStrengthTest, the_poll_does_its_usual_work) {
    report(gain_4500, searching);
    EXPECT_EQ(ds3000_context.ts_clock_pending, 1);

    ds3000_context.ts_clock_pending = 0;
    report(gain_4500, locked);
    EXPECT_EQ(ds3000_context.locked_once, 1U);
}

TEST_F(SignalStrengthTest, a_constant_reading_of_80_is_approached_in_steps_of_5) {
    for (int call = 1; call <= 17; ++call) {
        EXPECT_EQ(report(gain_5101), std::min(5 * call, 80));  // 1399 * 3 / 200 + 60 = 80
    }
}

TEST_F(SignalStrengthTest, the_seventeenth_reading_takes_the_place_of_the_first) {
    for (std::uint8_t i = 0; i < 16; ++i) {
        ds3000_context.strength_ring[i] = static_cast<std::uint8_t>(10 + i);
    }
    ds3000_context.strength_index = 15;

    EXPECT_EQ(report(gain_4500), 21);  // (10 + 11 + ... + 24 + 90) / 16 = 345 / 16
    EXPECT_EQ(ds3000_context.strength_ring[15], 90);
    EXPECT_EQ(ds3000_context.strength_index, 0);

    EXPECT_EQ(report(gain_4500), 26);  // (345 - 10 + 90) / 16 = 425 / 16
    EXPECT_EQ(ds3000_context.strength_ring[0], 90);
    EXPECT_EQ(ds3000_context.strength_index, 1);
}

TEST_F(SignalStrengthTest, the_mean_is_truncated) {
    std::ranges::fill(ds3000_context.strength_ring, std::uint8_t{11});
    EXPECT_EQ(report(gain_4500), 15);  // (15 * 11 + 90) / 16 = 255 / 16
}

TEST_F(SignalStrengthTest, a_mean_of_100_is_reported_and_more_is_100) {
    std::ranges::fill(ds3000_context.strength_ring, std::uint8_t{100});
    for (int call = 0; call < 16; ++call) {
        EXPECT_EQ(report(gain_minus_1268), 100);  // at first (1500 + 101) / 16
    }
    EXPECT_THAT(ds3000_context.strength_ring, testing::Each(101));
}

TEST_F(SignalStrengthTest, without_a_tuner_reads_nothing_and_returns_unbound) {
    ds3000_context.tuner_ops.tuner_get_gain = nullptr;
    std::uint8_t percent = 17;
    EXPECT_EQ(signal_strength(&percent), DS3000_UNBOUND);
    EXPECT_EQ(percent, 17);
    EXPECT_EQ(ds3000_context.strength_index, 0);
}

}  // namespace
}  // namespace tests
