// SPDX-License-Identifier: MIT
#pragma once

#include <pthread.h>

#include "ds3000/hw/driver_record.h"

namespace ds3000 {

// The record as messages print it.
inline void *address_of(ds3000_driver *driver) { return driver; }

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
