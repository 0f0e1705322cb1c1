// SPDX-License-Identifier: MIT
#pragma once

#include <pthread.h>

#include <cstdint>

#include "ds3000/hw/driver_record.h"
#include "ds3000/plugin/plugin.h"

namespace ds3000 {

// The life of a Tuner behind the descriptor, and what its calls and the worker thread share.

// Tuner::init, Tuner::finalize, and the record's release.
std::uint32_t init_ds3000_driver(Tuner *tuner);
std::uint32_t finalize_ds3000_driver(Tuner *tuner);
void delete_ds3000_driver(ds3000_driver *driver);

// The published lock status. Any thread.
std::uint32_t get_lock_ds3000_driver(ds3000_driver *driver);

// The record as messages print it.
inline void *address_of(ds3000_driver *driver) { return driver; }

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
