// SPDX-License-Identifier: MIT

// What a dish sees, and what can be received of it whatever the driver does.

#include <algorithm>
#include <utility>
#include <vector>

#include "ds3000/chip/ds3000_context.h"
#include "sim/sky.h"
#include "tests/sim/receiver_test.h"

namespace tests {

using broadcast::CodeRate;
using broadcast::Modulation;
using broadcast::Polarisation;
using sim::Reception;
using testing::HasSubstr;

class Sky : public ReceiverTest {
 protected:
    static broadcast::Transponder row(std::uint32_t khz, std::uint32_t ksps,
                                      const char *source = "") {
        broadcast::Transponder transponder = demo_transponder(10'800);
        transponder.frequency_khz = khz;
        transponder.symbol_rate = ksps * 1000;
        transponder.source = source;
        return transponder;
    }

    // A carrier and, right beside it, one 8 dB stronger.
    static std::vector<broadcast::Transponder> touching() {
        broadcast::Transponder strong = row(10'820'000, 20'000);
        strong.level_dbm = -45 - 1.38 + 8;
        return {row(10'800'000, 20'000), strong};
    }

    Reception reception_of(std::vector<broadcast::Transponder> rows, std::size_t which) {
        receiver().point_at({"sky", rows});
        return receiver().reception(rows[which]);
    }
};

TEST_F(Sky, plain_carrier_can_be_received) {
    const Reception reception = reception_of({row(10'800'000, 22'000)}, 0);

    EXPECT_TRUE(reception.receivable()) << reception.text;
    EXPECT_EQ(reception.if_khz, 1'050'000U);
    // 17 dB of noise are 0.01995 of the carrier, the tuner's 10 dB over kTB at -46 dBm 0.00003,
    // phase noise of -80 dBc/Hz 0.00005, the tuner's offset 30 kHz of 22 MHz and 0.00025; its
    // filter takes less than 1 %, and 0.1 dB is left for what else passes it.
    EXPECT_NEAR(reception.cn_db, 16.53, 0.02);
    EXPECT_NEAR(reception.threshold_db, 6.9, 0.05);
}

// The C/N of the link budget is what the weakest carrier has.
TEST(SkySpread, makes_carriers_stronger_but_those_that_say_what_they_are) {
    std::vector<broadcast::Transponder> rows(30, demo_transponder(10'800));
    for (std::uint32_t i = 0; i < rows.size(); ++i) {
        rows[i].frequency_khz = 10'720'000 + i * 40'000;
    }
    rows.back().cn_db = 14;
    const sim::Sky sky({"sky", rows}, {17, -45, 60, 6, 1});
    auto carriers = sky.between(sim::Side::volts_18, 0, 20'000'000);

    EXPECT_EQ(carriers.back().cn_db, 14);
    carriers = carriers.first(carriers.size() - 1);
    const auto weaker = [](const sim::Carrier &a, const sim::Carrier &b) {
        return a.cn_db < b.cn_db;
    };
    const auto [weakest, strongest] = std::minmax_element(carriers.begin(), carriers.end(), weaker);
    EXPECT_GE(weakest->cn_db, 17);
    EXPECT_LT(weakest->cn_db, 18);
    EXPECT_GT(strongest->cn_db, 22);
    EXPECT_LE(strongest->cn_db, 23);
    EXPECT_NEAR(strongest->level_dbm - weakest->level_dbm, strongest->cn_db - weakest->cn_db, 1e-9);
}

TEST(SkySpread, follows_from_the_seed_and_the_carrier_alone) {
    const auto strengths = [](std::uint64_t seed, std::vector<broadcast::Transponder> rows) {
        const sim::Sky sky({"sky", std::move(rows)}, {17, -45, 60, 3, seed});
        const auto carriers = sky.between(sim::Side::volts_18, 0, 20'000'000);
        return std::pair(carriers.front().cn_db, carriers.back().level_dbm);
    };
    const broadcast::Transponder one = demo_transponder(10'800);
    const broadcast::Transponder two = demo_transponder(12'000);

    EXPECT_EQ(strengths(1, {one, two}), strengths(1, {two, one}));
    EXPECT_EQ(strengths(1, {one, two}).first, strengths(1, {one}).first);
    EXPECT_NE(strengths(1, {one, two}), strengths(2, {one, two}));
}

TEST_F(Sky, same_row_twice_is_the_same_carrier) {
    EXPECT_TRUE(reception_of({row(10'800'000, 22'000), row(10'800'000, 22'000)}, 1).receivable());
}

TEST_F(Sky, later_row_in_an_earlier_ones_place_is_not_on_the_air) {
    broadcast::Transponder other = row(10'801'000, 22'000, "t:9");
    other.system = broadcast::System::dvbs2;

    const Reception reception = reception_of({row(10'800'000, 22'000, "t:3"), other}, 1);

    EXPECT_EQ(reception.obstacle, Reception::Obstacle::not_on_the_air);
    EXPECT_EQ(reception.text, "not on the air: t:3 10800 H 22000 DVB-S QPSK 3/4 is");
}

TEST_F(Sky, narrow_row_within_a_wide_carrier_is_not_on_the_air) {
    EXPECT_FALSE(reception_of({row(10'800'000, 22'000), row(10'809'000, 1'000)}, 1).receivable());
    EXPECT_FALSE(reception_of({row(10'809'000, 1'000), row(10'800'000, 22'000)}, 1).receivable());
}

TEST_F(Sky, other_side_of_the_sky_is_not_in_the_way) {
    broadcast::Transponder other = row(10'800'000, 22'000);
    other.polarisation = Polarisation::vertical;

    EXPECT_TRUE(reception_of({row(10'800'000, 22'000), other}, 1).receivable());
}

// Two slopes of 35 % cross each other at half their height: the mean of the product of a raised
// cosine and its mirror image is 1/8, so 0.35 / 8 of the neighbour's power is let in, -13.6 dB.
TEST_F(Sky, neighbours_that_touch_leak_with_their_roll_off) {
    EXPECT_NEAR(reception_of({row(10'800'000, 20'000), row(10'820'000, 20'000)}, 0).cn_db, 11.73,
                0.02);
}

TEST_F(Sky, neighbours_a_roll_off_apart_do_not_disturb) {
    EXPECT_NEAR(reception_of({row(10'800'000, 20'000), row(10'827'000, 20'000)}, 0).cn_db, 16.5,
                0.05);
}

// The same carrier on the other polarisation: 1 - 0.35 / 4 of its power pass the receive filter.
TEST_F(Sky, other_polarisation_leaks_in) {
    broadcast::Transponder other = row(10'800'000, 20'000);
    other.polarisation = Polarisation::vertical;
    scenario.cross_polarisation_db = 15;

    EXPECT_NEAR(reception_of({row(10'800'000, 20'000), other}, 0).cn_db, 12.85, 0.02);
}

TEST_F(Sky, neighbour_that_reaches_in_leaves_less_carrier_over_noise) {
    // 8 dB stronger: C/I 5.6 dB, with 17 dB of noise 5.3 dB.
    const Reception reception = reception_of(touching(), 0);

    EXPECT_NEAR(reception.cn_db, 5.16, 0.02);
    EXPECT_EQ(reception.obstacle, Reception::Obstacle::overlapped);
    EXPECT_THAT(reception.text, HasSubstr("overlapped by 10820 H"));
}

TEST_F(Sky, driver_fails_on_what_cannot_be_received) {
    const std::vector<broadcast::Transponder> rows = touching();
    start();
    receiver().point_at({"sky", rows});

    tune(rows[0]);

    EXPECT_FALSE(locks());
    EXPECT_THAT(receiver().verdict(), HasReason(sim::Reason::cn_below_threshold));
}

TEST_F(Sky, carriers_outside_the_lnbs_band_are_out_of_reach) {
    EXPECT_EQ(reception_of({row(10'699'999, 22'000)}, 0).obstacle, Reception::Obstacle::lnb_range);
    EXPECT_TRUE(reception_of({row(10'700'000, 22'000)}, 0).receivable());
    EXPECT_TRUE(reception_of({row(12'750'000, 22'000)}, 0).receivable());
    EXPECT_EQ(reception_of({row(12'750'001, 22'000)}, 0).obstacle, Reception::Obstacle::lnb_range);
}

TEST_F(Sky, band_switches_at_the_lnbs_switch_frequency) {
    EXPECT_EQ(reception_of({row(11'699'999, 22'000)}, 0).if_khz, 1'949'999U);
    EXPECT_EQ(reception_of({row(11'700'000, 22'000)}, 0).if_khz, 1'100'000U);
}

TEST_F(Sky, symbol_rates_have_the_chips_limits) {
    EXPECT_EQ(reception_of({row(10'800'000, 999)}, 0).obstacle, Reception::Obstacle::symbol_rate);
    EXPECT_TRUE(reception_of({row(10'800'000, 1'000)}, 0).receivable());
    EXPECT_TRUE(reception_of({row(10'800'000, 45'000)}, 0).receivable());
    EXPECT_EQ(reception_of({row(10'800'000, 45'001)}, 0).obstacle,
              Reception::Obstacle::symbol_rate);
}

TEST_F(Sky, carrier_below_its_threshold_cannot_be_received) {
    broadcast::Transponder weak = row(10'800'000, 22'000);
    weak.cn_db = 6.8;

    const Reception reception = reception_of({weak}, 0);

    EXPECT_EQ(reception.obstacle, Reception::Obstacle::cn);
    EXPECT_EQ(reception.text, "C/N 6.6 dB below the threshold 6.9 dB of QPSK 3/4");
}

TEST_F(Sky, rows_that_no_standard_knows_are_told_apart) {
    broadcast::Transponder psk8 = row(10'800'000, 22'000);
    psk8.modulation = Modulation::psk8;
    psk8.code_rate = CodeRate::r2_3;

    EXPECT_EQ(reception_of({psk8}, 0).obstacle, Reception::Obstacle::invalid);
    EXPECT_EQ(reception_of({psk8}, 0).text, "DVB-S has no 8PSK 2/3");
    EXPECT_EQ(reception_of({row(10'800'000, 201'500)}, 0).obstacle, Reception::Obstacle::invalid);
    EXPECT_EQ(reception_of({row(10'800'000, 0)}, 0).obstacle, Reception::Obstacle::invalid);
}

TEST_F(Sky, impossible_row_is_in_nobodys_way) {
    EXPECT_TRUE(reception_of({row(10'790'000, 201'500), row(10'800'000, 22'000)}, 1).receivable());
}

TEST_F(Sky, drift_beyond_the_capture_range_cannot_be_received) {
    scenario.lnb.drift_khz = -5'001;

    EXPECT_EQ(reception_of({row(10'800'000, 22'000)}, 0).obstacle, Reception::Obstacle::lnb_drift);
}

TEST_F(Sky, row_of_another_satellite_is_not_on_the_air) {
    receiver().point_at({"sky", {row(10'800'000, 22'000)}});

    EXPECT_EQ(receiver().reception(row(11'000'000, 22'000)).obstacle,
              Reception::Obstacle::not_on_the_air);
}

TEST_F(Sky, rate_that_a_table_leaves_open_is_the_usual_one) {
    broadcast::Transponder open = row(10'800'000, 22'000);
    open.code_rate.reset();

    EXPECT_NEAR(reception_of({open}, 0).threshold_db, 6.9, 0.05);
    EXPECT_EQ(broadcast::usual_code_rate(broadcast::System::dvbs2, Modulation::psk8),
              CodeRate::r2_3);
}

TEST_F(Sky, narrow_carriers_are_weaker_at_the_same_power_density) {
    start();
    receiver().point_at({"sky", {row(10'800'000, 27'500), row(11'000'000, 2'750)}});
    std::vector<int> agc;
    for (const auto &transponder : {row(10'800'000, 27'500), row(11'000'000, 2'750)}) {
        tune(transponder);
        EXPECT_TRUE(locks());
        agc.push_back(peek(0x3F));
    }

    EXPECT_NE(agc[0], agc[1]);
}

}  // namespace tests
