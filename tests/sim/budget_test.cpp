// SPDX-License-Identifier: MIT

// What each impairment takes of a carrier, and that it decides over reception.

#include "sim/budget.h"

#include "broadcast/modcod.h"
#include "ds3000/chip/ds3000_context.h"
#include "ds3000/tuner/ts2022.h"
#include "tests/sim/receiver_test.h"

namespace tests {

using broadcast::Modulation;
using broadcast::System;
using sim::Impairment;
using sim::Reason;
using testing::DoubleNear;
using testing::HasSubstr;

namespace {

// A carrier of 27.5 Msym/s at -45 dBm with 17 dB of C/N.
sim::Carrier carrier_of(double ksps = 27'500) {
    sim::Carrier carrier;
    carrier.transponder.symbol_rate = static_cast<std::uint32_t>(ksps * 1000);
    carrier.half_width_khz = ksps / 2;
    carrier.cn_db = 17;
    carrier.level_dbm = -45;
    return carrier;
}

double db_of(const sim::Carrier &carrier, const sim::Standing &standing, Impairment impairment) {
    return broadcast::to_db(budget_of(carrier, {}, standing).power(impairment));
}

double cn_of(const sim::Carrier &carrier, const sim::Standing &standing) {
    return budget_of(carrier, {}, standing).cn_db();
}

sim::Standing standing_of(const sim::Carrier &carrier) { return best_standing_of(carrier); }

}  // namespace

TEST(Budget, thermal_noise_counts_against_the_level) {
    sim::Carrier carrier = carrier_of();

    // kTB in 27.5 MHz is -99.6 dBm, and 10 dB of noise figure.
    EXPECT_THAT(db_of(carrier, standing_of(carrier), Impairment::tuner_noise),
                DoubleNear(-89.6 + 45, 0.01));
    carrier.level_dbm = -85;
    EXPECT_THAT(db_of(carrier, standing_of(carrier), Impairment::tuner_noise),
                DoubleNear(-89.6 + 85, 0.01));
}

TEST(Budget, fade_raises_both_noises_over_the_carrier) {
    const sim::Carrier carrier = carrier_of();
    sim::Standing standing = standing_of(carrier);
    standing.fade_db = 6;

    EXPECT_THAT(db_of(carrier, standing, Impairment::lnb_noise), DoubleNear(-11, 0.01));
    EXPECT_THAT(db_of(carrier, standing, Impairment::tuner_noise), DoubleNear(-89.6 + 51, 0.01));
}

TEST(Budget, more_noise_from_the_lnb_leaves_the_tuners_as_it_is) {
    const sim::Carrier carrier = carrier_of();
    sim::Standing standing = standing_of(carrier);
    standing.noise_db = 6;

    EXPECT_THAT(db_of(carrier, standing, Impairment::lnb_noise), DoubleNear(-11, 0.01));
    EXPECT_THAT(db_of(carrier, standing, Impairment::tuner_noise), DoubleNear(-89.6 + 45, 0.01));
}

TEST(Budget, both_standards_lose_the_same_against_ideal_thresholds) {
    sim::Carrier dvbs = carrier_of();
    sim::Carrier dvbs2 = dvbs;
    dvbs2.transponder.system = System::dvbs2;

    // The thresholds of EN 300 421 contain the 0.8 dB.
    EXPECT_THAT(cn_of(dvbs, standing_of(dvbs)) - cn_of(dvbs2, standing_of(dvbs2)),
                DoubleNear(0.8, 0.001));
}

TEST(Budget, filter_of_the_right_width_costs_nothing) {
    const sim::Carrier carrier = carrier_of();
    sim::Standing standing = standing_of(carrier);
    standing.distance_khz = 960;      // half a step of the divider
    standing.bandwidth_khz = 20'562;  // 0.675 x 27500 + 2000

    EXPECT_LT(db_of(carrier, standing, Impairment::filter), -30);
    EXPECT_LT(budget_of(carrier, {}, standing).filter_loss_db, 0.15);
}

// At half the symbol rate's width the filter takes half the power at the carrier's edges.
TEST(Budget, filter_too_narrow_costs_by_degrees) {
    const sim::Carrier carrier = carrier_of();
    sim::Standing standing = standing_of(carrier);
    double last = cn_of(carrier, standing);
    for (const double khz : {13'750.0, 11'000.0, 8'000.0, 5'000.0}) {
        standing.bandwidth_khz = khz;
        EXPECT_LT(cn_of(carrier, standing), last - 0.5) << khz;
        last = cn_of(carrier, standing);
    }
    EXPECT_LT(last, 3);
}

// A filter four times as wide lets four times as many neighbours at the receive filter's stop band.
TEST(Budget, neighbours_in_the_passband_press_through_the_stop_band) {
    const sim::Carrier carrier = carrier_of(1'000);
    sim::Standing standing = standing_of(carrier);
    standing.total_dbm = -45 + 30;

    EXPECT_THAT(db_of(carrier, standing, Impairment::passband), DoubleNear(30 - 36, 0.01));
    EXPECT_LT(cn_of(carrier, standing), 6);
}

TEST(Budget, filter_beyond_half_the_sampling_rate_lets_aliases_in) {
    const sim::Carrier carrier = carrier_of();
    sim::Standing standing = standing_of(carrier);

    EXPECT_LT(db_of(carrier, standing, Impairment::aliases), -60);
    standing.bandwidth_khz = 96'000;  // half of the power there
    EXPECT_THAT(db_of(carrier, standing, Impairment::aliases), DoubleNear(-3, 0.02));
}

TEST(Budget, saturation_grows_twice_as_fast_as_the_level) {
    const sim::Carrier carrier = carrier_of();
    sim::Standing standing = standing_of(carrier);
    standing.total_dbm = -5;
    EXPECT_THAT(db_of(carrier, standing, Impairment::saturation), DoubleNear(-20, 0.01));
    standing.total_dbm = 0;
    EXPECT_THAT(db_of(carrier, standing, Impairment::saturation), DoubleNear(-10, 0.01));
}

// 30 kHz of 1 MHz, where a wide carrier does not feel it.
TEST(Budget, offset_voltage_disturbs_narrow_carriers_in_the_middle) {
    const sim::Carrier narrow = carrier_of(1'000);
    sim::Standing middle = standing_of(narrow);
    const double beside_db = cn_of(narrow, middle);
    middle.distance_khz = 0;

    EXPECT_THAT(db_of(narrow, middle, Impairment::offset_voltage), DoubleNear(-15.2, 0.1));
    EXPECT_LT(cn_of(narrow, middle), beside_db - 1.5);
    EXPECT_LT(db_of(carrier_of(), standing_of(carrier_of()), Impairment::offset_voltage), -28);
}

// Both sidebands from 2 kHz on of -80 dBc/Hz at 10 kHz: 2 x 1e-8 x 1e8 / 2000.
TEST(Budget, phase_noise_disturbs_slow_carriers_of_high_order) {
    sim::Carrier carrier = carrier_of(1'000);
    EXPECT_THAT(db_of(carrier, standing_of(carrier), Impairment::phase_noise),
                DoubleNear(-30, 0.01));
    carrier.transponder.modulation = Modulation::apsk32;
    EXPECT_THAT(db_of(carrier, standing_of(carrier), Impairment::phase_noise),
                DoubleNear(-23, 0.02));
    EXPECT_LT(db_of(carrier_of(), standing_of(carrier_of()), Impairment::phase_noise), -44);
}

TEST(Budget, loops_lose_towards_the_ends_of_what_they_pull_in) {
    const sim::Carrier carrier = carrier_of();
    const sim::Standing best = standing_of(carrier);
    sim::Standing standing = best;
    standing.carrier_error = 0.2;
    EXPECT_THAT(cn_of(carrier, best) - cn_of(carrier, standing), DoubleNear(0, 0.01));
    standing.carrier_error = -1;
    EXPECT_THAT(cn_of(carrier, best) - cn_of(carrier, standing), DoubleNear(3, 0.01));
    standing.carrier_error = 0;
    standing.rate_error = 1;
    EXPECT_THAT(cn_of(carrier, best) - cn_of(carrier, standing), DoubleNear(2, 0.01));
}

// The same through the driver: each with what is right beside it.
class BudgetOf : public ReceiverTest {
 protected:
    bool locks_at(const broadcast::Transponder &transponder) {
        receiver().point_at({"one", {transponder}});
        tune(transponder);
        return locks();
    }
};

TEST_F(BudgetOf, a_level_near_the_tuners_noise_does_not_lock) {
    start();
    broadcast::Transponder transponder = demo_transponder(10'800);
    transponder.level_dbm = -75;
    EXPECT_TRUE(locks_at(transponder));
    transponder.level_dbm = -100;
    EXPECT_FALSE(locks_at(transponder));

    EXPECT_THAT(receiver().verdict(), HasReason(Reason::cn_below_threshold));
    EXPECT_THAT(receiver().verdict().text, HasSubstr("for the tuner's noise"));
}

TEST_F(BudgetOf, a_better_tuner_hears_more) {
    scenario.front_end.noise_figure_db = 2;
    start();
    broadcast::Transponder transponder = demo_transponder(10'800);
    transponder.level_dbm = -86;  // kTB in 22 MHz is -100.6 dBm

    EXPECT_TRUE(locks_at(transponder));
}

TEST_F(BudgetOf, a_level_that_saturates_the_tuner_does_not_lock) {
    start();
    broadcast::Transponder transponder = demo_transponder(10'800);
    transponder.level_dbm = -10;
    EXPECT_TRUE(locks_at(transponder));
    transponder.level_dbm = 0;
    scenario.front_end.intercept_dbm = 5;
    EXPECT_TRUE(locks_at(transponder));
    transponder.level_dbm = 4;
    EXPECT_FALSE(locks_at(transponder));

    EXPECT_THAT(receiver().verdict().text, HasSubstr("for a saturated tuner"));
}

// 1 Msym/s with its neighbour's edge 2 MHz away.
TEST_F(BudgetOf, a_neighbour_thirty_decibels_denser_takes_the_lock) {
    start();
    broadcast::Transponder narrow = demo_transponder(10'800);
    narrow.symbol_rate = 1'000'000;
    broadcast::Transponder wide = demo_transponder(10'800);
    wide.frequency_khz += 15'000;
    receiver().point_at({"two", {narrow, wide}});
    tune(narrow);
    EXPECT_TRUE(locks());

    wide.level_dbm = -46 + 30;
    receiver().point_at({"two", {narrow, wide}});
    tune(narrow);

    EXPECT_FALSE(locks());
    EXPECT_THAT(receiver().verdict().text, HasSubstr("for what else the tuner's filter passes"));
}

// 0.3 dB to spare with the right filter.
TEST_F(BudgetOf, a_filter_at_the_nyquist_edge_takes_a_marginal_lock) {
    scenario.cn_db = 7.5;
    start();
    const broadcast::Transponder transponder = demo_transponder(10'800);
    ASSERT_TRUE(locks_at(transponder));

    // 0.675 x 13000 + 2000 are 10.8 MHz for a carrier that ends at 11.
    ts2022_set_frequency(1'050'000, 13'000, 0);

    EXPECT_FALSE(locks());
    EXPECT_THAT(receiver().verdict(), HasReason(Reason::filter_too_narrow));
}

TEST_F(BudgetOf, a_narrow_carrier_in_the_middle_of_the_passband_loses_a_marginal_lock) {
    scenario.cn_db = 6.2;  // QPSK 2/3 needs 5.9
    start();
    broadcast::Transponder transponder = demo_transponder(11'300);
    transponder.symbol_rate = 1'000'000;
    transponder.frequency_khz = 11'300'571;  // 1608 steps of 964.3 kHz
    ASSERT_TRUE(locks_at(transponder)) << receiver().verdict().text;

    // The tuner without the shift, and the carrier expected where the tuner stands.
    ts2022_set_frequency(1'550'000, 1'000, 0);
    poke(0xB2, 0x01);
    poke(0x5F, 0x00);
    poke(0x5E, 0x00);
    sleep_ms(1);
    poke(0xB2, 0x00);

    EXPECT_FALSE(locks());
    EXPECT_THAT(receiver().verdict(), HasReason(Reason::cn_below_threshold));
}

// 8PSK 2/3 needs 6.62 dB and 0.8. At 1 Msym/s the oscillators bring it from 9 dB to 6.0.
TEST_F(BudgetOf, noisy_oscillators_take_a_slow_carrier_and_leave_a_fast_one) {
    scenario.cn_db = 9;
    scenario.front_end.phase_noise_dbc_hz = -62;
    start();
    broadcast::Transponder transponder = demo_transponder(10'900);
    EXPECT_TRUE(locks_at(transponder));
    transponder.symbol_rate = 1'000'000;

    EXPECT_FALSE(locks_at(transponder));
    EXPECT_THAT(receiver().verdict(), HasReason(Reason::cn_below_threshold));
}

TEST_F(BudgetOf, a_symbol_rate_almost_right_loses_a_marginal_lock) {
    scenario.cn_db = 7.5;
    start();
    const broadcast::Transponder transponder = demo_transponder(10'800);
    ASSERT_TRUE(locks_at(transponder));

    connect(1'050, 22'180, STANDARD_DVBS);  // 0.8 %, within the loop's 1 %

    EXPECT_FALSE(locks());
    EXPECT_THAT(receiver().verdict(), HasReason(Reason::cn_below_threshold));
}

}  // namespace tests
