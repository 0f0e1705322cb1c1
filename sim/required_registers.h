// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "sim/scenario.h"

namespace sim {

// The demodulator's registers as last written, indexed ones apart.
struct RegisterFile {
    std::array<std::uint8_t, 256> plain{};
    std::array<std::array<std::uint8_t, 3>, 8> tap_groups{};  // 0x71..0x73, by bits 7..5 of 0x70
    std::array<std::array<std::uint8_t, 2>, 4> loops{};       // 0x80 and 0x81, by bits 1..0 of 0x7C
    std::array<std::array<std::uint8_t, 2>, 2> ts{};          // 0xFD and 0xFE, by bit 2 of 0x08
};

// The first register of a standard's table without whose value the chip cannot lock, in words;
// empty when all hold what they need. They stand for their neighbours: the model needs some twenty
// bytes of each table, and takes them for what their place in the chip suggests.
std::string table_fault(Chip chip, broadcast::System system, const RegisterFile &regs);

}  // namespace sim
