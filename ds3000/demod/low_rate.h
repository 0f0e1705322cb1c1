// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

namespace ds3000 {

// What a narrow carrier gets.

// How far above the carrier the tuner is placed: 3000 kHz below 5000 ksym/s, but not with Unicable,
// else 0.
std::int32_t low_rate_shift_khz(std::int32_t symbol_rate_ksps);

// Program the loops of a DVB-S2 carrier of 5000 ksym/s or less; nothing for others.
void program_low_rate_loops(std::int32_t symbol_rate_ksps, std::uint32_t standard);

}  // namespace ds3000
