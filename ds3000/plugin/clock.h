// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

namespace ds3000 {

// Milliseconds of the monotonic clock; 0, and a line from perror, when the clock fails.
std::uint64_t monotonic_ms();

}  // namespace ds3000
