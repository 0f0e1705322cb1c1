// SPDX-License-Identifier: MIT
#pragma once

#include "ds3000/hw/register_byte.h"

namespace ds3000 {

// What the driver does for a DVB-S2 acquisition at every poll, before it looks for lock.
// DS300X: once the frame header is decoded, set two loop registers to the received MODCOD.
// Other chips: once per connect, when the search is far enough and the received energy is spread
// too widely, reset the decoder (1000 us).
void help_dvbs2_lock(demod_byte &byte);

}  // namespace ds3000
