// SPDX-License-Identifier: MIT
#pragma once

#include "ds3000/hw/register_byte.h"

namespace ds3000 {

// Work out ds3000_context.spectrum_inverted from the board's wiring and its Unicable unit.
void update_spectrum_inversion();

// DS3002B and DS3103: bit 1 of register 0x4D from ds3000_context.spectrum_inverted. Not for DS300X.
void put_spectrum_inversion(demod_byte &byte);

// DS3002B and DS3103: the same, and bit 4 of register 0x30 from reg30_bit4_enable. Does nothing on
// other chips.
void put_board_options(demod_byte &byte);

}  // namespace ds3000
