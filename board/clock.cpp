// SPDX-License-Identifier: MIT
#include "board/clock.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "board/schedule.h"

namespace board {

namespace {

VirtualClock *clock_in_force = nullptr;

}  // namespace

VirtualClock::VirtualClock() : schedule_(std::make_unique<Schedule>()) {
    if (clock_in_force != nullptr) {
        std::fputs("virtual clock: a second clock while one is in force\n", stderr);
        std::abort();
    }
    clock_in_force = this;
}

VirtualClock::~VirtualClock() { clock_in_force = nullptr; }

std::uint64_t VirtualClock::now_ns() const { return schedule_->now_ns(); }
std::uint64_t VirtualClock::spend_ns(std::uint64_t duration_ns) {
    return schedule_->spend_ns(duration_ns);
}
void VirtualClock::sleep_ns(std::uint64_t duration_ns) { schedule_->sleep_ns(duration_ns); }
void VirtualClock::follow_wall_time(bool follow) { schedule_->follow_wall_time(follow); }
std::string VirtualClock::thread_name() { return Schedule::thread_name(); }
VirtualClock *VirtualClock::current() { return clock_in_force; }

int VirtualClock::create_thread(pthread_t *thread, const pthread_attr_t *attributes,
                                void *(*start)(void *), void *argument) {
    return schedule_->create_thread(thread, attributes, start, argument);
}

int VirtualClock::join_thread(pthread_t thread, void **result) {
    return schedule_->join_thread(thread, result);
}

std::uint64_t wall_now_ns() {
    timespec now{};
    syscall(SYS_clock_gettime, CLOCK_MONOTONIC, &now);
    return static_cast<std::uint64_t>(now.tv_sec) * 1'000'000'000U +
           static_cast<std::uint64_t>(now.tv_nsec);
}

}  // namespace board
