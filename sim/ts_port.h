// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>

#include "sim/scenario.h"
#include "sim/verdict.h"

namespace sim {

// The registers that set up the transport-stream port.
struct TsRegisters {
    std::uint8_t mode = 0;         // 0xFD
    std::uint8_t divider = 0;      // 0xFE
    std::uint8_t divider_low = 0;  // 0xEA, DS3002B and DS3103
    std::uint8_t clock_a = 0;      // 0x22
    std::uint8_t clock_b = 0;      // 0x24
    std::uint8_t enable = 0;       // 0x27
    std::uint8_t drivers = 0;      // 0x29
    std::uint8_t polarity = 0;     // 0xCA
    std::uint8_t clock_reset = 0;  // 0x06
};

// Bits 7..4 of 0xFE with DS3002B and DS3103, from their fuses: how strongly the pins are driven.
inline constexpr std::uint8_t ts_pin_strength = 0x90;
inline constexpr std::uint8_t ts_pin_strength_mask = 0xF0;

// Master clock in kHz; absent when the registers select none. DS300X has a fixed one for each
// standard.
std::optional<std::uint32_t> master_clock_khz(Chip chip, broadcast::System system,
                                              const TsRegisters &regs);

// What the port makes of the carrier's payload on a board that is wired for a mode. Modes 2 and 3
// are parallel: a byte a clock, the master clock divided by the sum of the high and low counts; in
// the DVB-S bank of DS300X it is what is divided with bits 7 and 6 of 0xFE at 10 only.
// Mode 1 is serial: a bit a clock, at the master clock.
//
// The clock must be as fast as the payload; that of DS300X, which has no buffer behind its decoder,
// a seventh faster, for a frame's packets come faster than they do on average, and a serial one in
// DVB-S2 a fifth, for the bits of a frame come in bursts between its checks. Packets go out at the
// clock with gaps between them: one far above the payload makes bursts that overflow a
// demultiplexer's input. Any takes the 58 Mbit/s of a common interface (EN 50221), or twice the
// payload; a serial one the chip's own clock.
// The newer chips' decoder of DVB-S2 takes 1.14 master clocks for each bit that it puts out.
//
// The pins are driven with 0x06 clear, 0x27 bit 0 set and 0x29 bits 7, 5 and 4 clear, from the
// port's block with its enabling bits set in 0xFD: 6 and 1, or 5 in the DVB-S bank of DS300X. Where
// that bank is not the one in use, 0x27 bit 4 turns on the other seven pins of a parallel port;
// those of a serial port are to be off, but for DS300X, which drives them low. Those of DS3002B and
// DS3103 are too weak for a board without the strength in 0xFE that power-on gives. The decoder
// hands over on the clock edge of 0xCA bit 0, the port takes over on that of 0xFD bit 3.
TsOutput ts_output(Chip chip, broadcast::System system, const TsRegisters &regs,
                   const broadcast::Transponder &carrier, unsigned wired_mode);

}  // namespace sim
