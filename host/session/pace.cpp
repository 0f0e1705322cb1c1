// SPDX-License-Identifier: MIT
#include "host/session/pace.h"

#include <ctime>

#include "board/clock.h"
#include "board/system_time.h"

namespace host {

namespace {

constexpr std::uint64_t ns_per_ms = 1'000'000;

}  // namespace

std::uint64_t now_ns() {
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

std::uint64_t ms_since(std::uint64_t begin_ns) { return (now_ns() - begin_ns) / ns_per_ms; }

}  // namespace host
