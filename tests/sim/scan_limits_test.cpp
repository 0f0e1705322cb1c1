// SPDX-License-Identifier: MIT

// The blind scan where it has no room left, is called off, or is called from within.

#include <algorithm>
#include <cstdlib>
#include <vector>

#include "ds3000/chip/ds3000_context.h"
#include "ds3000/demod/signal_quality.h"
#include "ds3000/scan/blind_scan.h"
#include "ds3000/scan/scan_control.h"
#include "tests/sim/receiver_test.h"

namespace tests {

using broadcast::Polarisation;
using broadcast::System;

namespace {

constexpr std::uint32_t untouched = 0xABCDEF01;
// What is called off while the chip is reset, before the list is begun, is forgotten.
constexpr std::uint64_t first_of_the_list = 20;

broadcast::Transponder at(std::uint32_t if_khz, std::uint32_t ksps) {
    broadcast::Transponder transponder;
    transponder.frequency_khz = 9'750'000 + if_khz;
    transponder.polarisation = Polarisation::vertical;
    transponder.symbol_rate = ksps * 1000;
    transponder.system = System::dvbs2;
    transponder.code_rate = broadcast::CodeRate::r3_4;
    return transponder;
}

broadcast::Satellite nine_carriers() {
    broadcast::Satellite satellite{"nine", {}};
    for (std::uint32_t i = 0; i < 9; ++i) {
        satellite.transponders.push_back(at(970'000 + 24'300 * i, 6'000 + 1'000 * i));
    }
    return satellite;
}

bool is_locked(const scan_candidate &candidate) {
    return candidate.status == STANDARD_DVBS || candidate.status == STANDARD_DVBS2;
}

// In front of the receiver: calls the scan off at a transfer.
class CallingOff final : public board::Board {
 public:
    CallingOff(board::Board &receiver, std::uint64_t nth) : receiver_(receiver), nth_(nth) {}
    void perform(board::Transfer &transfer) override {
        if (++transfers == nth_) {
            ds3000_set_scan_cancel(1);
        }
        receiver_.perform(transfer);
    }

    std::uint64_t transfers = 0;

 private:
    board::Board &receiver_;
    std::uint64_t nth_;
};

std::vector<std::uint32_t> *told = nullptr;
void tell(std::uint32_t event, void * /*argument*/) { told->push_back(event); }

}  // namespace

class ScanAtItsLimits : public ReceiverTest {
 protected:
    ScanAtItsLimits() { scenario.satellites = {nine_carriers()}; }
    ~ScanAtItsLimits() override { ds3000_set_scan_callback(ds3000_ignore_scan_event); }

    void start_on_vertical() {
        start();
        supply(true, false);
        tone(false, false);
    }

    // With one record to spare, as the driver asks for, and one that is nobody's.
    struct Outcome {
        std::vector<scan_candidate> list;
        std::uint16_t locked_count = 0;
        std::int32_t status = -1;
    };

    static Outcome scan(std::uint16_t capacity, std::uint8_t algorithm, std::uint8_t passes,
                        std::uint32_t stop_mhz = 1'200) {
        Outcome outcome;
        outcome.list.resize(capacity + 2U);
        outcome.list.back().frequency_khz = untouched;
        blind_scan_request request{passes, algorithm, 0, capacity, outcome.list.data()};
        testing::internal::CaptureStderr();
        outcome.status = ds3000_blind_scan(950, stop_mhz, &request);
        testing::internal::GetCapturedStderr();
        outcome.locked_count = request.locked_count;
        EXPECT_EQ(outcome.list.back().frequency_khz, untouched) << "written past the spare record";
        return outcome;
    }

    // How often each carrier stands in a list as locked.
    [[nodiscard]] std::vector<int> times_found(const std::vector<scan_candidate> &list) const {
        std::vector<int> times;
        for (const broadcast::Transponder &carrier : scenario.satellites.front().transponders) {
            times.push_back(static_cast<int>(
                std::count_if(list.begin(), list.end(), [&carrier](const scan_candidate &found) {
                    const auto apart_khz = std::int64_t{found.frequency_khz} + 9'750'000 -
                                           std::int64_t{carrier.frequency_khz};
                    return is_locked(found) && std::abs(apart_khz) < 100;
                })));
        }
        return times;
    }

    static std::ptrdiff_t locks_in(const std::vector<scan_candidate> &list) {
        return std::count_if(list.begin(), list.end(), is_locked);
    }
};

// Sixty carriers too narrow for the scan stand closer than two a megahertz and a half: a step sees
// more than forty of them, and what it looks for stands among those that it has no room for.
TEST_F(ScanAtItsLimits, of_more_than_31_peaks_a_step_the_others_come_with_the_next) {
    broadcast::Satellite crowded{"crowded", {}};
    for (std::uint32_t i = 0; i < 60; ++i) {
        crowded.transponders.push_back(at(985'000 + 1'350 * i, i % 20 == 19 ? 2'000 : 950));
        if (i % 20 != 19) {
            continue;
        }
        // Room for the wider one.
        crowded.transponders.pop_back();
        crowded.transponders.pop_back();
        crowded.transponders.push_back(at(985'000 + 1'350 * i - 675, 2'000));
    }
    scenario.satellites = {crowded};
    start_on_vertical();

    const Outcome outcome = scan(400, SCAN_ALGO_SWEEP, 1, 1'120);

    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.locked_count, 3);
    for (const scan_candidate &found : outcome.list) {
        EXPECT_TRUE(!is_locked(found) || std::abs(found.symbol_rate - 2'000) <= 2);
    }
}

// What two steps see takes two places until the end.
TEST_F(ScanAtItsLimits, full_list_keeps_the_first_and_loses_the_rest) {
    scenario.spurious_share = 0;
    start_on_vertical();

    const Outcome outcome = scan(4, SCAN_ALGO_SWEEP, 1);

    EXPECT_EQ(outcome.status, 0);
    EXPECT_GT(ds3000_context.scan_count, 4);
    EXPECT_EQ(outcome.locked_count, locks_in(outcome.list));
    std::vector<int> times = times_found(outcome.list);
    EXPECT_TRUE(std::is_sorted(times.rbegin(), times.rend())) << "a later one took a place";
    EXPECT_EQ(times.front(), 1);
    EXPECT_EQ(times.back(), 0);
    EXPECT_THAT(receiver().complaints(), testing::IsEmpty());
}

TEST_F(ScanAtItsLimits, more_than_255_candidates_hide_no_lock) {
    scenario.spurious_share = 1;
    start_on_vertical();

    const Outcome outcome = scan(1'000, SCAN_ALGO_SWEEP, 8, 2'150);

    EXPECT_GT(ds3000_context.scan_count, 255);
    EXPECT_THAT(times_found(outcome.list), testing::Each(1));
    EXPECT_EQ(outcome.locked_count, locks_in(outcome.list));
}

TEST_F(ScanAtItsLimits, carriers_seen_in_many_passes_are_listed_once) {
    start_on_vertical();
    for (const std::uint8_t algorithm : {SCAN_ALGO_SWEEP, SCAN_ALGO_STEPWISE}) {
        const Outcome outcome = scan(400, algorithm, 6);

        EXPECT_THAT(times_found(outcome.list), testing::Each(1));
        EXPECT_EQ(outcome.locked_count, 9);
    }
}

// Wherever it is called off, the scan ends within its second of rest and 0.5 s, tells that once,
// and what it has locked by then is true; the one that it was measuring is no longer compared with
// the others. The next scan is whole again.
TEST_F(ScanAtItsLimits, is_called_off_at_any_transfer) {
    scenario.satellites.front().transponders.resize(3);
    start_on_vertical();
    std::vector<std::uint32_t> events;
    told = &events;
    ds3000_set_scan_callback(tell);
    for (const std::uint8_t algorithm : {SCAN_ALGO_SWEEP, SCAN_ALGO_STEPWISE}) {
        for (std::uint64_t nth = first_of_the_list; nth < 6'000; nth += 31) {
            CallingOff board(receiver(), nth);
            board::set_board(&board);
            events.clear();
            const Outcome outcome = scan(50, algorithm, 2, 1'050);
            board::set_board(&receiver());
            const bool in_time = board.transfers >= nth;

            ASSERT_EQ(outcome.status, 0) << nth;
            ASSERT_EQ(events.front(), SCAN_EVENT_STARTED) << nth;
            ASSERT_EQ(events.back(), SCAN_EVENT_FINISHED) << nth;
            ASSERT_EQ(std::count(events.begin(), events.end(), SCAN_EVENT_FINISHED), 1) << nth;
            ASSERT_EQ(outcome.locked_count, locks_in(outcome.list)) << nth;
            const std::vector<int> times = times_found(outcome.list);
            ASSERT_THAT(times, testing::Each(testing::Le(2))) << nth;
            ASSERT_LE(std::count(times.begin(), times.end(), 2), 1) << nth;
            ASSERT_LE(board.transfers, in_time ? nth + 400 : board.transfers) << nth;
        }
    }

    ds3000_set_scan_callback(ds3000_ignore_scan_event);
    EXPECT_THAT(times_found(scan(50, SCAN_ALGO_SWEEP, 2, 1'050).list), testing::Each(1));
    EXPECT_THAT(receiver().complaints(), testing::IsEmpty());
}

TEST_F(ScanAtItsLimits, callback_may_call_the_chip_layer_and_call_the_scan_off) {
    start_on_vertical();
    static int locks = 0;
    locks = 0;
    ds3000_set_scan_callback([](std::uint32_t event, void *) {
        EXPECT_EQ(ds3000_set_scan_callback(nullptr), -11);
        if (event == SCAN_EVENT_LOCKED) {
            std::uint8_t snr_db = 0;
            ds3000_get_snr(&snr_db);
            EXPECT_GE(snr_db, 10);
            ds3000_set_scan_cancel(++locks == 3 ? 1 : 0);
        }
    });

    const Outcome outcome = scan(50, SCAN_ALGO_STEPWISE, 1);

    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.locked_count, 3);
    EXPECT_THAT(times_found(outcome.list), testing::ElementsAre(1, 1, 1, 0, 0, 0, 0, 0, 0));
}

// The state is the module's: the scan within takes the list from the one without, which ends with
// what it had verified.
TEST_F(ScanAtItsLimits, callback_that_scans_leaves_both_lists_in_bounds) {
    start_on_vertical();
    static bool within = false;
    within = false;
    ds3000_set_scan_callback([](std::uint32_t event, void *) {
        if (event == SCAN_EVENT_LOCKED && !within) {
            within = true;
            std::vector<scan_candidate> list(12);
            list.back().frequency_khz = untouched;
            blind_scan_request request{1, SCAN_ALGO_SWEEP, 0, 10, list.data()};
            EXPECT_EQ(ds3000_blind_scan(950, 1'020, &request), 0);
            EXPECT_EQ(list.back().frequency_khz, untouched);
            EXPECT_EQ(request.locked_count, locks_in(list));
            EXPECT_EQ(ds3000_blind_scan(950, 1'020, nullptr), -3);
        }
    });

    const Outcome outcome = scan(50, SCAN_ALGO_STEPWISE, 1);

    EXPECT_EQ(outcome.status, 0);
    EXPECT_TRUE(within);
    EXPECT_THAT(receiver().complaints(), testing::IsEmpty());
}

}  // namespace tests
