// SPDX-License-Identifier: MIT
#include "host/session/pace.h"

#include <ctime>

#include "board/clock.h"
#include "board/system_time.h"

namespace host {

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

}  // namespace host
