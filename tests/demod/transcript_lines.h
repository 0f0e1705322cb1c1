// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>

#include "ds3000/chip/wiring.h"
#include "trace/transcript.h"

namespace tests {

// Transcript lines for registers and values that a test computes; a fixed line is better written
// out as text.

inline std::string write_line(unsigned reg, unsigned value) {
    trace::Event event;
    event.kind = trace::EventKind::write;
    event.address = DEMOD_ADDRESS;
    event.data = {static_cast<std::uint8_t>(reg), static_cast<std::uint8_t>(value)};
    return trace::format_event(event) + '\n';
}

inline std::string read_line(unsigned reg, unsigned value) {
    trace::Event event;
    event.kind = trace::EventKind::read;
    event.address = DEMOD_ADDRESS;
    event.data = {static_cast<std::uint8_t>(reg)};
    event.value = static_cast<std::uint8_t>(value);
    return trace::format_event(event) + '\n';
}

// A 16-bit value in two registers, low byte first.
inline std::string read_word_lines(unsigned low_reg, unsigned high_reg, unsigned value) {
    return read_line(low_reg, value & 0xFF) + read_line(high_reg, value >> 8 & 0xFF);
}

}  // namespace tests
