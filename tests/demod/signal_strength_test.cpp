// SPDX-License-Identifier: MIT
#include "ds3000/demod/signal_strength.h"

#include <algorithm>
#include <array>

#include "ds3000/tuner/ts2022.h"
#include "tests/support/chip_test.h"
#include "tests/tuner/tuner_transcript.h"

namespace {

using tests::on_the_bus;

// The readings of one call, with the gain figure they come to.
struct Readings {
    std::uint8_t tuner_type;
    std::string level;
    std::string reg_3d;
    std::string reg_21;
    std::string reg_66;
};

std::string transcript(const Readings &readings) {
    std::string text = "read demod 3F -> " + readings.level + "\nread tuner 3D -> " +
                       readings.reg_3d + "\nread tuner 21 -> " + readings.reg_21 + '\n';
    if (readings.tuner_type == 2) {
        text += "read tuner 66 -> " + readings.reg_66 + '\n';
    }
    return on_the_bus(text);
}

// Polls of a DVB-S channel on DS300X: micro-controller held, no lock yet, locked on the carrier.
constexpr auto poll_held = "read demod B2 -> 01\n";
constexpr auto poll_searching = R"(
    read demod B2 -> 00
    read demod D1 -> 00
    read demod B3 -> 00
)";
constexpr auto poll_locked = R"(
    read demod B2 -> 00
    read demod D1 -> 07
    read demod 0D -> 07
    read demod 5D -> 00
    write demod 5D 00
    read demod 5E -> 00
    read demod 5F -> 00
    write demod 5D 06
    read demod 5E -> 00
    read demod 5F -> 00
)";

// AGC figure 20 R - 1166 (type 1) or 16 R - 670 (type 2); for the parts see the gain's own tests.
const Readings gain_11685{1, "FF", "0F", "0D", ""};   // 3495 + 4550 + 1000 + 2640
const Readings gain_8501{1, "51", "0E", "09", ""};    // 3262 + 3150 + 1000 + 454 * 24 / 10
const Readings gain_8500{2, "56", "0E", "10", "20"};  // 3710 - 3000 + 5408 + 1140 + 1242
const Readings gain_8467{1, "5A", "0C", "09", ""};    // 2796 + 3150 + 1000 + 634 * 24 / 10
const Readings gain_8466{1, "5A", "0F", "07", ""};    // 3495 + 2450 + 1000 + 634 * 24 / 10
const Readings gain_7200{1, "53", "05", "0B", ""};    // 1165 + 3850 + 1000 + 494 * 24 / 10
const Readings gain_7167{1, "5C", "00", "0D", ""};    // 0 + 4550 + 1000 + 674 * 24 / 10
const Readings gain_7166{1, "5C", "03", "0B", ""};    // 699 + 3850 + 1000 + 674 * 24 / 10
const Readings gain_6501{1, "53", "02", "0B", ""};    // 466 + 3850 + 1000 + 494 * 24 / 10
const Readings gain_6500{1, "53", "05", "09", ""};    // 1165 + 3150 + 1000 + 494 * 24 / 10
const Readings gain_6434{2, "57", "0B", "0D", "18"};  // 2915 - 3000 + 4394 + 855 + 1270
const Readings gain_6433{1, "54", "00", "0C", ""};    // 0 + 4200 + 1000 + 514 * 24 / 10
const Readings gain_5166{1, "52", "0D", "00", ""};    // 3029 + 0 + 1000 + 474 * 24 / 10
const Readings gain_4501{2, "50", "07", "0B", "18"};  // 1855 - 3000 + 3718 + 855 + 1073
const Readings gain_4500{2, "53", "05", "0E", "08"};  // 1325 - 3000 + 4732 + 285 + 1158
const Readings gain_4001{1, "52", "08", "00", ""};    // 1864 + 0 + 1000 + 474 * 24 / 10
const Readings gain_4000{2, "00", "09", "08", "18"};  // 2385 - 3000 + 2704 + 855 + 1056
const Readings gain_minus_1268{2, "00", "00", "00", "00"};
const Readings gain_of_no_tuner{0, "FF", "1F", "1F", ""};

class SignalStrength : public tests::ChipTest {
 protected:
    SignalStrength() {
        ds3000_context.chip_type = CHIP_DS300X;
        ds3000_context.tuner_ops.tuner_get_gain = ts2022_get_gain;
    }

    // What one call on an empty ring stores as its reading.
    int reading(const Readings &readings, const std::string &poll = poll_held) {
        ds3000_context.tuner_type = readings.tuner_type;
        std::ranges::fill(ds3000_context.strength_ring, std::uint8_t{0});
        ds3000_context.strength_index = 0;
        board(transcript(readings) + poll);
        std::uint8_t percent = 0xFF;
        EXPECT_EQ(signal_strength(&percent), DS3000_OK);
        EXPECT_EQ(percent, ds3000_context.strength_ring[0] / 16);
        return ds3000_context.strength_ring[0];
    }

    // What one call reports on the ring as it stands.
    int report(const Readings &readings) {
        ds3000_context.tuner_type = readings.tuner_type;
        board(transcript(readings) + poll_held);
        std::uint8_t percent = 0xFF;
        EXPECT_EQ(signal_strength(&percent), DS3000_OK);
        return percent;
    }
};

TEST_F(SignalStrength, a_gain_of_8501_or_more_reads_0) {
    EXPECT_EQ(reading(gain_11685), 0);
    EXPECT_EQ(reading(gain_8501), 0);
}

TEST_F(SignalStrength, a_gain_of_8500_reads_0) { EXPECT_EQ(reading(gain_8500), 0); }

TEST_F(SignalStrength, a_gain_from_6501_to_8500_reads_3_hundredths_of_the_rest_truncated) {
    EXPECT_EQ(reading(gain_8467), 0);   // 99 / 100
    EXPECT_EQ(reading(gain_8466), 1);   // 102 / 100
    EXPECT_EQ(reading(gain_7166), 40);  // 4002 / 100
    EXPECT_EQ(reading(gain_6501), 59);  // 5997 / 100
}

TEST_F(SignalStrength, a_gain_of_6500_reads_60) { EXPECT_EQ(reading(gain_6500), 60); }

TEST_F(SignalStrength, a_gain_from_4501_to_6500_reads_3_two_hundredths_of_the_rest_and_60) {
    EXPECT_EQ(reading(gain_6434), 60);  // 198 / 200 + 60
    EXPECT_EQ(reading(gain_6433), 61);  // 201 / 200 + 60
    EXPECT_EQ(reading(gain_5166), 80);  // 4002 / 200 + 60
    EXPECT_EQ(reading(gain_4501), 89);  // 5997 / 200 + 60
}

TEST_F(SignalStrength, a_gain_of_4500_reads_90) { EXPECT_EQ(reading(gain_4500), 90); }

TEST_F(SignalStrength, a_gain_below_4500_reads_one_more_for_every_500) {
    EXPECT_EQ(reading(gain_4001), 90);         // 499 / 500 + 90
    EXPECT_EQ(reading(gain_4000), 91);         // 500 / 500 + 90
    EXPECT_EQ(reading(gain_minus_1268), 101);  // 5768 / 500 + 90
}

TEST_F(SignalStrength, a_tuner_of_unknown_type_reads_99) {
    EXPECT_EQ(reading(gain_of_no_tuner), 99);  // gain 0: 4500 / 500 + 90
}

TEST_F(SignalStrength, an_unlocked_signal_keeps_its_reading_below_40) {
    EXPECT_EQ(reading(gain_7200, poll_held), 39);
    EXPECT_EQ(reading(gain_7200, poll_searching), 39);
    EXPECT_EQ(reading(gain_8501, poll_searching), 0);
}

TEST_F(SignalStrength, a_locked_signal_below_40_reads_half_and_20) {
    EXPECT_EQ(reading(gain_8501, poll_locked), 20);  // 0 / 2 + 20
    EXPECT_EQ(reading(gain_8466, poll_locked), 20);  // 1 / 2 + 20
    EXPECT_EQ(reading(gain_7167, poll_locked), 39);  // 39 / 2 + 20
}

TEST_F(SignalStrength, a_locked_signal_of_40_or_more_keeps_its_reading) {
    EXPECT_EQ(reading(gain_7166, poll_locked), 40);
    EXPECT_EQ(reading(gain_6501, poll_locked), 59);
    EXPECT_EQ(reading(gain_4500, poll_locked), 90);
}

TEST_F(SignalStrength, a_poll_that_fails_counts_as_unlocked) {
    ds3000_context.chip_type = CHIP_UNKNOWN;

    EXPECT_EQ(reading(gain_8501, poll_locked), 0);
}

TEST_F(SignalStrength, the_poll_does_its_usual_work) {
    reading(gain_4500, poll_searching);
    EXPECT_EQ(ds3000_context.ts_clock_pending, 1);

    ds3000_context.ts_clock_pending = 0;
    reading(gain_4500, poll_locked);
    EXPECT_EQ(ds3000_context.locked_once, 1U);
}

TEST_F(SignalStrength, a_constant_reading_of_80_is_approached_in_steps_of_5) {
    // 466 + 2450 + 1000 + 494 * 24 / 10 = 5101: 1399 * 3 / 200 + 60 = 80
    const Readings gain_5101{1, "53", "02", "07", ""};

    for (int call = 1; call <= 16; ++call) {
        EXPECT_EQ(report(gain_5101), 5 * call);
    }
    EXPECT_EQ(report(gain_5101), 80);
}

TEST_F(SignalStrength, the_ring_starts_empty_when_the_library_is_loaded) {
    EXPECT_THAT(ds3000_context.strength_ring, testing::Each(0));
    EXPECT_EQ(ds3000_context.strength_index, 0);
}

TEST_F(SignalStrength, the_seventeenth_reading_takes_the_place_of_the_first) {
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

TEST_F(SignalStrength, the_mean_is_truncated) {
    std::ranges::fill(ds3000_context.strength_ring, std::uint8_t{11});

    EXPECT_EQ(report(gain_4500), 15);  // (15 * 11 + 90) / 16 = 255 / 16
}

TEST_F(SignalStrength, a_mean_of_100_is_reported_and_more_is_100) {
    std::ranges::fill(ds3000_context.strength_ring, std::uint8_t{100});

    EXPECT_EQ(report(gain_minus_1268), 100);  // (1500 + 101) / 16
    for (int call = 0; call < 15; ++call) {
        EXPECT_EQ(report(gain_minus_1268), 100);
    }
    EXPECT_THAT(ds3000_context.strength_ring, testing::Each(101));
}

TEST_F(SignalStrength, without_a_tuner_reads_nothing_and_returns_unbound) {
    ds3000_context.tuner_ops.tuner_get_gain = nullptr;
    board("");

    std::uint8_t percent = 17;
    EXPECT_EQ(signal_strength(&percent), DS3000_UNBOUND);
    EXPECT_EQ(percent, 17);
    EXPECT_EQ(ds3000_context.strength_index, 0);
}

TEST_F(SignalStrength, a_level_that_cannot_be_read_counts_as_0) {
    ds3000_context.tuner_type = 2;
    board(on_the_bus(R"(
        read demod 3F -> nack
        read tuner 3D -> 09
        read tuner 21 -> 08
        read tuner 66 -> 18
    )") + poll_held);

    std::uint8_t percent = 0;
    EXPECT_EQ(signal_strength(&percent), DS3000_OK);
    EXPECT_EQ(ds3000_context.strength_ring[0], 91);  // gain 4000, as at level 0
}

}  // namespace
