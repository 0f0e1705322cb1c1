// SPDX-License-Identifier: MIT
#pragma once

#include "ds3000/hw/driver_record.h"

namespace ds3000 {

// The idle handshake, from a host call: ask the worker thread to leave the hardware alone and wait,
// however long the poll under way takes, until it does. Returns whether the hardware is the
// caller's; false, after 1000 us, when the thread is not parked and none runs that could answer.
bool park(ds3000_driver *driver);

// Let the worker thread poll again.
void unpark(ds3000_driver *driver);

// The worker thread's body; its argument is the ds3000_driver.
void *run_ds3000_worker(void *argument);

}  // namespace ds3000
