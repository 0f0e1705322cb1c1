// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "ds3000/hw/driver_record.h"
#include "ds3000/plugin/plugin.h"

namespace ds3000 {

// The life of a Tuner behind the descriptor.

// Tuner::init, Tuner::finalize, and the record's release.
std::uint32_t init_ds3000_driver(Tuner *tuner);
std::uint32_t finalize_ds3000_driver(Tuner *tuner);
void delete_ds3000_driver(ds3000_driver *driver);

// The published lock status. Any thread.
std::uint32_t get_lock_ds3000_driver(ds3000_driver *driver);

}  // namespace ds3000
