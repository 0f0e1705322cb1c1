// SPDX-License-Identifier: MIT
#pragma once

#include <pthread.h>

#include <cstdint>

#include "ds3000/hw/driver_record.h"
#include "ds3000/plugin/plugin.h"

namespace ds3000 {

// The Tuner's operations behind the descriptor, and what they share.

// Tuner::init, Tuner::finalize, and the record's release.
std::uint32_t init_ds3000_driver(Tuner *tuner);
std::uint32_t finalize_ds3000_driver(Tuner *tuner);
void delete_ds3000_driver(ds3000_driver *driver);

// Tuner::tune.
std::uint32_t tune_ds3000_driver(Tuner *tuner, const tune_request *request);

// The published lock status. Any thread.
std::uint32_t get_lock_ds3000_driver(ds3000_driver *driver);

// The worker thread's body; its argument is the ds3000_driver.
void *run_ds3000_worker(void *argument);

// The idle handshake, from a host call: ask the worker thread to leave the hardware alone and wait,
// however long the poll under way takes, until it does. Returns whether the hardware is the
// caller's; false, after 1000 us, when the thread is not parked and none runs that could answer.
bool park(ds3000_driver *driver);

// Let the worker thread poll again.
void unpark(ds3000_driver *driver);

// Milliseconds of the monotonic clock; 0, and a line from perror, when the clock fails.
std::uint64_t monotonic_ms();

// The record's mutex for the rest of a scope.
class DriverLock {
 public:
    explicit DriverLock(ds3000_driver *driver) : mutex_(&driver->mutex) {
        pthread_mutex_lock(mutex_);
    }
    DriverLock(const DriverLock &) = delete;
    DriverLock &operator=(const DriverLock &) = delete;
    ~DriverLock() { pthread_mutex_unlock(mutex_); }

 private:
    pthread_mutex_t *mutex_;
};

}  // namespace ds3000
