// SPDX-License-Identifier: MIT
#include "sim/ts_port.h"

#include <fmt/format.h>

#include <algorithm>

#include "broadcast/modcod.h"

namespace sim {

namespace {

constexpr unsigned serial_mode = 1;

// Whether the mode register has the older layout.
bool is_old_bank(Chip chip, broadcast::System system) {
    return chip == Chip::ds300x && system == broadcast::System::dvbs;
}

unsigned mode_of(Chip chip, broadcast::System system, std::uint8_t reg) {
    const bool old_bits = is_old_bank(chip, system);
    const bool mode_3 = (reg & (old_bits ? 0x80 : 0x01)) != 0;
    const bool mode_1 = (reg & (old_bits ? 0x40 : 0x04)) != 0;
    if (mode_3) {
        return 3;
    }
    return mode_1 ? 1 : 2;
}

// High and low count of the output clock, in master clocks; 0 where it divides nothing.
unsigned clocks_per_byte(Chip chip, broadcast::System system, const TsRegisters &regs) {
    if (chip != Chip::ds300x) {
        const unsigned high = (regs.divider & 0x0FU) << 2 | regs.divider_low >> 6;
        const unsigned low = regs.divider_low & 0x3FU;
        return high + 1 + low + 1;
    }
    constexpr unsigned dividend = 0xC0;
    constexpr unsigned master_clock = 0x80;
    if (is_old_bank(chip, system) && (regs.divider & dividend) != master_clock) {
        return 0;
    }
    const unsigned shift = system == broadcast::System::dvbs2 ? 4 : 3;
    const unsigned mask = (1U << shift) - 1;
    return ((regs.divider >> shift) & mask) + (regs.divider & mask);
}

bool drives_pins(Chip chip, broadcast::System system, const TsRegisters &regs, unsigned mode) {
    constexpr unsigned on = 0x01;
    constexpr unsigned all_eight = 0x10;
    const bool old_bank = is_old_bank(chip, system);
    const bool block_on = old_bank ? (regs.mode & 0x3FU) == 0x20 : (regs.mode & 0xFAU) == 0x42;
    const bool serial_of_ds300x = chip == Chip::ds300x && mode == serial_mode;
    const unsigned looked_at = old_bank || serial_of_ds300x ? on : on | all_eight;
    const unsigned pins = mode == serial_mode ? on : on | all_eight;
    const bool strong =
        chip == Chip::ds300x || (regs.divider & ts_pin_strength_mask) == ts_pin_strength;
    const bool same_edge = (regs.polarity & 1U) == ((regs.mode >> 3U) & 1U);
    return block_on && strong && (regs.enable & looked_at) == (pins & looked_at) &&
           (regs.drivers & 0xB0U) == 0 && same_edge && regs.clock_reset == 0;
}

// How much faster than the payload the clock has to be.
double surplus_of(Chip chip, broadcast::System system, unsigned mode) {
    constexpr double serial_frames = 1.2;
    constexpr double unbuffered = 8.0 / 7;
    if (mode == serial_mode && system == broadcast::System::dvbs2) {
        return serial_frames;
    }
    return chip == Chip::ds300x ? unbuffered : 1;
}

// What a demultiplexer's input takes.
double bearable_khz(unsigned mode, double payload_khz) {
    constexpr double any_parallel_khz = 58'000 / 8.0;
    constexpr double any_serial_khz = 144'000;
    constexpr double times_payload = 2;
    return std::max(mode == serial_mode ? any_serial_khz : any_parallel_khz,
                    times_payload * payload_khz);
}

TsOutput::Fault fault_of(const TsOutput &output, bool pins_driven) {
    using Fault = TsOutput::Fault;
    if (!pins_driven) {
        return Fault::drivers_off;
    }
    if (output.mode != output.wired_mode) {
        return Fault::wrong_mode;
    }
    if (output.master_khz < output.decoding_khz) {
        return Fault::decoder;
    }
    if (output.clock_khz < output.needed_khz) {
        return Fault::too_slow;
    }
    return output.clock_khz > output.bearable_khz ? Fault::too_fast : Fault::none;
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
                   const broadcast::Transponder &carrier, unsigned wired_mode) {
    constexpr double decoder_clocks_per_bit = 1.14;
    TsOutput output;
    output.mode = mode_of(chip, system, regs.mode);
    output.wired_mode = wired_mode;
    output.master_khz = master_clock_khz(chip, system, regs).value_or(0);
    const double kbytes = payload_bytes_per_s(carrier) / 1000;
    const double payload_khz = output.mode == serial_mode ? 8 * kbytes : kbytes;
    const unsigned clocks = output.mode == serial_mode ? 1 : clocks_per_byte(chip, system, regs);
    output.clock_khz = clocks == 0 ? 0 : output.master_khz / clocks;
    output.needed_khz = surplus_of(chip, system, output.mode) * payload_khz;
    output.decoding_khz = chip != Chip::ds300x && system == broadcast::System::dvbs2
                              ? decoder_clocks_per_bit * 8 * kbytes
                              : 0;
    output.bearable_khz = bearable_khz(output.mode, payload_khz);
    output.fault = fault_of(output, drives_pins(chip, system, regs, output.mode));
    return output;
}

std::string describe_fault(const TsOutput &output) {
    switch (output.fault) {
        case TsOutput::Fault::none:
            return "";
        case TsOutput::Fault::drivers_off:
            return "the transport-stream port drives no pins";
        case TsOutput::Fault::wrong_mode:
            return fmt::format(
                "the transport-stream port works in mode {}, the board is wired for "
                "mode {}",
                output.mode, output.wired_mode);
        case TsOutput::Fault::decoder:
            return fmt::format(
                "the decoder needs a master clock of {:.0f} kHz for this payload, it has {:.0f} "
                "kHz",
                output.decoding_khz, output.master_khz);
        case TsOutput::Fault::too_slow:
            return fmt::format(
                "the transport-stream clock of {:.0f} kHz is slower than the {:.0f} "
                "kHz that the payload needs",
                output.clock_khz, output.needed_khz);
        case TsOutput::Fault::too_fast:
            return fmt::format(
                "the transport-stream clock of {:.0f} kHz is faster than the {:.0f} "
                "kHz that a demultiplexer takes with this payload",
                output.clock_khz, output.bearable_khz);
    }
    return "";
}

}  // namespace sim
