// SPDX-License-Identifier: MIT
#pragma once

#include <pthread.h>

#include <cstdint>
#include <ctime>

namespace board {

// The system's own functions behind the time seam.
int system_pthread_create(pthread_t *thread, const pthread_attr_t *attributes,
                          void *(*start)(void *), void *argument);
int system_pthread_join(pthread_t thread, void **result);
int system_pthread_mutex_lock(pthread_mutex_t *mutex);
int system_pthread_mutex_unlock(pthread_mutex_t *mutex);
int system_clock_gettime(clockid_t clock, timespec *time);
void system_sleep_ns(std::uint64_t duration_ns);

// Between two transfers another thread may take the turn, where the time is a virtual clock's.
void end_transfer();

}  // namespace board
