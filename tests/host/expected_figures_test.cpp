// SPDX-License-Identifier: MIT
#include "host/session/expected_figures.h"

#include <gtest/gtest.h>

namespace tests {

using broadcast::System;
using host::quality_span;
using host::Span;
using host::strength_span;

namespace {

double quality(System system, double cn_db) {
    const Span span = quality_span(system, cn_db, 0);
    EXPECT_EQ(span.low, span.high);
    return span.low;
}

}  // namespace

TEST(ExpectedFigures, quality_is_truncated_twice) {
    EXPECT_EQ(quality(System::dvbs2, 10.0), 10);
    EXPECT_EQ(quality(System::dvbs2, 9.99), 9) << "a ratio of 9.98 counts as 9, 9.54 dB";
    EXPECT_EQ(quality(System::dvbs2, 4.7), 3) << "2.95 counts as 2";
    EXPECT_EQ(quality(System::dvbs, 4.8), 4) << "3.02 counts as 3, 4.77 dB";
}

TEST(ExpectedFigures, quality_ends_where_the_tables_do) {
    EXPECT_EQ(quality(System::dvbs2, 25), 19);
    EXPECT_EQ(quality(System::dvbs, 25), 14);
    EXPECT_EQ(quality(System::dvbs2, -2), 0) << "1.58 counts as 1";
    EXPECT_EQ(quality(System::dvbs2, -4.8), -4);
    EXPECT_EQ(quality(System::dvbs, -4.8), 0);
}

TEST(ExpectedFigures, readings_stray) {
    const Span span = quality_span(System::dvbs2, 10.1, 0.4);
    EXPECT_EQ(span.low, 9);
    EXPECT_EQ(span.high, 10);
    EXPECT_TRUE(span.holds(9));
    EXPECT_FALSE(span.holds(8));
    EXPECT_FALSE(span.holds(11));
}

// A fifth of a decibel of gain and the truncations to either side: 60 % at 65 dB, 90 % at 45 dB.
TEST(ExpectedFigures, strength_falls_with_the_gain) {
    EXPECT_EQ(strength_span(6500, false).low, 58);
    EXPECT_NEAR(strength_span(6500, false).high, 60.3, 1e-9);
    EXPECT_EQ(strength_span(4500, false).low, 88);
    EXPECT_NEAR(strength_span(4500, false).high, 90.04, 1e-9);
    EXPECT_EQ(strength_span(9000, false).high, 0);
}

TEST(ExpectedFigures, a_lock_is_never_weaker_than_twenty) {
    EXPECT_EQ(strength_span(9000, true).low, 20);
    EXPECT_EQ(strength_span(9000, true).high, 20);
    // 30 % at 75 dB are shown as 35.
    EXPECT_TRUE(strength_span(7500, true).holds(35));
    EXPECT_FALSE(strength_span(7500, true).holds(30));
    EXPECT_TRUE(strength_span(7500, false).holds(30));
}

}  // namespace tests
