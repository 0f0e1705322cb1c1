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

    // Both power steps, and the 2 ms after the second; from zero.
    void power_up() {
        tuner().write(0x00, 0x01, 0);
        tuner().write(0x00, 0x03, 2 * ms);
    }
    // A calibration's four writes.
    void strobe(std::uint8_t select, std::uint8_t start, std::uint64_t now_ns) {
        tuner().write(0x51, select, now_ns);
        tuner().write(0x51, 0x1F, now_ns);
        tuner().write(0x50, start, now_ns);
        tuner().write(0x50, 0x00, now_ns);
    }

    static constexpr std::uint64_t ms = 1'000'000;
    static constexpr std::uint64_t steady = 50 * ms;  // long enough after power_up
    sim::Scenario scenario;
    sim::Watch watch;

 private:
    std::optional<sim::Tuner> tuner_;
};

TEST_F(BareTuner, type_2_shows_its_revision_and_both_power_bits) {
    EXPECT_EQ(tuner().read(0x00, 0), 0xC0);
    tuner().write(0x00, 0x01, 0);
    EXPECT_EQ(tuner().read(0x00, 0), 0xC1);
    tuner().write(0x00, 0x03, 2 * ms);
    EXPECT_EQ(tuner().read(0x00, 4 * ms), 0xC3);
}

TEST_F(BareTuner, rest_is_shown_until_its_rail_has_fallen) {
    power_up();
    tuner().write(0x00, 0x00, 100 * ms);
    EXPECT_TRUE(tuner().asleep());
    EXPECT_EQ(tuner().read(0x00, 219 * ms), 0xC2);
    EXPECT_EQ(tuner().read(0x00, 220 * ms), 0xC0);
}

TEST_F(BareTuner, type_1_shows_the_supply_bit_only) {
    scenario.board.tuner_identity = 0x41;

    EXPECT_EQ(tuner().read(0x00, 0), 0x40);
    power_up();
    EXPECT_EQ(tuner().read(0x00, 4 * ms), 0x41);
}

TEST_F(BareTuner, rest_of_the_chip_does_not_start_before_the_supply_has_settled) {
    tuner().write(0x00, 0x01, 0);
    tuner().write(0x00, 0x03, 900'000);
    EXPECT_EQ(tuner().read(0x00, 10 * ms), 0xC1);
    tuner().write(0x00, 0x03, 1 * ms);
    EXPECT_EQ(tuner().read(0x00, 10 * ms), 0xC3);
}

TEST_F(BareTuner, both_power_steps_at_once_start_the_supply_alone) {
    tuner().write(0x00, 0x03, 0);
    EXPECT_EQ(tuner().read(0x00, 10 * ms), 0xC1);
}

TEST_F(BareTuner, type_is_not_shown_before_the_rest_has_started) {
    power_up();
    EXPECT_EQ(tuner().read(0x00, 3 * ms), 0xC1);
    EXPECT_EQ(tuner().read(0x00, 3'500'000), 0xC3);
}

TEST_F(BareTuner, registers_written_before_the_start_is_over_are_lost) {
    power_up();
    tuner().write(0x62, 0xEC, 3 * ms);
    EXPECT_EQ(tuner().read(0x62, 4 * ms), 0x00);
    tuner().write(0x62, 0xEC, 4 * ms);
    EXPECT_EQ(tuner().read(0x62, 4 * ms), 0xEC);
}

TEST_F(BareTuner, registers_written_before_the_regulator_is_steady_are_lost) {
    power_up();
    tuner().write(0x62, 0xEC, 4 * ms);
    tuner().write(0x42, 0x6C, 5 * ms);
    EXPECT_EQ(tuner().read(0x42, 6 * ms), 0x00);
    tuner().write(0x42, 0x6C, 6 * ms);
    tuner().write(0x7D, 0x9D, 7 * ms);
    EXPECT_EQ(tuner().read(0x7D, 8 * ms), 0x00);
    tuner().write(0x7D, 0x9D, 8 * ms);
    EXPECT_EQ(tuner().read(0x7D, 8 * ms), 0x9D);
}

TEST_F(BareTuner, supply_taken_up_again_too_early_does_not_start) {
    power_up();
    tuner().write(0x00, 0x00, 100 * ms);
    tuner().write(0x00, 0x01, 139 * ms);
    tuner().write(0x00, 0x03, 189 * ms);
    EXPECT_EQ(tuner().output().text, "tuner does not start: its supply came back too early");
    tuner().write(0x00, 0x00, 200 * ms);
    tuner().write(0x00, 0x01, 240 * ms);
    tuner().write(0x00, 0x03, 290 * ms);
    EXPECT_EQ(tuner().output().reason, Reason::tuner_pll);
}

TEST_F(BareTuner, calibration_takes_its_time) {
    power_up();
    strobe(0x0F, 0x10, steady);

    EXPECT_EQ(tuner().read(0x15, steady + 4 * ms - 1), 0x00);
    EXPECT_EQ(tuner().read(0x15, steady + 4 * ms), 0x60);
}

TEST_F(BareTuner, calibration_fails_until_the_crystal_is_steady) {
    power_up();
    strobe(0x0F, 0x10, 46 * ms);
    EXPECT_EQ(tuner().read(0x15, 100 * ms), 0x20) << "over, without success";
    strobe(0x0F, 0x10, 47 * ms);
    EXPECT_EQ(tuner().read(0x15, 100 * ms), 0x60);
}

TEST_F(BareTuner, calibration_started_again_takes_its_time_anew) {
    power_up();
    strobe(0x0F, 0x10, steady);
    strobe(0x0F, 0x10, steady + 3 * ms);
    EXPECT_EQ(tuner().read(0x15, steady + 7 * ms - 1), 0x00);
    EXPECT_EQ(tuner().read(0x15, steady + 7 * ms), 0x60);
}

TEST_F(BareTuner, calibration_that_another_one_breaks_off_fails) {
    power_up();
    strobe(0x0F, 0x10, steady);
    strobe(0x17, 0x08, steady + 3 * ms);
    EXPECT_EQ(tuner().read(0x15, 2 * steady), 0x20);
    EXPECT_EQ(tuner().read(0x3C, 2 * steady), 0x00);
    strobe(0x0F, 0x10, 2 * steady);
    strobe(0x17, 0x08, 2 * steady + 4 * ms);
    EXPECT_EQ(tuner().read(0x15, 3 * steady), 0x60);
    EXPECT_EQ(tuner().read(0x3C, 3 * steady), 0x2A);
}

TEST_F(BareTuner, calibration_does_not_start_without_reset_or_asleep) {
    strobe(0x0F, 0x10, 0);
    EXPECT_EQ(tuner().read(0x15, 10 * ms), 0x00);

    power_up();
    tuner().write(0x51, 0x0F, steady);
    tuner().write(0x50, 0x10, steady);
    EXPECT_EQ(tuner().read(0x15, 2 * steady), 0x00);

    tuner().write(0x50, 0x00, steady);
    strobe(0x0F, 0x10, steady);
    tuner().write(0x50, 0x10, steady + 3 * ms);
    EXPECT_EQ(tuner().read(0x15, steady + 4 * ms), 0x60);
}

TEST_F(BareTuner, filter_calibrates_near_its_centre_and_prepared_only) {
    power_up();
    const auto calibrates = [this](std::uint8_t fine) {
        tuner().write(0x04, fine, steady);
        strobe(0x1B, 0x04, steady);
        return tuner().read(0x26, steady + 2 * ms) != 0;
    };
    EXPECT_FALSE(calibrates(0x2E));
    tuner().write(0x27, 0x70, steady);
    tuner().write(0x41, 0x09, steady);
    tuner().write(0x08, 0x0B, steady);
    // The result is 22: 9522 / (44 + 151) = 48.8, of which 0.82 to 1.22 are 40.04 to 59.6.
    EXPECT_TRUE(calibrates(0x2E));
    EXPECT_TRUE(calibrates(41));
    EXPECT_FALSE(calibrates(40));
    EXPECT_TRUE(calibrates(59));
    EXPECT_FALSE(calibrates(60));
    tuner().write(0x25, 0x80, steady);
    EXPECT_FALSE(calibrates(0x2E));
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
    power_up();
    tuner().write(0x62, type_1 ? 0xFD : 0xEC, 4 * ms);
    tuner().write(0x42, type_1 ? 0x63 : 0x6C, 6 * ms);
    tuner().write(0x03, 0x06, 8 * ms);
    EXPECT_EQ(tuner().output().text, "tuner synthesiser not programmed");
    tuner().write(0x01, GetParam().high, 8 * ms);
    tuner().write(0x02, GetParam().low, 8 * ms);

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
    power_up();
    tuner().write(0x62, 0xEC, 4 * ms);
    tuner().write(0x42, 0x6C, 6 * ms);
    tuner().write(0x03, 0x06, 8 * ms);
    tuner().write(0x10, 0x1B, 8 * ms);
    tuner().write(0x01, 0x06, 8 * ms);
    tuner().write(0x02, 0x00, 8 * ms);

    EXPECT_EQ(tuner().output().text,
              "tuner divider 2560 asks for 1234.3 MHz from a VCO at 2468.6 MHz");
}

TEST_F(BareTuner, vco_bands_lie_evenly_over_the_first_cores_range) {
    const auto band_of = [this](std::uint32_t divider) {
        tuner().write(0x01, static_cast<std::uint8_t>((divider - 1024) >> 8), steady);
        tuner().write(0x02, static_cast<std::uint8_t>(divider), steady);
        return tuner().read(0x14, steady);
    };
    power_up();

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

// 90 dB are wanted of the tuner at -73 dBm, of which it gives 10, its LNA 34.95 and the middle of
// the demodulator's AGC 18: the rest are 7.7 of the baseband's steps of 3.5 dB.
TEST_F(BareTuner, type_1_leaves_its_baseband_as_it_is_for_30_ms) {
    scenario.board.tuner_identity = 0x41;
    power_up();
    tuner().set_input_level(-73);
    tuner().write(0x04, 0x2E, steady);
    strobe(0x0F, 0x10, steady);
    strobe(0x17, 0x08, steady + 5 * ms);
    strobe(0x1B, 0x04, steady + 10 * ms);

    const std::uint64_t start_ns = steady + 12 * ms;
    strobe(0x1E, 0x01, start_ns);

    EXPECT_EQ(tuner().read(0x21, start_ns + 15 * ms), 0x00);
    EXPECT_EQ(tuner().read(0x21, start_ns + 16 * ms), 0x40);
    EXPECT_EQ(tuner().read(0x21, start_ns + 30 * ms - 1), 0x40);
    EXPECT_EQ(tuner().read(0x21, start_ns + 30 * ms), 0x48);
}

TEST_F(BareTuner, type_1_shows_the_band_of_a_calibrated_vco_and_no_rf_gain) {
    scenario.board.tuner_identity = 0x41;
    power_up();
    tuner().set_input_level(-73);
    tuner().write(0x10, 0x11, steady);

    EXPECT_EQ(tuner().read(0x66, steady), 0x00);
    strobe(0x0F, 0x10, steady);
    EXPECT_EQ(tuner().read(0x66, steady + 4 * ms - 1), 0x00);
    EXPECT_EQ(tuner().read(0x66, steady + 4 * ms), 0x80);
    tuner().write(0x10, 0x00, steady + 5 * ms);
    tuner().write(0x10, 0x01, steady + 5 * ms);
    strobe(0x0F, 0x10, steady + 5 * ms);
    EXPECT_EQ(tuner().read(0x66, steady + 9 * ms), 0x00);
}

TEST_F(BareTuner, type_1_keeps_its_band_until_the_synthesiser_was_off) {
    scenario.board.tuner_identity = 0x41;
    power_up();
    tuner().write(0x62, 0xFD, 4 * ms);
    tuner().write(0x42, 0x63, 6 * ms);
    tuner().write(0x03, 0x06, 6 * ms);
    tuner().write(0x10, 0x11, 8 * ms);
    // 2488 - 1024: 2399.1 MHz of VCO, halved in the low band.
    tuner().write(0x01, 0x05, 8 * ms);
    tuner().write(0x02, 0xB8, 8 * ms);

    tuner().write(0x10, 0x01, 8 * ms);
    EXPECT_EQ(tuner().output().text,
              "tuner divider 2488 asks for 1199.6 MHz from a VCO at 2399.1 MHz");
    tuner().write(0x10, 0x00, 8 * ms);
    tuner().write(0x10, 0x01, 8 * ms);
    EXPECT_EQ(tuner().output().text,
              "tuner divider 2488 asks for 2399.1 MHz from a VCO at 2399.1 MHz");
}

// Registers that the driver sets, each missed once: what becomes of a carrier that locks with them.
struct Missed {
    std::uint8_t identity;
    std::uint8_t reg;
    std::uint8_t value;
    Reason reason;
};

class MissedRegister : public ReceiverTest, public testing::WithParamInterface<Missed> {};

TEST_P(MissedRegister, costs_the_carrier) {
    scenario.board.tuner_identity = GetParam().identity;
    start();
    tune(demo_transponder(10'800));
    EXPECT_TRUE(locks()) << receiver().verdict().text;

    tuner_write(GetParam().reg, GetParam().value);

    EXPECT_THAT(receiver().verdict(), HasReason(GetParam().reason));
}

INSTANTIATE_TEST_SUITE_P(start_up, MissedRegister,
                         testing::Values(Missed{0x41, 0x62, 0, Reason::tuner_pll},
                                         Missed{0x41, 0x42, 0, Reason::tuner_pll},
                                         Missed{0x41, 0x07, 0, Reason::cn_below_threshold},
                                         Missed{0x41, 0x08, 0, Reason::cn_below_threshold},
                                         Missed{0xC3, 0x62, 0, Reason::tuner_pll},
                                         Missed{0xC3, 0x42, 0, Reason::tuner_pll},
                                         Missed{0xC3, 0x7D, 0, Reason::cn_below_threshold},
                                         Missed{0xC3, 0x7C, 0, Reason::cn_below_threshold},
                                         Missed{0xC3, 0x7A, 0, Reason::cn_below_threshold},
                                         Missed{0xC3, 0x3B, 0, Reason::cn_below_threshold},
                                         Missed{0xC3, 0x63, 0, Reason::cn_below_threshold},
                                         Missed{0xC3, 0x61, 0, Reason::cn_below_threshold},
                                         Missed{0xC3, 0x30, 0, Reason::cn_below_threshold},
                                         Missed{0xC3, 0x20, 0, Reason::cn_below_threshold},
                                         Missed{0xC3, 0x24, 0, Reason::cn_below_threshold},
                                         Missed{0xC3, 0x22, 0, Reason::tuner_agc},
                                         Missed{0xC3, 0x12, 0, Reason::tuner_agc}));

// 10800 MHz lie 1050 MHz up the cable: the VCO at 2100 MHz, band 104 of the first core, the eighth
// of its 32: boosted.
INSTANTIATE_TEST_SUITE_P(channel, MissedRegister,
                         testing::Values(Missed{0x41, 0x10, 0x10, Reason::tuner_pll},
                                         Missed{0xC3, 0x10, 0x19, Reason::cn_below_threshold},
                                         Missed{0xC3, 0x10, 0x13, Reason::tuner_pll},
                                         Missed{0xC3, 0x10, 0x1A, Reason::tuner_pll},
                                         Missed{0xC3, 0x11, 0x6F, Reason::tuner_pll},
                                         Missed{0xC3, 0x03, 0x00, Reason::tuner_pll},
                                         Missed{0xC3, 0x02, 0x81, Reason::tuner_pll},
                                         Missed{0xC3, 0x25, 0x17, Reason::tuner_filter},
                                         Missed{0xC3, 0x08, 0x0B, Reason::tuner_filter}));

TEST_F(ReceiverTest, gain_control_starts_while_the_demodulator_drives_its_line) {
    constexpr std::uint8_t mcu = 0xB2;
    constexpr std::uint8_t core = 0x00;
    start();
    tune(demo_transponder(11'100));
    ASSERT_TRUE(locks());
    for (const std::uint8_t held : {mcu, core}) {
        poke(held, 0x01);
        ts2022_set_frequency(1'350'000, 27'500, 0);
        poke(held, 0x00);
        EXPECT_FALSE(locks());
        EXPECT_THAT(receiver().verdict(), HasReason(Reason::tuner_agc)) << int{held};
        tune(demo_transponder(11'100));
        EXPECT_TRUE(locks()) << int{held};
    }
}

// Type 1 with the trim put back to its full range, at least three steps and twelve decibels too
// high. The first channel after power-on finds no room to trim, as the filter passes nothing yet.
TEST_F(ReceiverTest, type_1_needs_its_gain_trimmed) {
    scenario.board.tuner_identity = 0x41;
    start();
    tune(demo_transponder(10'800));
    tune(demo_transponder(10'800));
    EXPECT_TRUE(locks());

    tuner_write(0x60, 0x79);
    EXPECT_TRUE(locks()) << "the synthesiser's calibration takes it";
    tuner_write(0x51, 0x17);
    tuner_write(0x51, 0x1F);
    tuner_write(0x50, 0x08);
    tuner_write(0x50, 0x00);
    sleep_ms(50);

    EXPECT_THAT(receiver().verdict(), HasReason(Reason::cn_below_threshold));
    EXPECT_THAT(receiver().verdict().text, testing::HasSubstr("0x60"));
}

// The first channel after power-on finds no room to trim, and its baseband has enough to do.
TEST_F(ReceiverTest, type_1_does_not_want_a_gain_raised_that_needs_none) {
    scenario.board.tuner_identity = 0x41;
    start();
    tune(demo_transponder(10'800));
    ASSERT_TRUE(locks());
    std::uint8_t trim = 0;
    tuner_read(0x60, &trim);
    ASSERT_EQ(trim, 0x79);

    tuner_write(0x60, 0x61);
    tuner_write(0x51, 0x17);
    tuner_write(0x51, 0x1F);
    tuner_write(0x50, 0x08);
    tuner_write(0x50, 0x00);
    sleep_ms(100);

    EXPECT_THAT(receiver().verdict(), HasReason(Reason::cn_below_threshold));
    EXPECT_THAT(receiver().verdict().text, testing::HasSubstr("3 steps wrong (0x60)"));
}

// The reading is cut off by the trim that the synthesiser's calibration took: one that is not put
// back to its full range first is trimmed lower still.
TEST_F(ReceiverTest, type_1_is_trimmed_from_its_full_range) {
    scenario.board.tuner_identity = 0x41;
    start();
    tune(demo_transponder(10'800));
    tune(demo_transponder(10'800));
    ASSERT_TRUE(locks());
    const auto calibrate = [](std::uint8_t held, std::uint8_t started) {
        tuner_write(0x51, held);
        tuner_write(0x51, 0x1F);
        tuner_write(0x50, started);
        tuner_write(0x50, 0x00);
        sleep_ms(5);
    };

    calibrate(0x0F, 0x10);
    calibrate(0x17, 0x08);
    std::uint8_t reading = 0;
    tuner_read(0x3D, &reading);
    tuner_write(0x60, static_cast<std::uint8_t>(((reading & 0x0F) - 3) * 8 | 1));
    calibrate(0x17, 0x08);
    calibrate(0x1E, 0x01);
    sleep_ms(100);

    EXPECT_THAT(receiver().verdict(), HasReason(Reason::cn_below_threshold));
    EXPECT_THAT(receiver().verdict().text, testing::HasSubstr("3 steps wrong (0x60)"));
}

// The first channel after power-on finds no room to trim, and -30 dBm leave the baseband less than
// three steps: the gain is raised, and settles 65 ms after the synthesiser's calibration with it.
class StrongType1 : public ReceiverTest {
 protected:
    void receive() {
        broadcast::Transponder transponder = demo_transponder(10'800);
        transponder.level_dbm = -30;
        scenario.board.tuner_identity = 0x41;
        scenario.satellites = {{"one", {transponder}}};
        start();
        tune(transponder);
        ASSERT_TRUE(locks()) << receiver().verdict().text;
    }
    static void calibrate_synthesiser() {
        tuner_write(0x51, 0x17);
        tuner_write(0x51, 0x1F);
        tuner_write(0x50, 0x08);
        tuner_write(0x50, 0x00);
    }
};

TEST_F(StrongType1, needs_its_gain_raised) {
    receive();
    std::uint8_t trim = 0;
    tuner_read(0x60, &trim);
    EXPECT_EQ(trim, 0x61);

    tuner_write(0x60, 0x79);
    calibrate_synthesiser();
    sleep_ms(100);

    EXPECT_THAT(receiver().verdict().text, testing::HasSubstr("3 steps wrong (0x60)"));
}

TEST_F(StrongType1, settles_anew_with_another_gain) {
    receive();
    demod_write(0xB2, 0x01);
    calibrate_synthesiser();
    sleep_ms(55);
    demod_write(0xB2, 0x00);
    sleep_ms(50);

    EXPECT_THAT(receiver().verdict(), HasReason(Reason::tuner_agc));
    EXPECT_THAT(receiver().verdict().text, testing::HasSubstr("before the tuner had settled"));
}

// The piece of type 1 that the seed makes does not reach below 1148 MHz in its high band.
TEST_F(ReceiverTest, type_1_is_forced_into_the_low_band_where_its_high_one_ends) {
    scenario.board.tuner_identity = 0x41;
    scenario.lnb = {"none", "", 1'000'000};
    broadcast::Transponder transponder = demo_transponder(10'800);
    transponder.frequency_khz = 2'147'000;
    scenario.satellites = {{"one", {transponder}}};
    start();
    supply(true, true);
    tone(false, true);

    connect(1147, 22'000, STANDARD_DVBS);
    EXPECT_TRUE(locks()) << receiver().verdict().text;

    // 28 x 1147 / 27 = 1189.5, made even: 1190 - 1024 in the high band.
    tuner_write(0x10, 0x00);
    tuner_write(0x10, 0x01);
    tuner_write(0x01, 0x00);
    tuner_write(0x02, 0xA6);
    EXPECT_THAT(receiver().verdict(), HasReason(Reason::tuner_pll));
    EXPECT_THAT(receiver().verdict().text, testing::HasSubstr("came up in the low band"));
}

// A result of 0 stored for 23 tells the filter to be (151/197)^2 of its width: 10 of 17 MHz, of
// which a carrier of 22 Msym/s needs 14.9.
TEST_F(ReceiverTest, type_2_filter_is_as_wide_as_its_stored_result_says) {
    start();
    tune(demo_transponder(10'800));
    EXPECT_TRUE(locks());
    const double cn_db = receiver().verdict().cn_db;

    tuner_write(0x25, 0x80);

    EXPECT_LT(receiver().verdict().cn_db, cn_db - 1);
}

}  // namespace tests
