// SPDX-License-Identifier: MIT

// Scenario faults but those of the bus, and events, and how the driver fares with them.

#include <unistd.h>

#include "ds3000/chip/ds3000_context.h"
#include "ds3000/demod/lock.h"
#include "ds3000/demod/power.h"
#include "ds3000/hw/register_access.h"
#include "ds3000/tuner/ts2022.h"
#include "tests/sim/receiver_test.h"

namespace tests {

using sim::Event;
using sim::Fault;
using sim::Reason;

class Faults : public ReceiverTest {
 protected:
    void sleep_until_ms(std::uint32_t at_ms) {
        sleep_ms(at_ms - static_cast<std::uint32_t>(clock().now_ns() / 1'000'000));
    }

    double cn_db_of_a_diverged_equaliser() {
        scenario.faults = {{.kind = Fault::Kind::equaliser_divergence}};
        start();
        tune(demo_transponder(11'100));
        sleep_ms(200);
        return receiver().verdict().cn_db;
    }
};

TEST_F(Faults, wrong_identity_is_an_unknown_chip) {
    scenario.faults = {{.kind = Fault::Kind::wrong_identity, .reg = 0x02, .value = 0x01}};
    receiver();
    ds3000_context.i2c_bus = receiver().open_bus();
    ds3000_wake();

    EXPECT_EQ(ds3000_init(), -6);
}

TEST_F(Faults, calibrations_that_fail_once_are_repeated_by_the_driver) {
    scenario.faults = {{.kind = Fault::Kind::vco_calibration},
                       {.kind = Fault::Kind::lo_calibration},
                       {.kind = Fault::Kind::filter_calibration},
                       {.kind = Fault::Kind::agc_start}};
    start();

    tune(demo_transponder(11'100));

    EXPECT_TRUE(locks()) << receiver().verdict().text;
}

struct Calibration {
    Fault::Kind kind;
    Reason reason;
};

class FailingCalibration : public ReceiverTest, public testing::WithParamInterface<Calibration> {};

TEST_P(FailingCalibration, keeps_the_tuner_from_working) {
    scenario.faults = {{.kind = GetParam().kind, .count = 100}};
    start();

    tune(demo_transponder(11'100));

    EXPECT_FALSE(locks());
    EXPECT_THAT(receiver().verdict(), HasReason(GetParam().reason));
}

INSTANTIATE_TEST_SUITE_P(
    calibrations, FailingCalibration,
    testing::Values(Calibration{Fault::Kind::vco_calibration, Reason::tuner_pll},
                    Calibration{Fault::Kind::lo_calibration, Reason::tuner_pll},
                    Calibration{Fault::Kind::filter_calibration, Reason::tuner_filter},
                    Calibration{Fault::Kind::agc_start, Reason::tuner_agc}));

TEST_F(Faults, brown_out_takes_the_firmware_and_the_power) {
    scenario.events = {{.kind = Event::Kind::brown_out, .period = {.from_ms = 2'000}}};
    start();
    tune(demo_transponder(11'100));
    ASSERT_TRUE(locks());

    sleep_ms(2'000);

    EXPECT_THAT(receiver().verdict(), HasReason(Reason::demodulator_off));
    ds3000_wake();
    EXPECT_THAT(receiver().verdict(), HasReason(Reason::firmware_not_running));
}

TEST_F(Faults, rain_takes_the_lock) {
    scenario.cn_db = 10;
    scenario.events = {
        {.kind = Event::Kind::rain_fade, .period = {.from_ms = 3'000, .to_ms = 6'000}, .db = 8}};
    start();
    tune(demo_transponder(11'100));
    ASSERT_TRUE(locks());

    sleep_ms(3'000);
    EXPECT_NE(poll(), LOCK_LOCKED);
    EXPECT_THAT(receiver().verdict(), HasReason(Reason::cn_below_threshold));
    EXPECT_NEAR(receiver().verdict().cn_db, 2 - 0.8, 0.05);
}

TEST_F(Faults, light_rain_lowers_the_quality_only) {
    scenario.events = {{.kind = Event::Kind::rain_fade, .period = {.from_ms = 3'000}, .db = 4}};
    start();
    tune(demo_transponder(11'100));
    ASSERT_TRUE(locks());
    EXPECT_NEAR(receiver().verdict().cn_db, 17 - 0.8, 0.4);

    sleep_ms(3'000);

    EXPECT_EQ(poll(), LOCK_LOCKED);
    EXPECT_NEAR(receiver().verdict().cn_db, 13 - 0.8, 0.2);
}

// The bell is (1 - x²)²: a quarter of the way into the period, and three quarters, 0.5625. Noise of
// four times there in the middle, 6.02 dB more, is 1 + 3 × 0.5625 there, 4.29 dB.
TEST_F(Faults, sun_behind_the_satellite_takes_quality_gradually_and_gives_it_back) {
    scenario.events = {{.kind = Event::Kind::sun_outage,
                        .period = {.from_ms = 60'000, .to_ms = 660'000},
                        .db = 6.0206}};
    scenario.level_spread_db = 0;
    start();
    tune(demo_transponder(11'100));
    ASSERT_TRUE(locks());
    const double before = receiver().verdict().cn_db;

    sleep_until_ms(60'000);
    EXPECT_NEAR(receiver().verdict().cn_db, before, 0.05);
    sleep_until_ms(210'000);
    EXPECT_NEAR(receiver().verdict().cn_db, 17 - 0.8 - 4.29, 0.15);
    sleep_until_ms(360'000);
    EXPECT_NEAR(receiver().verdict().cn_db, 17 - 0.8 - 6.02, 0.15);
    sleep_until_ms(510'000);
    EXPECT_NEAR(receiver().verdict().cn_db, 17 - 0.8 - 4.29, 0.15);
    sleep_until_ms(660'000);
    EXPECT_EQ(receiver().verdict().cn_db, before);
    EXPECT_EQ(poll(), LOCK_LOCKED);
}

// Unlike rain, which takes from both.
TEST_F(Faults, sun_behind_the_satellite_takes_the_lock_and_raises_the_level) {
    scenario.events = {
        {.kind = Event::Kind::sun_outage, .period = {.from_ms = 3'000, .to_ms = 9'000}, .db = 15}};
    start();
    tune(demo_transponder(11'100));
    ASSERT_TRUE(locks());
    const double gain_before = receiver().gain_centidb();

    sleep_until_ms(6'000);

    EXPECT_NE(poll(), LOCK_LOCKED);
    EXPECT_THAT(receiver().verdict(), HasReason(Reason::cn_below_threshold));
    EXPECT_LT(receiver().gain_centidb(), gain_before - 100);
}

TEST_F(Faults, drifting_lnb_moves_the_carrier_under_a_lock) {
    scenario.events = {{.kind = Event::Kind::lnb_drift, .period = {.from_ms = 3'000}, .khz = 700}};
    start();
    tune(demo_transponder(11'100));
    ASSERT_TRUE(locks());

    sleep_ms(3'000);

    EXPECT_EQ(poll(), LOCK_LOCKED);
    EXPECT_NEAR(receiver().verdict().offset_khz, -700, 3);
}

TEST_F(Faults, pulled_cable_takes_the_lock) {
    scenario.events = {
        {.kind = Event::Kind::cable_pulled, .period = {.from_ms = 3'000, .to_ms = 3'800}}};
    start();
    tune(demo_transponder(11'100));
    ASSERT_TRUE(locks());

    sleep_ms(3'000);
    EXPECT_NE(poll(), LOCK_LOCKED);
    EXPECT_THAT(receiver().verdict(), HasReason(Reason::cable_pulled));
    sleep_ms(800);

    EXPECT_TRUE(locks());
}

TEST_F(Faults, dead_supply_gives_no_voltage) {
    scenario.faults = {{.kind = Fault::Kind::dead_supply}};
    start();
    tune(demo_transponder(11'100));

    EXPECT_FALSE(locks());
    EXPECT_EQ(receiver().supply_volts(), 0U);
    EXPECT_THAT(receiver().verdict(), HasReason(Reason::no_supply));
}

TEST_F(Faults, foreign_message_moves_the_switch_while_it_is_supplied) {
    scenario.satellites = {{"empty", {}}, demo_satellite()};
    scenario.diseqc_switch = sim::Switch{{0, 1}, false};
    const std::vector<std::uint8_t> port_2{0xE0, 0x10, 0x38, 0xF4};
    scenario.events = {
        {.kind = Event::Kind::foreign_message, .period = {.from_ms = 500}, .bytes = port_2},
        {.kind = Event::Kind::foreign_message, .period = {.from_ms = 2'000}, .bytes = port_2}};
    receiver();
    sleep_ms(1'000);
    supply(true, false);
    EXPECT_EQ(receiver().switch_port(), 1U);

    sleep_ms(1'000);

    EXPECT_EQ(receiver().switch_port(), 2U);
    EXPECT_THAT(receiver().diseqc_messages(), testing::IsEmpty());
}

TEST_F(Faults, diverged_equaliser_is_restarted_by_the_driver) {
    const double astray_db = cn_db_of_a_diverged_equaliser();

    ASSERT_TRUE(locks());

    EXPECT_EQ(ds3000_context.s2_recovery_done, 1);
    EXPECT_NEAR(receiver().verdict().cn_db, astray_db + 1.5 - 0.2, 0.01);
}

TEST_F(Faults, equaliser_is_not_restarted_by_too_short_a_reset_of_the_core) {
    const double astray_db = cn_db_of_a_diverged_equaliser();
    const auto reset_core_for = [this](useconds_t us) {
        poke(0xB2, 0x01);
        poke(0x00, 0x01);
        usleep(us);
        poke(0x00, 0x00);
        poke(0xB2, 0x00);
        sleep_ms(200);
        return receiver().verdict().cn_db;
    };
    poke(0xBD, 0x03);

    EXPECT_NEAR(reset_core_for(700), astray_db, 0.01);
    EXPECT_NEAR(reset_core_for(1'000), astray_db + 1.5 - 0.2, 0.01);
}

TEST_F(Faults, sound_equaliser_is_left_alone) {
    start();
    tune(demo_transponder(11'100));
    sleep_ms(200);

    ASSERT_TRUE(locks());

    EXPECT_EQ(ds3000_context.s2_recovery_done, 0);
}

TEST_F(Faults, brown_out_switches_the_supply_controller_and_the_tone_off) {
    scenario.board.lnbh23 = true;
    scenario.events = {{.kind = Event::Kind::brown_out, .period = {.from_ms = 2'000}}};
    start();
    supply(true, true);
    tone(true, true);
    ASSERT_EQ(receiver().supply_volts(), 18U);
    ASSERT_TRUE(receiver().tone());

    sleep_ms(2'000);

    EXPECT_EQ(receiver().supply_volts(), 0U);
    EXPECT_FALSE(receiver().tone());
}

}  // namespace tests
