// SPDX-License-Identifier: MIT

// The picture of what is on the cable: the same world that the driver meets, in decibels.

#include <cmath>
#include <optional>
#include <vector>

#include "ds3000/chip/ds3000_context.h"
#include "ds3000/scan/blind_scan.h"
#include "ds3000/scan/scan_control.h"
#include "ds3000/tuner/ts2022.h"
#include "tests/sim/receiver_test.h"

namespace tests {

using broadcast::Polarisation;
using sim::Event;
using testing::Each;

namespace {

// What a density so many decibels over the noise shows, the noise being there too.
double with_noise_db(double db) { return 10 * std::log10(1 + std::pow(10, db / 10)); }

broadcast::Transponder carrier(std::uint32_t mhz, Polarisation polarisation) {
    broadcast::Transponder transponder = demo_transponder(10'800);
    transponder.frequency_khz = mhz * 1000;
    transponder.polarisation = polarisation;
    return transponder;
}

}  // namespace

class CableSpectrum : public ReceiverTest {
 protected:
    static constexpr double cn_db = 17;
    static constexpr double leaked_db = cn_db - 25;

    void select(bool volts_18, bool tone_on) {
        start();
        supply(true, volts_18);
        tone(tone_on, volts_18);
    }

    double level_db(double khz) {
        const std::vector<double> levels = receiver().cable_spectrum_db(khz, khz, 1);
        EXPECT_EQ(levels.size(), 1U);
        return levels.at(0);
    }
};

TEST_F(CableSpectrum, has_a_level_at_every_step_from_end_to_end) {
    select(false, false);

    const auto count = [this](double low_khz, double high_khz, double step_khz) {
        return receiver().cable_spectrum_db(low_khz, high_khz, step_khz).size();
    };
    EXPECT_EQ(count(950'000, 2'150'000, 100), 12'001U);
    EXPECT_EQ(count(950'000, 950'999, 500), 2U);
    EXPECT_EQ(count(950'000, 950'000.3, 0.1), 4U);
    EXPECT_EQ(count(950'000, 950'000, 500), 1U);
    EXPECT_EQ(count(950'000, 949'999, 500), 0U);
    EXPECT_EQ(count(950'000, 951'000, 0), 0U);
    EXPECT_EQ(count(950'000, 951'000, -1), 0U);
    EXPECT_EQ(count(950'000, 951'000, std::nan("")), 0U);
}

TEST_F(CableSpectrum, is_noise_alone_without_a_supply) {
    start();

    EXPECT_THAT(receiver().cable_spectrum_db(950'000, 2'150'000, 1'000), Each(0.0));
}

TEST_F(CableSpectrum, shows_carriers_their_cn_over_the_noise_and_the_other_side_lower) {
    select(false, false);

    EXPECT_NEAR(level_db(1'150'000), with_noise_db(cn_db), 1e-9);
    EXPECT_NEAR(level_db(1'050'000), with_noise_db(leaked_db), 1e-9);
    EXPECT_NEAR(level_db(1'250'000), 0, 1e-9);
}

TEST_F(CableSpectrum, leakage_is_as_strong_as_the_scenario_says) {
    scenario.cross_polarisation_db = 10;
    select(false, false);

    EXPECT_NEAR(level_db(1'050'000), with_noise_db(cn_db - 10), 1e-9);
}

TEST_F(CableSpectrum, carrier_is_a_raised_cosine_of_its_roll_off) {
    broadcast::Transponder narrower = demo_transponder(11'100);
    narrower.roll_off = broadcast::RollOff::r20;
    scenario.satellites = {{"two", {demo_transponder(10'900), narrower}}};
    select(false, false);

    const double half_db = with_noise_db(cn_db + 10 * std::log10(0.5));
    for (const double side : {-1.0, 1.0}) {
        EXPECT_NEAR(level_db(1'150'000 + side * 7'150), with_noise_db(cn_db), 1e-9);
        EXPECT_NEAR(level_db(1'150'000 + side * 11'000), half_db, 1e-9);
        EXPECT_GT(level_db(1'150'000 + side * 14'800), 0);
        EXPECT_NEAR(level_db(1'150'000 + side * 14'850), 0, 1e-9);

        EXPECT_NEAR(level_db(1'350'000 + side * 11'000), with_noise_db(cn_db), 1e-9);
        EXPECT_NEAR(level_db(1'350'000 + side * 13'750), half_db, 1e-9);
        EXPECT_NEAR(level_db(1'350'000 + side * 16'500), 0, 1e-9);
    }
}

TEST_F(CableSpectrum, carrier_beyond_the_ends_reaches_in) {
    select(false, false);

    const std::vector<double> levels = receiver().cable_spectrum_db(1'164'000, 1'200'000, 500);

    EXPECT_NEAR(levels.front(), level_db(1'164'000), 1e-9);
    EXPECT_GT(levels.front(), 1);
}

TEST_F(CableSpectrum, follows_supply_and_tone) {
    select(true, true);
    EXPECT_NEAR(level_db(1'400'000), with_noise_db(cn_db), 1e-9);
    EXPECT_NEAR(level_db(1'600'000), with_noise_db(leaked_db), 1e-9);

    supply(true, false);
    EXPECT_NEAR(level_db(1'400'000), with_noise_db(leaked_db), 1e-9);
    EXPECT_NEAR(level_db(1'600'000), with_noise_db(cn_db), 1e-9);

    tone(false, false);
    EXPECT_NEAR(level_db(1'150'000), with_noise_db(cn_db), 1e-9);
    EXPECT_NEAR(level_db(1'600'000), 0, 1e-9);

    supply(false, false);
    EXPECT_NEAR(level_db(1'150'000), 0, 1e-9);
}

TEST_F(CableSpectrum, follows_the_switch) {
    scenario.satellites = {demo_satellite(), {"other", {carrier(11'000, Polarisation::vertical)}}};
    scenario.diseqc_switch = sim::Switch{{0, 1}, false};
    select(false, false);
    EXPECT_NEAR(level_db(1'150'000), with_noise_db(cn_db), 1e-9);
    EXPECT_NEAR(level_db(1'250'000), 0, 1e-9);

    send({0xE0, 0x10, 0x38, 0xF4});

    EXPECT_NEAR(level_db(1'150'000), 0, 1e-9);
    EXPECT_NEAR(level_db(1'250'000), with_noise_db(cn_db), 1e-9);
}

TEST_F(CableSpectrum, follows_a_message_that_nothing_on_the_bus_has_come_after) {
    scenario.satellites = {demo_satellite(), {"other", {carrier(11'000, Polarisation::vertical)}}};
    scenario.diseqc_switch = sim::Switch{{0, 1}, false};
    select(false, false);
    for (const auto &[reg, value] :
         {std::pair{0xA2, 0x00}, std::pair{0xA3, 0xE0}, std::pair{0xA4, 0x10},
          std::pair{0xA5, 0x38}, std::pair{0xA6, 0xF4}, std::pair{0xA1, 0x1F}}) {
        poke(static_cast<std::uint8_t>(reg), static_cast<std::uint8_t>(value));
    }

    EXPECT_NEAR(level_db(1'250'000), 0, 1e-9);
    sleep_ms(15 + 54);
    EXPECT_NEAR(level_db(1'250'000), with_noise_db(cn_db), 1e-9);
}

TEST_F(CableSpectrum, oscillator_above_the_band_mirrors_it) {
    scenario.lnb = *sim::lnb_named("c-band");
    scenario.lnb.drift_khz = 500;
    scenario.satellites = {{"c", {carrier(3'800, Polarisation::vertical)}}};
    select(false, false);

    EXPECT_NEAR(level_db(1'350'500 + 11'000), with_noise_db(cn_db + 10 * std::log10(0.5)), 1e-9);
    EXPECT_NEAR(level_db(1'350'500 - 11'000), with_noise_db(cn_db + 10 * std::log10(0.5)), 1e-9);
}

TEST_F(CableSpectrum, stacked_lnb_shows_both_sides) {
    scenario.lnb = *sim::lnb_named("c-mult");
    scenario.satellites = {
        {"c", {carrier(3'800, Polarisation::vertical), carrier(3'900, Polarisation::horizontal)}}};
    select(false, false);

    EXPECT_NEAR(level_db(1'350'000), with_noise_db(cn_db), 1e-9);
    EXPECT_NEAR(level_db(1'850'000), with_noise_db(cn_db), 1e-9);
}

TEST_F(CableSpectrum, user_band_shows_its_channel_mirrored) {
    scenario.unicable.emplace();
    scenario.unicable->band_mhz.at(0) = 1'211;
    select(true, false);
    EXPECT_THAT(receiver().cable_spectrum_db(950'000, 2'150'000, 1'000), Each(0.0));

    send({0xE0, 0x00, 0x5A, 0x00, 0xF5});  // 4 x (350 + 245) = 2380, 1169 MHz to the middle

    // The carrier at 1150 MHz comes out at 1230 MHz, its neighbours not at all.
    EXPECT_NEAR(level_db(1'230'000), with_noise_db(cn_db), 1e-9);
    EXPECT_NEAR(level_db(1'219'000), with_noise_db(cn_db + 10 * std::log10(0.5)), 1e-9);
    EXPECT_NEAR(level_db(1'150'000), 0, 1e-9);
    EXPECT_NEAR(level_db(1'030'000), 0, 1e-9);
}

TEST_F(CableSpectrum, rain_takes_from_it_while_it_lasts) {
    scenario.events = {
        {.kind = Event::Kind::rain_fade, .period = {.from_ms = 3'000, .to_ms = 6'000}, .db = 8}};
    select(false, false);
    EXPECT_NEAR(level_db(1'150'000), with_noise_db(cn_db), 1e-9);

    sleep_ms(4'000);
    EXPECT_NEAR(level_db(1'150'000), with_noise_db(cn_db - 8), 1e-9);
    sleep_ms(4'000);
    EXPECT_NEAR(level_db(1'150'000), with_noise_db(cn_db), 1e-9);
}

TEST_F(CableSpectrum, sun_takes_as_much_as_it_adds_to_the_noise) {
    scenario.events = {
        {.kind = Event::Kind::sun_outage, .period = {.from_ms = 3'000, .to_ms = 7'000}, .db = 8}};
    select(false, false);

    sleep_ms(5'000 - static_cast<std::uint32_t>(clock().now_ns() / 1'000'000));
    EXPECT_NEAR(level_db(1'150'000), with_noise_db(cn_db - 8), 1e-3);
    sleep_ms(2'000);
    EXPECT_NEAR(level_db(1'150'000), with_noise_db(cn_db), 1e-9);
}

TEST_F(CableSpectrum, goes_by_no_tuner_and_no_exchange_of_i_and_q) {
    select(false, false);
    const std::vector<double> untuned = receiver().cable_spectrum_db(950'000, 2'150'000, 500);

    ds3000_context.tuner_ops.tuner_set_frequency(1'930'000, 2'000, 0);

    EXPECT_EQ(receiver().cable_spectrum_db(950'000, 2'150'000, 500), untuned);
}

TEST_F(CableSpectrum, counts_no_carrier_twice_where_a_span_is_wider_than_its_middle_is_high) {
    select(false, false);

    const std::vector<double> levels = receiver().cable_spectrum_db(0, 1'500'000, 1'000);

    EXPECT_NEAR(levels.at(1'150), with_noise_db(cn_db), 1e-9);
    EXPECT_THAT(levels, Each(testing::Le(with_noise_db(cn_db) + 1e-9)));
}

// What a scan leaves behind: everything that could tell whether somebody looked meanwhile.
struct Trace {
    std::vector<std::uint32_t> frequencies_khz;
    std::vector<unsigned> statuses;
    std::uint64_t bits = 0;
    std::uint64_t took_ns = 0;
    bool operator==(const Trace &) const = default;
};

class LookedAt : public CableSpectrum {
 protected:
    Trace scan(bool look) {
        receiver();
        ds3000_context = {};
        sim::Receiver own(scenario, clock());
        board::set_board(&own);
        const std::uint64_t from_ns = clock().now_ns();
        select(false, false);
        std::vector<scan_candidate> list(101);
        blind_scan_request request{2, SCAN_ALGO_SWEEP, 0, 100, list.data()};
        static sim::Receiver *looked_at = nullptr;
        looked_at = look ? &own : nullptr;
        looks = 0;
        ds3000_set_scan_callback([](std::uint32_t, void *) {
            if (looked_at != nullptr) {
                looks +=
                    looked_at->cable_spectrum_db(950'000, 2'150'000, 1'000).size() == 1'201 ? 1 : 0;
            }
        });
        testing::internal::CaptureStderr();
        EXPECT_EQ(ds3000_blind_scan(1'100, 1'250, &request), 0);
        testing::internal::GetCapturedStderr();
        ds3000_set_scan_callback(nullptr);
        Trace trace{{}, {}, own.bus_statistics().bits, clock().now_ns() - from_ns};
        for (const scan_candidate &candidate : list) {
            trace.frequencies_khz.push_back(candidate.frequency_khz);
            trace.statuses.push_back(candidate.status);
        }
        board::set_board(&receiver());
        return trace;
    }

    inline static unsigned looks = 0;
};

TEST_F(LookedAt, world_stays_as_it_is) {
    scenario.spurious_share = 0.5;
    scenario.jitter_db = 1;

    const Trace unseen = scan(false);
    const Trace seen = scan(true);

    EXPECT_GT(looks, 5U);
    EXPECT_EQ(seen, unseen);
}

}  // namespace tests
