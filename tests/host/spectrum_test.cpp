// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/report/braille.h"
#include "host/report/spectrum_picture.h"
#include "host/scan/leg_spectrum.h"
#include "host/scan/spectrum_comparison.h"
#include "host/scan/spectrum_levels.h"

namespace tests {

using host::BraillePicture;
using host::LevelReading;
using host::SpectrumPeak;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

// Readings at every 7 MHz of a cable with noise at -80 dB and a carrier of 20 Msym/s, 20 dB over
// it, at 1035 MHz. With a roll-off of 0.35 it is flat for 6.5 MHz on either side of its centre, and
// 13.5 MHz from it nothing is left.
std::vector<LevelReading> one_carrier() {
    // The share of the filter that the carrier fills is 0 from 20.5 MHz on. 14 MHz away the filter
    // ends 7 MHz from the centre: from there to 13.5 MHz lie 3.5 MHz less the half MHz of the slope
    // that is left out, 0.48: 3.02 MHz, a share of 0.216. At 7 MHz from the centre the filter has
    // the half carrier, 10 MHz: 0.714. In the middle 6.5 MHz and half a MHz of the slope less its
    // 0.018, twice: 0.997. Carrier and noise are 1 + 100 times the share of it.
    return {{1'000'000, -80.0},   {1'007'000, -80.0},   {1'014'000, -80.0},
            {1'021'000, -66.454}, {1'028'000, -61.40},  {1'035'000, -59.97},
            {1'042'000, -61.40},  {1'049'000, -66.454}, {1'056'000, -80.0}};
}

}  // namespace

TEST(SpectrumNoise, is_told_from_a_carrier_by_its_peak) {
    const auto estimate = host::estimate_noise(one_carrier(), {{1'035'000, 20'000}});

    ASSERT_TRUE(estimate);
    EXPECT_NEAR(estimate->noise_db, -80, 0.1);
    EXPECT_THAT(estimate->over_noise_db, ElementsAre(testing::DoubleNear(20.04, 0.1)));
}

TEST(SpectrumNoise, of_readings_without_peaks_is_their_level) {
    const auto estimate = host::estimate_noise({{1'000'000, -70.0}, {1'006'000, -70.0}}, {});

    ASSERT_TRUE(estimate);
    EXPECT_NEAR(estimate->noise_db, -70, 1e-6);
    EXPECT_TRUE(estimate->over_noise_db.empty());
    EXPECT_FALSE(host::estimate_noise({}, {{1'035'000, 20'000}}));
}

TEST(DistinctPeaks, leave_out_what_repeats_another_one) {
    const auto peaks = host::distinct_peaks(
        {{1'100'000, 22'000}, {1'000'000, 22'000}, {1'000'187, 21'800}, {1'004'000, 3'000}});

    ASSERT_EQ(peaks.size(), 3U);
    EXPECT_EQ(peaks[0].if_khz, 1'000'000U);
    EXPECT_EQ(peaks[1].if_khz, 1'004'000U);
    EXPECT_EQ(peaks[2].if_khz, 1'100'000U);
}

TEST(SpectrumComparison, joins_what_fell_into_bands) {
    host::ScanLeg leg;
    leg.lof_khz = 9'750'000;
    host::StoredLeg then{"V", 0, 9'750'000, {{10'700, -60}, {10'730, -60}}};
    host::LegSpectrum now;
    now.levels = {{940'000, -70},   {950'000, -60.5}, {956'000, -63}, {962'000, -65},
                  {968'000, -62.9}, {974'000, -66},   {990'000, -70}};

    const auto comparison = host::compare_leg(leg, now, {then}, 3);

    ASSERT_TRUE(comparison);
    EXPECT_EQ(comparison->changes.size(), 5U);  // 10690 and 10740 MHz lie outside
    EXPECT_DOUBLE_EQ(comparison->median_change_db, -3);
    ASSERT_EQ(comparison->fallen.size(), 2U);
    EXPECT_EQ(comparison->fallen[0].low_mhz, 10'706);
    EXPECT_EQ(comparison->fallen[0].high_mhz, 10'712);
    EXPECT_EQ(comparison->fallen[0].change_db, -5);
    EXPECT_EQ(comparison->fallen[1].low_mhz, 10'724);
    then.port = 1;
    EXPECT_FALSE(host::compare_leg(leg, now, {then}, 3));
}

TEST(Braille, holds_two_dots_by_four_in_a_character) {
    BraillePicture picture(2, 1);
    picture.dot(0, 0);        // lower left: dot 7
    picture.dot(1, 3);        // upper right: dot 4
    picture.column(3, 2, 1);  // dots 5 and 6
    picture.dot(4, 0);
    picture.dot(0, 4);

    EXPECT_EQ(picture.row(0), "\u2848\u2830");
}

TEST(TerminalPicture, has_scales_marks_and_as_many_columns_as_there_are) {
    const auto lines = host::drawn(
        {10'700, 10'800, {{10'700, 0}, {10'750, 10}, {10'800, 0}}, {{10'740, 10'760}}, true}, 45,
        4);

    ASSERT_EQ(lines.size(), 6U);
    EXPECT_EQ(lines[0].substr(0, 5), "  10 ");
    EXPECT_EQ(lines[3].substr(0, 5), "   0 ");
    EXPECT_EQ(lines[3].size(), 5U + 40 * 3);
    EXPECT_THAT(lines[4], HasSubstr("\u2500\u2500\u2500\u2500\u2534\u2500\u2500\u2500\u2500"));
    EXPECT_THAT(lines[5], HasSubstr("10750"));
}

// It ends at 200 dB. A row's number is the least multiple of the scale in it: the top row begins at
// 11.5 of 15 dots, 153.3 dB.
TEST(TerminalPicture, of_levels_that_no_cable_has_is_as_large_as_any) {
    const auto lines_with = [](double db) {
        return host::drawn({10'700, 10'800, {{10'700, 0}, {10'750, db}, {10'800, 0}}, {}, true}, 45,
                           4);
    };
    for (const double db : {1e9, 1e308}) {
        ASSERT_EQ(lines_with(db).size(), 5U) << db;
        EXPECT_EQ(lines_with(db)[0].substr(0, 5), " 155 ") << db;
        EXPECT_EQ(lines_with(-db)[3].substr(0, 5), "-200 ") << db;
    }
}

}  // namespace tests
