// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "ds3000/hw/register_byte.h"

namespace ds3000 {

// Below this rate, and without Unicable, the tuner is placed this far above the carrier.
constexpr std::int32_t low_rate_ksps = 5000;
constexpr std::int32_t low_rate_shift_khz = 3000;

// Work out ds3000_context.spectrum_inverted from the board's wiring and its Unicable unit.
void update_spectrum_inversion();

// DS3002B and DS3103: bit 1 of register 0x4D from ds3000_context.spectrum_inverted and bit 4 of
// register 0x30 from reg30_bit4_enable.
void put_board_options(demod_byte &byte);

// Loop settings of a DVB-S2 carrier of low_rate_ksps or less.
void program_low_rate_dvbs2();

}  // namespace ds3000
