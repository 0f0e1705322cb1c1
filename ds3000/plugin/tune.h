// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "ds3000/plugin/plugin.h"

namespace ds3000 {

// Tuner::tune.
std::uint32_t tune_ds3000_driver(Tuner *tuner, const tune_request *request);

}  // namespace ds3000
