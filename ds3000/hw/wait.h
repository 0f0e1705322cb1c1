// SPDX-License-Identifier: MIT
#pragma once

#include <unistd.h>

#include <cstdint>

namespace ds3000 {

// The driver's only way to sleep: one call of usleep for one wait.
inline void wait_us(std::uint32_t microseconds) { usleep(microseconds); }

}  // namespace ds3000
