// SPDX-License-Identifier: MIT
#include "sim/tuner.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "demod/ds3000_context.h"
#include "hw/register_access.h"
#include "tests/sim/receiver_test.h"
#include "tuner/ts2022.h"

namespace tests {

using sim::Reason;

class BareTuner : public testing::Test {
 protected:
    sim::Tuner &tuner() {
        if (!tuner_) {
            tuner_.emplace(scenario, watch);
        }
        return *tuner_;
    }

    sim::Scenario scenario;
    sim::Watch watch;

 private:
    std::optional<sim::Tuner> tuner_;
};

TEST_F(BareTuner, type_2_shows_its_revision_and_both_power_bits) {
    EXPECT_EQ(tuner().read(0x00, 0), 0xC0);
    tuner().write(0x00, 0x01, 0);
    EXPECT_EQ(tuner().read(0x00, 0), 0xC1);
    tuner().write(0x00, 0x03, 2'000'000);
    EXPECT_EQ(tuner().read(0x00, 0), 0xC3);
}

TEST_F(BareTuner, type_1_shows_the_supply_bit_only) {
    scenario.board.tuner_identity = 0x41;

    EXPECT_EQ(tuner().read(0x00, 0), 0x40);
    tuner().write(0x00, 0x03, 0);
    EXPECT_EQ(tuner().read(0x00, 0), 0x41);
}

TEST_F(BareTuner, rest_of_the_chip_does_not_start_before_the_supply_has_settled) {
    tuner().write(0x00, 0x01, 0);
    tuner().write(0x00, 0x03, 900'000);
    EXPECT_EQ(tuner().read(0x00, 0), 0xC1);
    tuner().write(0x00, 0x03, 1'000'000);
    EXPECT_EQ(tuner().read(0x00, 0), 0xC3);
}

TEST_F(BareTuner, calibration_takes_its_time) {
    tuner().write(0x00, 0x03, 0);
    tuner().write(0x51, 0x0F, 0);
    tuner().write(0x51, 0x1F, 0);
    tuner().write(0x50, 0x10, 0);

    EXPECT_EQ(tuner().read(0x15, 2'999'999), 0x00);
    EXPECT_EQ(tuner().read(0x15, 3'000'000), 0x40);
}

TEST_F(BareTuner, calibration_does_not_start_in_reset_or_asleep) {
    tuner().write(0x51, 0x0F, 0);
    tuner().write(0x51, 0x1F, 0);
    tuner().write(0x50, 0x10, 0);
    tuner().write(0x50, 0x00, 0);
    EXPECT_EQ(tuner().read(0x15, 10'000'000), 0x00);

    tuner().write(0x00, 0x03, 0);
    tuner().write(0x51, 0x0F, 0);
    tuner().write(0x50, 0x10, 0);
    EXPECT_EQ(tuner().read(0x15, 10'000'000), 0x00);
}

TEST_F(BareTuner, new_tuner_is_off) { EXPECT_EQ(tuner().output().reason, Reason::tuner_off); }

// The driver's programming of every whole frequency, against the model.
class EveryFrequency : public ReceiverTest, public testing::WithParamInterface<std::uint8_t> {};

TEST_P(EveryFrequency, is_synthesised_where_the_driver_says) {
    scenario.board.tuner_identity = GetParam();
    scenario.lnb = {"none", 1'000'000, 0, 0, 0};
    sim::Satellite satellite;
    for (std::uint32_t mhz = 950; mhz <= 2150; mhz += 40) {
        sim::Transponder transponder = demo_transponder(10'800);
        transponder.frequency_khz = (1'000 + mhz) * 1000;
        satellite.transponders.push_back(transponder);
    }
    scenario.satellites = {satellite};
    start();
    supply(true, true);
    tone(false, true);

    for (std::uint32_t mhz = 950; mhz <= 2150; mhz += 40) {
        connect(mhz, 22'000, STANDARD_DVBS);
        EXPECT_TRUE(locks()) << mhz << " MHz: " << receiver().verdict().text;
        EXPECT_NEAR(receiver().verdict().offset_khz, 0, 2) << mhz << " MHz";
    }
}

TEST_P(EveryFrequency, filter_lets_every_symbol_rate_through) {
    scenario.board.tuner_identity = GetParam();
    start();
    supply(true, true);
    tone(false, true);

    for (const std::uint32_t ksps :
         {1'000U, 3'000U, 4'999U, 5'000U, 12'000U, 22'000U, 30'000U, 44'999U, 45'000U}) {
        sim::Transponder transponder = demo_transponder(10'800);
        transponder.symbol_rate = ksps * 1000;
        receiver().point_at({"one", {transponder}});
        connect(1050, static_cast<std::int32_t>(ksps), STANDARD_DVBS);
        EXPECT_TRUE(locks()) << ksps << " ksym/s: " << receiver().verdict().text;
    }
}

TEST_P(EveryFrequency, start_up_registers_are_needed) {
    scenario.board.tuner_identity = GetParam();
    start();
    tune(demo_transponder(10'800));

    tuner_write(0x42, 0x00);

    EXPECT_THAT(receiver().verdict(), HasReason(Reason::tuner_pll));
    EXPECT_THAT(receiver().verdict().text, testing::HasSubstr("register 0x42"));
}

INSTANTIATE_TEST_SUITE_P(tuner_types, EveryFrequency, testing::Values(0x41, 0xC3));

TEST_F(ReceiverTest, type_2_tuner_needs_the_core_that_fits_the_band) {
    start();
    tune(demo_transponder(11'100));

    tuner_write(0x11, 0x40);

    EXPECT_THAT(receiver().verdict(), HasReason(Reason::tuner_pll));
    EXPECT_THAT(receiver().verdict().text, testing::HasSubstr("core"));
}

TEST_F(ReceiverTest, type_2_tuner_must_leave_calibration) {
    start();
    tune(demo_transponder(10'800));

    tuner_write(0x27, 0x70);

    EXPECT_THAT(receiver().verdict(), HasReason(Reason::tuner_filter));
}

TEST_F(ReceiverTest, unknown_tuner_is_not_programmed) {
    scenario.board.tuner_identity = 0x43;
    start();

    tune(demo_transponder(10'800));

    EXPECT_FALSE(locks());
    EXPECT_THAT(receiver().verdict(), HasReason(Reason::tuner_pll));
}

}  // namespace tests
