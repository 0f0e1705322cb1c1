// SPDX-License-Identifier: MIT
#include "ds3000/chip/ds3000_context.h"
#include "ds3000/demod/signal_quality.h"
#include "ds3000/hw/hdi.h"
#include "tests/sim/receiver_test.h"

namespace tests {

using broadcast::Polarisation;

class Outdoor : public ReceiverTest {
 protected:
    static broadcast::Transponder carrier(std::uint32_t mhz, Polarisation polarisation) {
        broadcast::Transponder transponder = demo_transponder(10'800);
        transponder.frequency_khz = mhz * 1000;
        transponder.polarisation = polarisation;
        return transponder;
    }

    // Put a carrier of 22000 ksym/s DVB-S on the air and try to lock it at an IF.
    bool locks_at(std::uint32_t if_mhz, bool volts_18, bool tone_on = false) {
        supply(true, volts_18);
        tone(tone_on, volts_18);
        connect(if_mhz, 22'000, STANDARD_DVBS);
        return locks();
    }
};

TEST_F(Outdoor, gpio_lines_switch_the_supply) {
    start();
    EXPECT_EQ(receiver().supply_volts(), 0U);

    supply(true, false);
    EXPECT_EQ(receiver().supply_volts(), 13U);
    supply(true, true);
    EXPECT_EQ(receiver().supply_volts(), 18U);
    supply(false, true);
    EXPECT_EQ(receiver().supply_volts(), 0U);
}

TEST_F(Outdoor, supply_controller_decides_where_it_is_fitted) {
    scenario.board.lnbh23 = true;
    start();
    void *bus = ds3000_context.i2c_bus;

    hdi_set_gpio(bus, 7, 1);
    hdi_set_gpio(bus, 6, 1);
    EXPECT_EQ(receiver().supply_volts(), 0U);
    const std::uint8_t on_13 = 0x44;
    hdi_Write_i2c_port(bus, 0x14, &on_13, 1, HDI_COMPLETE);
    EXPECT_EQ(receiver().supply_volts(), 13U);
    const std::uint8_t on_18 = 0x4C;
    hdi_Write_i2c_port(bus, 0x14, &on_18, 1, HDI_COMPLETE);
    EXPECT_EQ(receiver().supply_volts(), 18U);
    hdi_set_gpio(bus, 6, 0);
    EXPECT_EQ(receiver().supply_volts(), 0U);
    EXPECT_FALSE(receiver().supply_is_off()) << "the controller is on";
    const std::uint8_t off = 0x00;
    hdi_Write_i2c_port(bus, 0x14, &off, 1, HDI_COMPLETE);
    EXPECT_TRUE(receiver().supply_is_off());
}

TEST_F(Outdoor, driver_finds_and_drives_the_supply_controller) {
    scenario.board.lnbh23 = true;
    start();

    for (const broadcast::Transponder &transponder : demo_satellite().transponders) {
        tune(transponder);
        EXPECT_TRUE(locks()) << receiver().verdict().text;
    }
}

TEST_F(Outdoor, circular_polarisation_follows_the_voltage) {
    scenario.lnb = *sim::lnb_named("dbs");
    scenario.satellites = {
        {"dbs", {carrier(12'300, Polarisation::right), carrier(12'500, Polarisation::left)}}};
    start();

    EXPECT_TRUE(locks_at(1050, false));
    EXPECT_FALSE(locks_at(1050, true));
    EXPECT_TRUE(locks_at(1250, true));
}

TEST_F(Outdoor, oscillator_above_the_band_inverts_the_spectrum) {
    scenario.lnb = *sim::lnb_named("c-band");
    scenario.satellites = {{"c", {carrier(3'800, Polarisation::vertical)}}};
    start();

    EXPECT_TRUE(locks_at(1350, false));

    ds3000_signal_info info{};
    ds3000_get_signal_info(&info);
    EXPECT_EQ(info.inversion, 2U);
}

TEST_F(Outdoor, oscillator_above_the_band_drifts_the_other_way) {
    scenario.lnb = *sim::lnb_named("c-band");
    scenario.lnb.drift_khz = 1'000;
    scenario.satellites = {{"c", {carrier(3'800, Polarisation::vertical)}}};
    start();

    ASSERT_TRUE(locks_at(1350, false));

    EXPECT_NEAR(receiver().verdict().offset_khz, 1'000, 3);
}

TEST_F(Outdoor, stacked_lnb_has_both_polarisations_on_the_cable) {
    scenario.lnb = *sim::lnb_named("c-mult");
    scenario.satellites = {
        {"c", {carrier(3'800, Polarisation::vertical), carrier(3'900, Polarisation::horizontal)}}};
    start();

    for (const bool volts_18 : {false, true}) {
        EXPECT_TRUE(locks_at(1350, volts_18));
        EXPECT_TRUE(locks_at(1850, volts_18));
    }
}

TEST_F(Outdoor, lnb_without_a_second_oscillator_ignores_the_tone) {
    scenario.lnb = *sim::lnb_named("standard");
    scenario.satellites = {{"s", {carrier(11'200, Polarisation::vertical)}}};
    start();

    EXPECT_TRUE(locks_at(1200, false, false));
    EXPECT_TRUE(locks_at(1200, false, true));
}

TEST_F(Outdoor, lnb_that_ignores_the_tone_has_no_high_band) {
    scenario.lnb.ignores_tone = true;
    const broadcast::Transponder high = carrier(12'000, Polarisation::vertical);
    scenario.satellites = {{"s", {carrier(11'150, Polarisation::vertical), high}}};
    start();

    EXPECT_FALSE(receiver().reception(high).receivable());
    EXPECT_TRUE(locks_at(1400, false, false));
    EXPECT_TRUE(locks_at(1400, false, true));
    EXPECT_TRUE(receiver().tone());
}

TEST_F(Outdoor, lnb_can_be_replaced) {
    start();
    ASSERT_TRUE(locks_at(1050, true));

    receiver().set_lnb({"other", "", 9'650'000});

    EXPECT_FALSE(receiver().verdict().locked());
    EXPECT_TRUE(locks_at(1150, true));
}

TEST_F(Outdoor, dish_can_be_pointed_at_another_satellite) {
    start();
    ASSERT_TRUE(locks_at(1050, true));

    receiver().point_at({"other", {carrier(10'850, Polarisation::horizontal)}});

    EXPECT_FALSE(receiver().verdict().locked());
    EXPECT_TRUE(locks_at(1100, true));
}

}  // namespace tests
