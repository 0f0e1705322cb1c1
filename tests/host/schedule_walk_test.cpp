// SPDX-License-Identifier: MIT

// The plug-in's life under bad schedules: a thread is put aside at every 29th of the moments at
// which that can happen while the host tunes, looks, tunes elsewhere and ends twice; and turns are
// taken by the chance of many seeds.

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <string>

#include "board/board.h"
#include "board/clock.h"
#include "host/cable/request.h"
#include "host/session/pace.h"
#include "host/session/plugin_loader.h"
#include "host/session/tuner_calls.h"
#include "host/terminal/stderr_capture.h"
#include "sim/receiver.h"

namespace host {
namespace {

constexpr std::uint64_t walk_ms = 1'000'000;

broadcast::Transponder walked_transponder(std::uint32_t frequency_khz) {
    broadcast::Transponder transponder;
    transponder.frequency_khz = frequency_khz;
    transponder.polarisation = broadcast::Polarisation::horizontal;
    transponder.symbol_rate = 27'500'000;
    transponder.system = broadcast::System::dvbs;
    transponder.code_rate = broadcast::CodeRate::r3_4;
    return transponder;
}

class ScheduleWalk : public testing::Test {
 protected:
    // What is wrong with a life on these schedules; empty for nothing.
    std::string live(const board::TimeFaults &faults) {
        board::VirtualClock clock;
        sim::Scenario scenario;
        scenario.satellites = {
            {"one", {walked_transponder(11'000'000), walked_transponder(11'300'000)}}};
        sim::Receiver receiver(scenario, clock);
        board::set_board(&receiver);
        std::string wrong;
        {
            const StandardErrorCapture capture;
            const Plugin plugin(DS3000_PLUGIN_FILE);
            TunerCalls calls(create_tuner(plugin.descriptor()));
            calls.init();
            clock.befall(faults);
            wrong = tune_twice(calls, scenario.lnb);
            calls.finalize();
            calls.finalize();
            calls.free();
        }
        board::set_board(nullptr);
        has_paused_ = clock.has_paused();
        for (const sim::Complaint &complaint : receiver.complaints()) {
            wrong += fmt::format("{}: {}; ", to_string(complaint.offence), complaint.first);
        }
        return wrong;
    }

    bool has_paused_ = false;

 private:
    static std::string tune_twice(TunerCalls &calls, const broadcast::Lnb &lnb) {
        std::string wrong;
        for (const std::uint32_t frequency_khz : {11'000'000U, 11'300'000U}) {
            if (calls.tune(request_for(walked_transponder(frequency_khz), lnb, 0)) != 1) {
                wrong += "not set up; ";
            }
            if (!stays_locked(calls)) {
                wrong += fmt::format("no lock on {}; ", frequency_khz);
            }
        }
        return wrong;
    }

    // As a host looks; the lock of the channel before may be told for a moment.
    static bool stays_locked(TunerCalls &calls) {
        unsigned in_a_row = 0;
        for (int i = 0; i < 200 && in_a_row < 10; ++i) {
            pause_ms(50);
            std::array<std::uint8_t, 2> signal{};
            calls.get_signal(signal);
            in_a_row = calls.get_lock() == 1 ? in_a_row + 1 : 0;
        }
        return in_a_row == 10;
    }
};

class PausedThread : public ScheduleWalk, public testing::WithParamInterface<std::uint64_t> {};

TEST_P(PausedThread, disturbs_nothing_at_the_moments_walked) {
    constexpr std::uint32_t step = 29;
    has_paused_ = true;
    std::uint32_t moment = 1;
    for (; has_paused_; moment += step) {
        const std::string wrong =
            live({.preemption = 1, .pause_at = moment, .pause_ns = GetParam() * walk_ms});
        ASSERT_EQ(wrong, "") << "at moment " << moment;
    }
    EXPECT_GT(moment, 2'000U);
}

// Shorter than a poll, longer than the rest after it, longer than the time-out of a lost lock.
INSTANTIATE_TEST_SUITE_P(lengths, PausedThread, testing::Values(1, 60, 5'000));

TEST_F(ScheduleWalk, turns_may_be_taken_by_any_chance) {
    for (std::uint64_t seed = 1; seed <= 40; ++seed) {
        const std::string wrong =
            live({.seed = seed, .preemption = 0.1 * static_cast<double>(seed % 10)});
        ASSERT_EQ(wrong, "") << "seed " << seed;
    }
}

}  // namespace
}  // namespace host
