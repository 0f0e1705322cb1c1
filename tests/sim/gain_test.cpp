// SPDX-License-Identifier: MIT
#include "sim/gain.h"

#include <gtest/gtest.h>

namespace tests {

// 105.00 dB are wanted, of which the tuner gives 39.75 + 17.10 + 54.08 - 30.00 = 80.93 at most.
TEST(Gain, counts_on_where_the_tuners_stages_are_wide_open) {
    const sim::Gain gain = sim::gain_for(2, -88);

    EXPECT_EQ(gain.lna, 18);
    EXPECT_EQ(gain.rf, 7);
    EXPECT_EQ(gain.baseband, 17);
    EXPECT_EQ(gain.agc, 127);
    EXPECT_NEAR(sim::gain_of(2, gain), 10'500, 20);
}

// 17.00 dB are wanted, 10.00 are the least of the tuner and 9.60 of the AGC.
TEST(Gain, runs_to_the_end_of_the_agc_with_too_strong_an_input) {
    const sim::Gain gain = sim::gain_for(1, 0);

    EXPECT_EQ(gain.lna, 0);
    EXPECT_EQ(gain.baseband, 0);
    EXPECT_EQ(gain.agc, 0);
    EXPECT_EQ(sim::gain_of(1, gain), 1'960);
}

// 127.00 dB are wanted, 10.00 + 34.95 + 45.50 are the most of the tuner and 26.40 of the AGC.
TEST(Gain, runs_to_the_other_end_with_too_weak_a_one) {
    const sim::Gain gain = sim::gain_for(1, -110);

    EXPECT_EQ(gain.agc, 255);
    EXPECT_EQ(sim::gain_of(1, gain), 11'685);
}

}  // namespace tests
