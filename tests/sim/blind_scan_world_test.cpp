// SPDX-License-Identifier: MIT

// The real driver's blind scan over a simulated satellite: what is receivable is found, and nothing
// else.

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <string>
#include <vector>

#include "ds3000/chip/ds3000_context.h"
#include "ds3000/scan/blind_scan.h"
#include "ds3000/scan/scan_control.h"
#include "tests/sim/receiver_test.h"

namespace tests {

using broadcast::CodeRate;
using broadcast::Polarisation;
using broadcast::System;
using sim::Chip;

namespace {

broadcast::Transponder vertical(std::uint32_t if_khz, std::uint32_t ksps, System system,
                                broadcast::RollOff roll_off = broadcast::RollOff::r35) {
    broadcast::Transponder transponder;
    transponder.frequency_khz = 9'750'000 + if_khz;
    transponder.polarisation = Polarisation::vertical;
    transponder.symbol_rate = ksps * 1000;
    transponder.system = system;
    transponder.code_rate = CodeRate::r3_4;
    transponder.roll_off = roll_off;
    return transponder;
}

// Off every grid: narrow and wide carriers, close neighbours, both standards.
broadcast::Satellite small_satellite() {
    return {"small",
            {vertical(963'700, 2'200, System::dvbs), vertical(1'000'310, 27'500, System::dvbs),
             vertical(1'029'900, 27'500, System::dvbs2),
             vertical(1'071'250, 44'950, System::dvbs2, broadcast::RollOff::r20),
             vertical(1'107'420, 4'340, System::dvbs), vertical(1'113'300, 3'333, System::dvbs2),
             vertical(1'126'870, 9'400, System::dvbs), vertical(1'150'030, 22'000, System::dvbs2),
             vertical(1'190'500, 30'000, System::dvbs)}};
}

// A scan's outcome, by carrier.
struct Outcome {
    std::vector<std::string> missed;
    std::vector<std::string> false_locks;
    std::size_t locked = 0;
};

struct Scan {
    Chip chip;
    std::uint8_t algorithm;
    std::uint8_t passes;
};

}  // namespace

class BlindScanWorld : public ReceiverTest {
 protected:
    BlindScanWorld() { scenario.satellites = {small_satellite()}; }

    // What the driver measures of a carrier lies this near to the truth.
    std::uint32_t tolerance_khz = 20;
    // Where the scan's peaks are noted, if anywhere.
    std::vector<std::uint32_t> *seen_peaks = nullptr;

    std::vector<scan_candidate> scan(std::uint8_t algorithm, std::uint8_t passes) {
        start();
        supply(true, false);
        tone(false, false);
        std::vector<scan_candidate> list(401);
        blind_scan_request request{passes, algorithm, 0, 400, list.data()};
        static std::vector<std::uint32_t> *peaks = nullptr;
        peaks = seen_peaks;
        ds3000_set_scan_callback([](std::uint32_t event, void *argument) {
            if (event == SCAN_EVENT_PEAK && peaks != nullptr) {
                peaks->push_back(*static_cast<std::uint32_t *>(argument));
            }
        });
        testing::internal::CaptureStderr();
        EXPECT_EQ(ds3000_blind_scan(950, 1210, &request), 0);
        testing::internal::GetCapturedStderr();
        std::erase_if(list, [](const scan_candidate &candidate) {
            return candidate.status != STANDARD_DVBS && candidate.status != STANDARD_DVBS2;
        });
        EXPECT_EQ(list.size(), request.locked_count);
        return list;
    }

    [[nodiscard]] bool is(const scan_candidate &found,
                          const broadcast::Transponder &carrier) const {
        const auto distance = std::int64_t{found.frequency_khz} + 9'750'000 - carrier.frequency_khz;
        const bool same_system =
            (found.status == STANDARD_DVBS2) == (carrier.system == System::dvbs2);
        return std::abs(distance) <= tolerance_khz && same_system &&
               std::abs(found.symbol_rate - static_cast<int>(carrier.symbol_rate / 1000)) <= 2;
    }

    [[nodiscard]] Outcome compare(const std::vector<scan_candidate> &found) const {
        Outcome outcome;
        outcome.locked = found.size();
        const auto &carriers = scenario.satellites.front().transponders;
        for (const broadcast::Transponder &carrier : carriers) {
            if (std::none_of(found.begin(), found.end(),
                             [&](const scan_candidate &c) { return is(c, carrier); })) {
                outcome.missed.push_back(describe(carrier));
            }
        }
        for (const scan_candidate &c : found) {
            if (std::none_of(
                    carriers.begin(), carriers.end(),
                    [&](const broadcast::Transponder &carrier) { return is(c, carrier); })) {
                outcome.false_locks.push_back(std::to_string(c.frequency_khz) + " kHz, " +
                                              std::to_string(c.symbol_rate) + " ksym/s");
            }
        }
        return outcome;
    }
};

class BlindScanOf : public BlindScanWorld, public testing::WithParamInterface<Scan> {};

TEST_P(BlindScanOf, the_satellite_finds_every_carrier_once_and_nothing_else) {
    scenario.board.chip = GetParam().chip;

    const Outcome outcome = compare(scan(GetParam().algorithm, GetParam().passes));

    EXPECT_THAT(outcome.missed, testing::IsEmpty());
    EXPECT_THAT(outcome.false_locks, testing::IsEmpty());
    EXPECT_EQ(outcome.locked, small_satellite().transponders.size());
    EXPECT_THAT(receiver().complaints(), testing::IsEmpty());
}

TEST_F(BlindScanWorld, board_that_swaps_i_and_q_finds_every_carrier) {
    scenario.board.iq_swap = true;
    receiver();
    ds3000_context.board_iq_swap = 1;

    const Outcome outcome = compare(scan(SCAN_ALGO_SWEEP, 2));

    EXPECT_THAT(outcome.missed, testing::IsEmpty());
    EXPECT_THAT(outcome.false_locks, testing::IsEmpty());
}

TEST_F(BlindScanWorld, board_that_needs_bit_4_of_0x30_finds_carriers_when_the_driver_is_told) {
    scenario.board.reg30_bit4 = true;
    receiver();
    EXPECT_EQ(compare(scan(SCAN_ALGO_SWEEP, 2)).locked, 0U);

    ds3000_context.reg30_bit4_enable = 1;
    const Outcome outcome = compare(scan(SCAN_ALGO_SWEEP, 2));
    EXPECT_THAT(outcome.missed, testing::IsEmpty());
    EXPECT_THAT(outcome.false_locks, testing::IsEmpty());
}

// DS300X cannot turn the spectrum back, and the driver counts the tuner's own offset twice there.
TEST_F(BlindScanWorld, ds300x_that_swaps_i_and_q_finds_every_carrier_near_its_place) {
    scenario.board.chip = Chip::ds300x;
    scenario.board.iq_swap = true;
    tolerance_khz = 4'000;
    receiver();
    ds3000_context.board_iq_swap = 1;

    const Outcome outcome = compare(scan(SCAN_ALGO_STEPWISE, 2));

    EXPECT_THAT(outcome.missed, testing::IsEmpty());
    EXPECT_THAT(outcome.false_locks, testing::IsEmpty());
}

TEST_F(BlindScanWorld, oscillator_above_the_band_finds_every_carrier) {
    scenario.lnb = *sim::lnb_named("c-band");
    for (broadcast::Transponder &carrier : scenario.satellites.front().transponders) {
        carrier.frequency_khz = 5'150'000 + 9'750'000 - carrier.frequency_khz;
    }
    std::vector<scan_candidate> found = scan(SCAN_ALGO_SWEEP, 1);
    scenario.satellites = {small_satellite()};

    EXPECT_THAT(compare(found).missed, testing::IsEmpty());
}

TEST_F(BlindScanWorld, drift_of_the_oscillator_shows_in_the_frequencies) {
    scenario.lnb.drift_khz = 3'000;

    std::vector<scan_candidate> found = scan(SCAN_ALGO_SWEEP, 1);
    for (scan_candidate &candidate : found) {
        candidate.frequency_khz += 3'000;
    }

    EXPECT_THAT(compare(found).missed, testing::IsEmpty());
}

TEST_F(BlindScanWorld, spurious_peaks_lock_nothing) {
    scenario.spurious_share = 1;

    const Outcome outcome = compare(scan(SCAN_ALGO_SWEEP, 1));

    EXPECT_THAT(outcome.missed, testing::IsEmpty());
    EXPECT_THAT(outcome.false_locks, testing::IsEmpty());
}

TEST_F(BlindScanWorld, other_polarisation_leaks_without_being_locked) {
    scenario.cn_db = 12;
    scenario.cross_polarisation_db = 10;
    for (broadcast::Transponder &carrier : scenario.satellites.front().transponders) {
        carrier.polarisation = Polarisation::horizontal;
    }
    std::vector<std::uint32_t> peaks;
    seen_peaks = &peaks;

    EXPECT_THAT(scan(SCAN_ALGO_SWEEP, 1), testing::IsEmpty());

    EXPECT_THAT(peaks, testing::Not(testing::IsEmpty()));
}

TEST_F(BlindScanWorld, usual_leakage_does_not_show) {
    scenario.spurious_share = 0;
    for (broadcast::Transponder &carrier : scenario.satellites.front().transponders) {
        carrier.polarisation = Polarisation::horizontal;
    }
    std::vector<std::uint32_t> peaks;
    seen_peaks = &peaks;

    EXPECT_THAT(scan(SCAN_ALGO_SWEEP, 1), testing::IsEmpty());

    EXPECT_THAT(peaks, testing::IsEmpty());
}

std::vector<Scan> every_scan() {
    std::vector<Scan> scans;
    for (const Chip chip : {Chip::ds300x, Chip::ds3002b, Chip::ds3103}) {
        for (std::uint8_t algorithm = SCAN_ALGO_STEPWISE; algorithm <= SCAN_ALGO_SWEEP;
             ++algorithm) {
            for (std::uint8_t passes = 1; passes <= 3; ++passes) {
                scans.push_back({chip, algorithm, passes});
            }
        }
    }
    return scans;
}

std::string scan_name(const testing::TestParamInfo<Scan> &test) {
    return to_string(test.param.chip) +
           (test.param.algorithm == SCAN_ALGO_SWEEP ? "_sweep_" : "_stepwise_") +
           std::to_string(test.param.passes);
}

INSTANTIATE_TEST_SUITE_P(every, BlindScanOf, testing::ValuesIn(every_scan()), scan_name);

}  // namespace tests
