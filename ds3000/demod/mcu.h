// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "ds3000/hw/register_byte.h"

namespace ds3000 {

// The demodulator's micro-controller and core while registers are being programmed. The three
// belong together: what hold_mcu holds, release_mcu lets run, and release_held_mcu clears a hold
// that an earlier operation left behind.

// Whether the chip is the oldest of the three.
bool is_ds300x();

// Whether the chip is one of the two newer variants, which share their programming.
bool is_ds310x();

// Whether the chip is one of the three variants that the driver programs.
bool is_known_chip();

// Hold: 0xB2 = 0x01; on DS3002B and DS3103 also the core, 0x00 = 0x01.
void hold_mcu();

// Release: on DS3002B and DS3103 the core, 0x00 = 0x00; then 0xB2 = 0x00.
void release_mcu();

// Hold the micro-controller, and its core when `core` says so, for a time, and let them run again:
// 0xB2 = 0x01, 0x00 = 0x01, the wait, 0x00 = 0x00, 0xB2 = 0x00.
void restart_mcu(bool core, std::uint32_t held_us);

// Read 0xB2; when it is exactly 1, let the core (DS300X: 0x05 = 0x00, others: 0x00 = 0x00) and the
// micro-controller run.
void release_held_mcu(demod_byte &byte);

}  // namespace ds3000
