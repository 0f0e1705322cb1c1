// SPDX-License-Identifier: MIT

// The process's time: usleep, clock_gettime, pthread_create, pthread_join, pthread_mutex_lock
// and pthread_mutex_unlock, defined here so that the driver's calls reach the virtual clock, or the
// system when no virtual clock is in force.
// Two ways in: these definitions take the place of libc's in an executable that exports its
// symbols; sanitizer builds keep their own interceptors in that place, so there the linker
// redirects the driver's calls (--wrap), which gives them the prefix __wrap_.

#include <dlfcn.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>

#include "board/board.h"
#include "board/clock.h"
#include "board/system_time.h"

#ifdef DS3000_WRAPPED_TIME
#define SEAM(function) __wrap_##function
#else
#define SEAM(function) function
#endif

extern "C" {
#ifdef DS3000_WRAPPED_TIME
int __real_pthread_create(pthread_t *, const pthread_attr_t *, void *(*)(void *), void *);
int __real_pthread_join(pthread_t, void **);
int __real_pthread_mutex_lock(pthread_mutex_t *);
int __real_pthread_mutex_unlock(pthread_mutex_t *);
#endif
int SEAM(usleep)(useconds_t microseconds);
int SEAM(clock_gettime)(clockid_t clock, timespec *time) noexcept;
int SEAM(pthread_create)(pthread_t *thread, const pthread_attr_t *attributes,
                         void *(*start)(void *), void *argument) noexcept;
int SEAM(pthread_join)(pthread_t thread, void **result);
int SEAM(pthread_mutex_lock)(pthread_mutex_t *mutex) noexcept;
int SEAM(pthread_mutex_unlock)(pthread_mutex_t *mutex) noexcept;
}

namespace board {

namespace {

#ifndef DS3000_WRAPPED_TIME
template <typename Function>
Function *next_definition(const char *name) {
    return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}
#endif

}  // namespace

int system_pthread_create(pthread_t *thread, const pthread_attr_t *attributes,
                          void *(*start)(void *), void *argument) {
#ifdef DS3000_WRAPPED_TIME
    return __real_pthread_create(thread, attributes, start, argument);
#else
    static auto *const next =
        next_definition<int(pthread_t *, const pthread_attr_t *, void *(*)(void *), void *)>(
            "pthread_create");
    return next(thread, attributes, start, argument);
#endif
}

int system_pthread_join(pthread_t thread, void **result) {
#ifdef DS3000_WRAPPED_TIME
    return __real_pthread_join(thread, result);
#else
    static auto *const next = next_definition<int(pthread_t, void **)>("pthread_join");
    return next(thread, result);
#endif
}

int system_pthread_mutex_lock(pthread_mutex_t *mutex) {
#ifdef DS3000_WRAPPED_TIME
    return __real_pthread_mutex_lock(mutex);
#else
    static auto *const next = next_definition<int(pthread_mutex_t *)>("pthread_mutex_lock");
    return next(mutex);
#endif
}

int system_pthread_mutex_unlock(pthread_mutex_t *mutex) {
#ifdef DS3000_WRAPPED_TIME
    return __real_pthread_mutex_unlock(mutex);
#else
    static auto *const next = next_definition<int(pthread_mutex_t *)>("pthread_mutex_unlock");
    return next(mutex);
#endif
}

int system_clock_gettime(clockid_t clock, timespec *time) {
    return static_cast<int>(syscall(SYS_clock_gettime, clock, time));
}

void system_sleep_ns(std::uint64_t duration_ns) {
    timespec left{static_cast<time_t>(duration_ns / 1'000'000'000U),
                  static_cast<long>(duration_ns % 1'000'000'000U)};
    // A signal is no reason to give a chip less time than it needs.
    while (nanosleep(&left, &left) != 0 && errno == EINTR) {
    }
}

}  // namespace board

int SEAM(usleep)(useconds_t microseconds) {
    if (board::Board *board = board::current_board(); board != nullptr) {
        microseconds = board->wait(microseconds);
    }
    const std::uint64_t duration_ns = std::uint64_t{microseconds} * 1000U;
    board::VirtualClock *clock = board::VirtualClock::current();
    if (clock == nullptr) {
        board::system_sleep_ns(duration_ns);
    } else if (!clock->sleep_or_signal_ns(duration_ns)) {
        errno = EINTR;
        return -1;
    }
    return 0;
}

int SEAM(clock_gettime)(clockid_t clock, timespec *time) noexcept {
    const board::VirtualClock *virtual_clock = board::VirtualClock::current();
    if (virtual_clock == nullptr || clock != CLOCK_MONOTONIC) {
        return board::system_clock_gettime(clock, time);
    }
    if (!virtual_clock->read_monotonic(*time)) {
        errno = EINVAL;
        return -1;
    }
    return 0;
}

int SEAM(pthread_create)(pthread_t *thread, const pthread_attr_t *attributes,
                         void *(*start)(void *), void *argument) noexcept {
    if (board::VirtualClock *clock = board::VirtualClock::current(); clock != nullptr) {
        return clock->create_thread(thread, attributes, start, argument);
    }
    return board::system_pthread_create(thread, attributes, start, argument);
}

int SEAM(pthread_join)(pthread_t thread, void **result) {
    if (board::VirtualClock *clock = board::VirtualClock::current(); clock != nullptr) {
        return clock->join_thread(thread, result);
    }
    return board::system_pthread_join(thread, result);
}

int SEAM(pthread_mutex_lock)(pthread_mutex_t *mutex) noexcept {
    board::VirtualClock *clock = board::VirtualClock::current();
    return clock != nullptr && board::Schedule::is_at_work()
               ? clock->lock_mutex(mutex)
               : board::system_pthread_mutex_lock(mutex);
}

int SEAM(pthread_mutex_unlock)(pthread_mutex_t *mutex) noexcept {
    if (board::VirtualClock::current() != nullptr && board::Schedule::is_at_work()) {
        board::Schedule::note_unlock();
    }
    return board::system_pthread_mutex_unlock(mutex);
}
