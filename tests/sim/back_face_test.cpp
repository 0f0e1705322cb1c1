// SPDX-License-Identifier: MIT

// What the world tells of the receiver behind the driver's back.

#include "ds3000/demod/power.h"
#include "ds3000/tuner/ts2022.h"
#include "tests/sim/receiver_test.h"

namespace tests {

TEST_F(ReceiverTest, tells_what_is_left_on) {
    EXPECT_FALSE(receiver().bus_is_open());
    EXPECT_FALSE(receiver().demodulator_is_awake());
    EXPECT_FALSE(receiver().tuner_is_awake());
    start();
    EXPECT_TRUE(receiver().bus_is_open());
    EXPECT_TRUE(receiver().demodulator_is_awake());
    EXPECT_TRUE(receiver().tuner_is_awake());

    ds3000_sleep();

    EXPECT_FALSE(receiver().demodulator_is_awake());
    EXPECT_FALSE(receiver().tuner_is_awake());
}

TEST_F(ReceiverTest, demodulator_sleeps_with_all_three_power_downs_alone) {
    start();
    for (const auto &[reg, awake] :
         {std::pair<std::uint8_t, std::uint8_t>{0x08, 0x01}, {0x04, 0x00}, {0x23, 0x00}}) {
        ds3000_sleep();
        poke(reg, awake);
        EXPECT_TRUE(receiver().demodulator_is_awake()) << int{reg};
    }
}

class GainOfTuner : public ReceiverTest, public testing::WithParamInterface<std::uint8_t> {};

TEST_P(GainOfTuner, is_told_as_the_registers_show_it) {
    scenario.board.tuner_identity = GetParam();
    start();
    tune(demo_transponder(11'100));
    std::uint32_t gain = 0;
    ts2022_get_gain(&gain);

    // What the driver truncates is less than a hundredth of a decibel.
    EXPECT_NEAR(receiver().gain_centidb(), gain, 1);
}

INSTANTIATE_TEST_SUITE_P(types, GainOfTuner,
                         testing::Values(std::uint8_t{0xC3}, std::uint8_t{0x41}));

TEST_F(ReceiverTest, tells_where_the_carrier_lies_on_the_cable_and_how) {
    scenario.lnb.drift_khz = 300;
    start();
    tune(demo_transponder(11'100));
    ASSERT_TRUE(locks());

    EXPECT_EQ(receiver().verdict().cable_khz, 1'350'000 - 300);
    EXPECT_EQ(receiver().verdict().offset_khz, -300);
    EXPECT_FALSE(receiver().verdict().inverted);
}

TEST_F(ReceiverTest, tells_a_mirrored_spectrum) {
    scenario.board.iq_swap = true;
    start();
    tune(demo_transponder(11'100));
    ASSERT_TRUE(locks());

    EXPECT_TRUE(receiver().verdict().inverted);
}

}  // namespace tests
