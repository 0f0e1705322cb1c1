// SPDX-License-Identifier: MIT
#include "sim/tuner.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ds3000/chip/ds3000_context.h"
#include "ds3000/hw/register_access.h"
#include "ds3000/tuner/ts2022.h"
#include "tests/sim/receiver_test.h"

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
    scenario.lnb = {"none", "", 1'000'000};
    broadcast::Satellite satellite;
    for (std::uint32_t mhz = 950; mhz <= 2150; mhz += 40) {
        broadcast::Transponder transponder = demo_transponder(10'800);
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
        broadcast::Transponder transponder = demo_transponder(10'800);
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

struct Divider {
    std::uint8_t identity;
    std::uint8_t high;
    std::uint8_t low;
    const char *asks;
};

class OddDivider : public BareTuner, public testing::WithParamInterface<Divider> {};

// Dividers beyond the oscillator's range show how the chip reads the registers.
TEST_P(OddDivider, is_named_with_the_frequency_it_asks_for) {
    const bool type_1 = GetParam().identity == 0x41;
    scenario.board.tuner_identity = GetParam().identity;
    tuner().write(0x00, 0x03, 0);
    tuner().write(0x62, type_1 ? 0xFD : 0xEC, 0);
    tuner().write(0x42, type_1 ? 0x63 : 0x6C, 0);
    tuner().write(0x03, 0x06, 0);
    EXPECT_EQ(tuner().output().text, "tuner synthesiser not programmed");
    tuner().write(0x01, GetParam().high, 0);
    tuner().write(0x02, GetParam().low, 0);

    EXPECT_EQ(tuner().output().text, GetParam().asks);
}

INSTANTIATE_TEST_SUITE_P(
    stretches, OddDivider,
    testing::Values(Divider{0x41, 0x00, 0x00,
                            "tuner divider 1024 asks for 987.4 MHz from a VCO at 987.4 MHz"},
                    Divider{0x41, 0xFF, 0x02,
                            "tuner divider 4866 asks for 4692.2 MHz from a VCO at 4692.2 MHz"},
                    Divider{0xC3, 0x0F, 0xFF,
                            "tuner divider 5119 asks for 4936.2 MHz from a VCO at 4936.2 MHz"},
                    Divider{0xC3, 0x10, 0x00,
                            "tuner divider 3072 asks for 2962.3 MHz from a VCO at 2962.3 MHz"},
                    Divider{0xC3, 0x1F, 0xFF,
                            "tuner divider 7167 asks for 6911.0 MHz from a VCO at 6911.0 MHz"},
                    Divider{0xC3, 0x20, 0x00,
                            "tuner divider 5120 asks for 4937.1 MHz from a VCO at 4937.1 MHz"},
                    Divider{0xC3, 0x7F, 0xFF,
                            "tuner divider 13311 asks for 12835.6 MHz from a VCO at 12835.6 MHz"}));

TEST_F(BareTuner, low_band_halves_the_oscillator) {
    tuner().write(0x00, 0x03, 0);
    tuner().write(0x62, 0xEC, 0);
    tuner().write(0x42, 0x6C, 0);
    tuner().write(0x03, 0x06, 0);
    tuner().write(0x10, 0x1B, 0);
    tuner().write(0x01, 0x06, 0);
    tuner().write(0x02, 0x00, 0);

    EXPECT_EQ(tuner().output().text,
              "tuner divider 2560 asks for 1234.3 MHz from a VCO at 2468.6 MHz");
}

TEST_F(BareTuner, vco_bands_lie_evenly_over_the_first_cores_range) {
    const auto band_of = [this](std::uint32_t divider) {
        tuner().write(0x01, static_cast<std::uint8_t>((divider - 1024) >> 8), 0);
        tuner().write(0x02, static_cast<std::uint8_t>(divider), 0);
        return tuner().read(0x14, 0);
    };
    tuner().write(0x00, 0x03, 0);

    EXPECT_EQ(band_of(1120), 0);    // 1080 MHz
    EXPECT_EQ(band_of(1750), 62);   // 1687.5 MHz: 127 x 607.5 / 1240
    EXPECT_EQ(band_of(1764), 64);   // 1701.0 MHz
    EXPECT_EQ(band_of(2406), 127);  // 2320.1 MHz
}

TEST_F(BareTuner, gain_registers_follow_the_level) {
    tuner().set_input_level(-73);
    EXPECT_EQ(tuner().read(0x3D, 0), 15);
    EXPECT_EQ(tuner().read(0x66, 0), 6 << 3);
    tuner().set_input_level(-3);
    EXPECT_EQ(tuner().read(0x3D, 0), 0);
    EXPECT_EQ(tuner().read(0x66, 0), 0);
}

TEST_F(BareTuner, type_1_shows_the_band_and_no_rf_gain) {
    scenario.board.tuner_identity = 0x41;
    tuner().write(0x00, 0x03, 0);
    tuner().set_input_level(-73);

    EXPECT_EQ(tuner().read(0x66, 0), 0x00);
    tuner().write(0x10, 0x11, 0);
    EXPECT_EQ(tuner().read(0x66, 0), 0x80);
}

}  // namespace tests
