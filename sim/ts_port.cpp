// SPDX-License-Identifier: MIT
#include "sim/ts_port.h"

#include "broadcast/modcod.h"

namespace sim {

namespace {

unsigned mode_of(Chip chip, broadcast::System system, std::uint8_t reg) {
    const bool old_bits = chip == Chip::ds300x && system == broadcast::System::dvbs;
    const bool mode_3 = (reg & (old_bits ? 0x80 : 0x01)) != 0;
    const bool mode_1 = (reg & (old_bits ? 0x40 : 0x04)) != 0;
    if (mode_3) {
        return 3;
    }
    return mode_1 ? 1 : 2;
}

// High and low count of the output clock, in master clocks.
unsigned clocks_per_byte(Chip chip, broadcast::System system, const TsRegisters &regs) {
    if (chip != Chip::ds300x) {
        const unsigned high = (regs.divider & 0x0FU) << 2 | regs.divider_low >> 6;
        const unsigned low = regs.divider_low & 0x3FU;
        return high + 1 + low + 1;
    }
    const unsigned shift = system == broadcast::System::dvbs2 ? 4 : 3;
    const unsigned mask = (1U << shift) - 1;
    return ((regs.divider >> shift) & mask) + (regs.divider & mask);
}

}  // namespace

std::optional<std::uint32_t> master_clock_khz(Chip chip, broadcast::System system,
                                              const TsRegisters &regs) {
    if (chip == Chip::ds300x) {
        return system == broadcast::System::dvbs2 ? 144'000 : 96'000;
    }
    switch ((regs.clock_a >> 6) << 2 | regs.clock_b >> 6) {
        case 0b0001:
            return 144'000;
        case 0b0011:
            return 72'000;
        case 0b0101:
            return 115'200;
        case 0b1001:
            return 96'000;
        case 0b1100:
            return 192'000;
        default:
            return std::nullopt;
    }
}

TsOutput ts_output(Chip chip, broadcast::System system, const TsRegisters &regs,
                   const broadcast::Transponder &carrier) {
    TsOutput output;
    output.mode = mode_of(chip, system, regs.mode);
    const double clock = master_clock_khz(chip, system, regs).value_or(0);
    const double kbytes = payload_bytes_per_s(carrier) / 1000;
    if (output.mode == 1) {
        output.clock_khz = clock;
        output.needed_khz = 8 * kbytes;
    } else {
        const unsigned clocks = clocks_per_byte(chip, system, regs);
        output.clock_khz = clocks == 0 ? 0 : clock / clocks;
        output.needed_khz = kbytes;
    }
    return output;
}

}  // namespace sim
