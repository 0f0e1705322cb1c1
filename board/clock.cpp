// SPDX-License-Identifier: MIT
#include "board/clock.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "board/system_time.h"

namespace board {

VirtualClock::VirtualClock() {
    if (in_force_ != nullptr) {
        std::fputs("virtual clock: a second clock while one is in force\n", stderr);
        std::abort();
    }
    in_force_ = this;
}

VirtualClock::~VirtualClock() { in_force_ = nullptr; }

bool VirtualClock::read_monotonic(timespec &time) const {
    const TimeFaults &faults = schedule_.faults();
    for (const TimeFaults::Span &span : faults.unreadable) {
        if (span.contains(now_ns())) {
            return false;
        }
    }
    const std::uint64_t shown_ns = faults.start_ns + schedule_.now_ns();
    time.tv_sec = static_cast<time_t>(shown_ns / 1'000'000'000U);
    time.tv_nsec = static_cast<long>(shown_ns % 1'000'000'000U);
    return true;
}

void end_transfer() {
    if (VirtualClock *const clock = VirtualClock::current(); clock != nullptr) {
        clock->meet_switch_point();
    }
}

std::uint64_t wall_now_ns() {
    timespec now{};
    syscall(SYS_clock_gettime, CLOCK_MONOTONIC, &now);
    return static_cast<std::uint64_t>(now.tv_sec) * 1'000'000'000U +
           static_cast<std::uint64_t>(now.tv_nsec);
}

}  // namespace board
