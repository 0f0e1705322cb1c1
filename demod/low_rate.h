// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

namespace ds3000 {

// Below this rate, and without Unicable, the tuner is placed this far above the carrier.
constexpr std::int32_t low_rate_ksps = 5000;
constexpr std::int32_t low_rate_shift_khz = 3000;

// Loop settings of a DVB-S2 carrier of low_rate_ksps or less.
void program_low_rate_dvbs2();

}  // namespace ds3000
