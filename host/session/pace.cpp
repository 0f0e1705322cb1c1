// SPDX-License-Identifier: MIT
#include "host/session/pace.h"

#include <algorithm>
#include <ctime>

#include "board/clock.h"
#include "board/system_time.h"

namespace host {

namespace {

constexpr std::uint64_t ns_per_ms = 1'000'000;

}  // namespace

std::uint64_t now_ns() {
    if (const board::VirtualClock *clock = board::VirtualClock::current(); clock != nullptr) {
        return clock->now_ns();
    }
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return static_cast<std::uint64_t>(time.tv_sec) * 1'000'000'000U +
           static_cast<std::uint64_t>(time.tv_nsec);
}

void sleep_ns(std::uint64_t duration_ns) {
    if (board::VirtualClock *clock = board::VirtualClock::current(); clock != nullptr) {
        clock->sleep_ns(duration_ns);
    } else {
        board::system_sleep_ns(duration_ns);
    }
}

void pause_ms(std::uint64_t ms) { sleep_ns(ms * ns_per_ms); }

void pause_ms_unless(std::uint64_t ms, const std::function<bool()> &must_end) {
    constexpr std::uint64_t piece_ns = 50 * ns_per_ms;
    const std::uint64_t end_ns = now_ns() + ms * ns_per_ms;
    for (std::uint64_t time_ns = now_ns(); time_ns < end_ns && !must_end(); time_ns = now_ns()) {
        sleep_ns(std::min(piece_ns, end_ns - time_ns));
    }
}

std::uint64_t ms_since(std::uint64_t begin_ns) { return (now_ns() - begin_ns) / ns_per_ms; }

}  // namespace host
