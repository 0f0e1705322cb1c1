// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>

#include <optional>
#include <stdexcept>

#include "ds3000/chip/ds3000_context.h"
#include "host/boards/simulated_board.h"
#include "host/scan/leg_scan.h"
#include "host/session/chip_session.h"
#include "host/terminal/console.h"

namespace tests {
namespace {

using host::LegProgress;
using host::LegResult;
using testing::IsEmpty;
using testing::SizeIs;

broadcast::Transponder carrier(std::uint32_t frequency_khz, std::uint32_t ksps) {
    broadcast::Transponder transponder;
    transponder.frequency_khz = frequency_khz;
    transponder.polarisation = broadcast::Polarisation::vertical;
    transponder.symbol_rate = ksps * 1000;
    return transponder;
}

// The vertical low band of a satellite with three carriers, on a board with the chips awake.
class LegScan : public testing::Test {
 protected:
    LegScan() {
        console.set_quiet(true);
        board.point_at({"three",
                        {carrier(10'800'000, 22'000), carrier(10'850'000, 27'500),
                         carrier(10'900'000, 5'000)}},
                       0);
        host::LegsWanted wanted;
        wanted.lnb = host::lnb_named("EXTENDED");
        wanted.downlink = host::FrequencyRange{10'750'000, 10'950'000};
        leg = host::scan_legs(wanted).front();
        session.emplace(host::BoardWiring{}, log);
        session->select(leg.cable);
    }

    LegResult run(const host::ScanSettings &settings) {
        return host::LegScan(leg, 7, settings, judge,
                             [this](const LegProgress &progress) { steps.push_back(progress); })
            .run({[] { return false; }});
    }

    host::Console console;
    host::SimulatedBoard board{host::BoardOptions{}};
    host::DriverLog log{"none", console};
    host::Judge judge{&board};
    host::ScanLeg leg;
    std::optional<host::ChipSession> session;
    std::vector<LegProgress> steps;
};

TEST_F(LegScan, finds_and_measures) {
    const LegResult result = run({SCAN_ALGO_SWEEP, 1});

    ASSERT_THAT(result.found, SizeIs(3));
    EXPECT_NEAR(result.found[1].frequency_khz, 10'850'000, 20);
    EXPECT_EQ(result.found[1].if_khz + 9'750'000, result.found[1].frequency_khz);
    EXPECT_NEAR(result.found[1].symbol_rate, 27'500'000, 2'000);
    EXPECT_EQ(result.found[1].leg, 7U);
    EXPECT_EQ(result.found[1].polarisation, broadcast::Polarisation::vertical);
    EXPECT_EQ(result.found[1].signal.modulation, broadcast::Modulation::qpsk);
    EXPECT_GE(result.found[1].quality_db, 12);
    EXPECT_GE(result.found[1].strength_percent, 40U);
    EXPECT_GE(result.candidates, 3U);
    EXPECT_THAT(result.peaks, SizeIs(result.candidates)) << "a single pass takes every peak";
    EXPECT_TRUE(result.complete);
    EXPECT_GT(result.time_ms, 1000U);
    EXPECT_EQ(ds3000_context.scan_callback, ds3000_ignore_scan_event) << "nothing is left behind";
}

TEST_F(LegScan, strength_is_that_of_the_carrier_alone) {
    const LegResult result = run({SCAN_ALGO_SWEEP, 1});
    std::vector<unsigned> first;
    for (const auto &found : result.found) {
        first.push_back(found.strength_percent.value());
    }
    ds3000_context = [] {
        auto state = ds3000_context;
        std::fill(std::begin(state.strength_ring), std::end(state.strength_ring), std::uint8_t{1});
        return state;
    }();

    const LegResult again = run({SCAN_ALGO_SWEEP, 1});

    for (std::size_t i = 0; i < first.size(); ++i) {
        EXPECT_NEAR(again.found.at(i).strength_percent.value(), first[i], 1.0);
    }
}

TEST_F(LegScan, progress_rises_to_the_whole_in_every_pass) {
    for (const auto algorithm : {SCAN_ALGO_SWEEP, SCAN_ALGO_STEPWISE}) {
        steps.clear();
        run({algorithm, 2});
        ASSERT_FALSE(steps.empty());
        EXPECT_GE(steps.back().share, 0.7);
        EXPECT_EQ(steps.back().locked, 3U);
        EXPECT_GE(steps.back().candidates, 3U);
        for (const LegProgress &step : steps) {
            EXPECT_LE(step.share, 1.0);
        }
        EXPECT_LE(steps.front().share, 0.3);
    }
}

TEST_F(LegScan, cancelled_keeps_what_was_found) {
    unsigned locked = 0;
    host::LegScan scan(leg, 0, {SCAN_ALGO_SWEEP, 2}, judge,
                       [&locked](const LegProgress &progress) { locked = progress.locked; });

    const LegResult result = scan.run({[&locked] { return locked == 1; }});

    EXPECT_THAT(result.found, SizeIs(1));
    EXPECT_FALSE(result.complete);
}

TEST_F(LegScan, watch_that_throws_ends_the_scan) {
    host::LegScan scan(leg, 0, {SCAN_ALGO_SWEEP, 2}, judge,
                       [](const LegProgress &) { throw std::runtime_error("seen enough"); });
    EXPECT_THROW(scan.run({[] { return false; }}), std::runtime_error);
}

TEST_F(LegScan, spare_record_of_an_empty_scan_is_no_transponder) {
    board.point_at({"none", {}}, 0);
    const LegResult result = run({SCAN_ALGO_SWEEP, 2});
    EXPECT_THAT(result.found, IsEmpty());
    EXPECT_TRUE(result.complete);
}

TEST_F(LegScan, oscillator_above_turns_the_frequencies_round) {
    host::LegsWanted wanted;
    wanted.lnb = host::lnb_named("C-BAND");
    wanted.downlink = host::FrequencyRange{3'700'000, 3'800'000};
    leg = host::scan_legs(wanted).front();
    board.fit_lnb(wanted.lnb);
    board.point_at({"one", {carrier(3'725'000, 20'000)}}, 0);
    session->select(leg.cable);

    const LegResult result = run({SCAN_ALGO_SWEEP, 1});

    ASSERT_THAT(result.found, SizeIs(1));
    EXPECT_NEAR(result.found[0].frequency_khz, 3'725'000, 20);
    EXPECT_NEAR(result.found[0].if_khz, 1'425'000, 20);
    EXPECT_EQ(result.found[0].signal.inverted, true);
    ASSERT_FALSE(result.peaks.empty());
    for (const host::SeenPeak &peak : result.peaks) {
        EXPECT_NEAR(peak.frequency_khz, 3'725'000, 300);
    }
}

}  // namespace
}  // namespace tests
