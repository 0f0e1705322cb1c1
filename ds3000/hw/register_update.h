// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "ds3000/hw/register_access.h"

namespace ds3000 {

// Read-modify-write of a demodulator register: one read, one write. `byte` is the calling
// operation's working byte: a failed read leaves it, and it is what gets modified and written.
inline void demod_update(std::uint8_t reg, std::uint8_t &byte, std::uint8_t clear,
                         std::uint8_t set) {
    demod_read(reg, &byte);
    byte = static_cast<std::uint8_t>((byte & ~clear) | set);
    demod_write(reg, byte);
}

inline void demod_set_bits(std::uint8_t reg, std::uint8_t &byte, std::uint8_t mask) {
    demod_update(reg, byte, 0, mask);
}

inline void demod_clear_bits(std::uint8_t reg, std::uint8_t &byte, std::uint8_t mask) {
    demod_update(reg, byte, mask, 0);
}

inline void demod_put_bits(std::uint8_t reg, std::uint8_t &byte, std::uint8_t mask, bool set) {
    demod_update(reg, byte, mask, set ? mask : std::uint8_t{0});
}

}  // namespace ds3000
