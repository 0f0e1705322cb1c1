// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "ds3000/hw/register_byte.h"

namespace ds3000 {

// Whether the demodulator has lock in the standard in force: DVB-S2 from 0x0D; DVB-S from 0xD1 and,
// when that says so, 0x0D.
bool has_lock(demod_byte &byte);

// Poll 0xB3 until the micro-controller's search has begun: up to 11 reads, 10000 us apart.
bool wait_for_search(demod_byte &byte);

// What a round of amplitude readings reads: 0x59, or 0x59 and then 0xB3, whose value is not used.
enum class amplitude_round { alone, with_mcu_state };

// Look at the carrier's amplitude for fifteen rounds: ten good ones and none negative. The first
// negative one ends it.
bool amplitude_is_good(demod_byte &byte, amplitude_round round);

}  // namespace ds3000
