// SPDX-License-Identifier: MIT
#include "host/pace.h"

#include <ctime>

#include "sim/clock.h"
#include "sim/system_time.h"

namespace host {

std::uint64_t now_ns() {
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return static_cast<std::uint64_t>(time.tv_sec) * 1'000'000'000U +
           static_cast<std::uint64_t>(time.tv_nsec);
}

void sleep_ns(std::uint64_t duration_ns) {
    if (sim::VirtualClock *clock = sim::VirtualClock::current(); clock != nullptr) {
        clock->sleep_ns(duration_ns);
    } else {
        sim::system_sleep_ns(duration_ns);
    }
}

}  // namespace host
