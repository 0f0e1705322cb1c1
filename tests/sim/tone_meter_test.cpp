// SPDX-License-Identifier: MIT

// How a carrier without modulation is measured. Times count from when the micro-controller is let
// go.

#include "sim/tone_meter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tests {

class ToneMeter : public testing::Test {
 protected:
    static constexpr double step_khz = 96'000.0 / 65'536;

    ToneMeter() { measured_.tone = sim::Tone{4'000, -30}; }

    std::uint8_t read(std::uint8_t reg, double ms) {
        return meter_.read(reg, measured_, static_cast<std::uint64_t>(ms * 1e6) + let_go_ns);
    }
    int word(std::uint8_t high, std::uint8_t low, double ms) {
        const int upper = read(high, ms);
        return static_cast<std::int16_t>(upper << 8 | read(low, ms));
    }
    int amplitude(double ms) { return word(0x59, 0x5A, ms); }
    int decimation(double ms) { return 1 << (read(0xC9, ms) >> 4 & 7); }
    // Less the offset that the program sets for itself, which the driver has chosen to be told.
    double place_khz(double ms) {
        choose(0xC8, ms + 2);
        const int offset = word(0x5F, 0x5E, ms + 2);
        return word(0x5B, 0x5C, ms + 2) * step_khz / decimation(ms + 2) - offset * step_khz;
    }
    void choose(std::uint8_t value, double ms) {
        meter_.choose_carrier(value, static_cast<std::uint64_t>(ms * 1e6 + double{let_go_ns}));
    }
    sim::Tone &tone() { return *measured_.tone; }
    void lose_db(double db) { measured_.loss_db = db; }
    void disturb_at(double ms) {
        measured_.undisturbed_since_ns = let_go_ns + static_cast<std::uint64_t>(ms * 1e6);
    }
    void tone_from(double ms) { tone().from_ns = let_go_ns + static_cast<std::uint64_t>(ms * 1e6); }

 private:
    static constexpr std::uint64_t let_go_ns = 1'000'000'000;
    sim::ToneMeter meter_{3};
    sim::ToneMeter::Measurement measured_{.released_ns = let_go_ns};
};

TEST_F(ToneMeter, says_how_far_it_is) {
    EXPECT_EQ(read(0xB3, 2.9), 0x38);
    EXPECT_EQ(read(0xB3, 3), 0x03);
    EXPECT_EQ(read(0xB3, 149.9), 0x03);
    EXPECT_EQ(amplitude(149.9), 0);
    EXPECT_EQ(read(0xB3, 150), 0x04);
    EXPECT_EQ(read(0xB3, 209.9), 0x04);
    EXPECT_EQ(read(0xB3, 210), 0x10);
}

TEST_F(ToneMeter, averages_the_longer_the_weaker_the_tone_is) {
    tone().level_dbm = -50;  // 20 dB less than the usual one
    EXPECT_EQ(read(0xB3, 179.9), 0x03);
    EXPECT_EQ(read(0xB3, 180), 0x04);

    tone().habit.locate_ms = 10;
    EXPECT_EQ(read(0xB3, 189.9), 0x03);
    EXPECT_EQ(read(0xB3, 190), 0x04);
}

TEST_F(ToneMeter, begins_with_the_tone_and_waits_for_the_tuner) {
    tone_from(40);
    EXPECT_EQ(read(0xB3, 189.9), 0x03);
    EXPECT_EQ(read(0xB3, 190), 0x04);

    disturb_at(180);
    EXPECT_EQ(read(0xB3, 199.9), 0x03);
    EXPECT_EQ(read(0xB3, 200), 0x04);
}

TEST_F(ToneMeter, tells_the_amplitude_in_256ths_of_a_decibel) {
    EXPECT_EQ(amplitude(150), 30 * 256);
    tone().level_dbm = -56.5;
    EXPECT_EQ(amplitude(200), 3 * 256 + 128);
    lose_db(3);
    EXPECT_EQ(amplitude(200), 128);
}

TEST_F(ToneMeter, tells_the_place_decimated_as_far_as_it_fits) {
    struct Place {
        double khz;
        int decimation;
    };
    for (const Place &place : {Place{4'000, 16}, Place{-4'000, 8}, Place{-8'000, 4},
                               Place{9'000, 4}, Place{15'000, 2}, Place{-16'000, 2}}) {
        tone().khz = place.khz;
        EXPECT_NEAR(place_khz(160), place.khz, 2 * step_khz);
        EXPECT_EQ(decimation(160), place.decimation) << place.khz;
    }
}

TEST_F(ToneMeter, carrier_registers_tell_the_carrier_until_the_driver_chooses) {
    choose(0xC8, -1);
    const int carrier = word(0x5F, 0x5E, 160);

    read(0x59, 160);
    choose(0xC8, 160.9);  // the program chooses after it
    EXPECT_EQ(word(0x5F, 0x5E, 161), carrier);

    choose(0xC8, 161);
    EXPECT_NEAR((carrier - word(0x5F, 0x5E, 161)) * step_khz, 4'000, 2 * step_khz);

    choose(0xCE, 162);
    EXPECT_EQ(word(0x5F, 0x5E, 162), carrier);
}

TEST_F(ToneMeter, tone_comes_and_goes) {
    tone().level_dbm = -56;
    tone().habit.dips = 5;
    tone().habit.first_dip = 2;
    tone().habit.dip_db = 6;
    std::vector<int> dips;
    for (int reading = 1; reading <= 18; ++reading) {
        if (static_cast<std::int8_t>(read(0x59, 200)) < 0) {
            dips.push_back(reading);
        }
    }
    EXPECT_THAT(dips, testing::ElementsAre(2, 5, 8, 11, 14, 17));
}

TEST_F(ToneMeter, tone_creeps) {
    tone().habit.creep_db_per_s = 100;
    tone().habit.creep_khz_per_s = 1'000;
    EXPECT_EQ(amplitude(150), 30 * 256);
    EXPECT_EQ(amplitude(160), 29 * 256);
    EXPECT_NEAR(place_khz(168), 4'020, 2 * step_khz);
}

}  // namespace tests
