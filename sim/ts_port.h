// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>

#include "sim/scenario.h"
#include "sim/verdict.h"

namespace sim {

// The registers that set the clock of the transport-stream port.
struct TsRegisters {
    std::uint8_t mode = 0;         // 0xFD
    std::uint8_t divider = 0;      // 0xFE
    std::uint8_t divider_low = 0;  // 0xEA, DS3002B and DS3103
    std::uint8_t clock_a = 0;      // 0x22
    std::uint8_t clock_b = 0;      // 0x24
};

// Master clock in kHz; absent when the registers select none. DS300X has a fixed one for each
// standard.
std::optional<std::uint32_t> master_clock_khz(Chip chip, broadcast::System system,
                                              const TsRegisters &regs);

// The port's clock against what the carrier's payload needs. Modes 2 and 3 are parallel: a byte a
// clock, the master clock divided by the sum of the high and low counts. Mode 1 is serial: a bit a
// clock, at the master clock.
TsOutput ts_output(Chip chip, broadcast::System system, const TsRegisters &regs,
                   const broadcast::Transponder &carrier);

}  // namespace sim
