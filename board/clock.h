// SPDX-License-Identifier: MIT
#pragma once

#include <pthread.h>

#include <cstdint>
#include <ctime>
#include <functional>
#include <string>
#include <utility>

#include "board/schedule.h"

namespace board {

// The virtual clock: a deterministic schedule of the process's threads.
//
// One registered thread runs at a time. A sleep or a join gives up the turn; the next turn goes to
// the thread that wakes earliest, ties in the order they went to sleep, and time jumps to that
// moment. By the chance that the faults in force give, a thread that is due also takes the turn in
// the middle of another one's work. A run is therefore exactly repeatable whatever the machine
// does.
//
// While a VirtualClock exists, usleep, clock_gettime(CLOCK_MONOTONIC), pthread_create and
// pthread_join of this process are its own; without one they are the system's. The thread that
// makes the clock is its first registered thread, threads made by pthread_create follow. At most
// one clock exists at a time. Destroy it after every thread it registered has been joined.
class VirtualClock {
 public:
    VirtualClock();
    VirtualClock(const VirtualClock &) = delete;
    VirtualClock &operator=(const VirtualClock &) = delete;
    ~VirtualClock();

    // Nanoseconds since the clock was made, in the world that the process lives in.
    [[nodiscard]] std::uint64_t now_ns() const { return schedule_.world_ns(); }

    // Let time pass for the running thread without giving up its turn, unless another one takes it:
    // a bus transfer. Returns the time then.
    std::uint64_t spend_ns(std::uint64_t duration_ns) {
        schedule_.spend_ns(duration_ns);
        return now_ns();
    }

    // Give up the turn for a duration.
    void sleep_ns(std::uint64_t duration_ns) { schedule_.sleep_ns(duration_ns); }

    // The same for a transfer: the thread waits for it.
    void spend_asleep_ns(std::uint64_t duration_ns) { schedule_.spend_asleep_ns(duration_ns); }

    // What usleep comes down to. Returns whether it was not cut short by a signal.
    bool sleep_or_signal_ns(std::uint64_t duration_ns) {
        return schedule_.sleep_or_signal_ns(duration_ns);
    }

    // What clock_gettime comes down to. Returns whether the clock could be read.
    [[nodiscard]] bool read_monotonic(timespec &time) const;

    // Let another thread take the turn if the faults in force want it to.
    void meet_switch_point() { schedule_.meet_switch_point(); }

    // What befalls the process's time from now on.
    void befall(const TimeFaults &faults) { schedule_.befall(faults); }
    [[nodiscard]] const TimeFaults &faults() const { return schedule_.faults(); }

    // Whether the moment came at which a thread was to be put aside.
    [[nodiscard]] bool has_paused() const { return schedule_.has_paused(); }

    // Name of the calling thread: "main", then "thread1", "thread2" in order of creation.
    [[nodiscard]] static std::string thread_name() { return Schedule::thread_name(); }

    // The number in that name, 0 for "main"; Schedule::outside for a thread of somebody else.
    [[nodiscard]] static unsigned thread_number() { return Schedule::thread_number(); }

    // Slow the clock to wall time: every jump in time takes as long on the wall.
    void follow_wall_time(bool follow) { schedule_.follow_wall_time(follow); }
    [[nodiscard]] bool follows_wall_time() const { return schedule_.follows_wall_time(); }

    // What pthread_create and pthread_join come down to while the clock is in force.
    int create_thread(pthread_t *thread, const pthread_attr_t *attributes, void *(*start)(void *),
                      void *argument) {
        return schedule_.create_thread(thread, attributes, start, argument);
    }
    int join_thread(pthread_t thread, void **result) {
        return schedule_.join_thread(thread, result);
    }

    // Somebody waits for the running thread to be done with something, and loses patience after so
    // long, transfers and what befalls the whole process aside: `lose` is called once, then or
    // when it is known that no thread will run before, by whichever thread has the turn.
    void have_patience(std::uint64_t limit_ns, std::function<void()> lose) {
        schedule_.have_patience(limit_ns, std::move(lose));
    }
    [[nodiscard]] bool has_patience() const { return schedule_.has_patience(); }
    void end_patience() { schedule_.end_patience(); }

    // How many threads it has made, and whether one of them, by its number, has not been joined.
    [[nodiscard]] unsigned created_threads() const { return schedule_.created_threads(); }
    [[nodiscard]] bool holds_thread(unsigned number) const {
        return schedule_.holds_thread(number);
    }

    // How often a thread was to be joined that had been joined before. The system is not asked
    // then: what it would do is undefined.
    [[nodiscard]] unsigned vain_joins() const { return schedule_.vain_joins(); }

    // Lock a mutex that threads of the clock share; and how often one had to wait for it, which
    // happens only while its owner has given up the turn.
    int lock_mutex(pthread_mutex_t *mutex) { return schedule_.lock_mutex(mutex); }
    [[nodiscard]] std::uint64_t blocked_locks() const { return schedule_.blocked_locks(); }

    // The clock in force, or null.
    static VirtualClock *current() { return in_force_; }

 private:
    inline static VirtualClock *in_force_ = nullptr;

    Schedule schedule_;
};

// Wall time in nanoseconds from the system itself, whatever clock is in force.
std::uint64_t wall_now_ns();

}  // namespace board
