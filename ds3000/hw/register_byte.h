// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "ds3000/hw/register_access.h"

namespace ds3000 {

// The byte through which an operation reads and changes registers of a chip.
// A read that fails leaves the byte as it was: what the operation read or wrote last, 0 in the
// beginning. The operation goes on with that, changes it and writes it.
template <auto read_register, auto write_register>
class register_byte {
 public:
    // Read a register; returns the byte.
    std::uint8_t read(std::uint8_t reg) {
        read_register(reg, &value_);
        return value_;
    }

    void write(std::uint8_t reg, std::uint8_t value) {
        value_ = value;
        write_register(reg, value);
    }

    // Read-modify-write: always one read and one write.
    void update(std::uint8_t reg, std::uint8_t clear, std::uint8_t set) {
        read(reg);
        write(reg, static_cast<std::uint8_t>((value_ & ~clear) | set));
    }

    void set(std::uint8_t reg, std::uint8_t mask) { update(reg, 0, mask); }
    void clear(std::uint8_t reg, std::uint8_t mask) { update(reg, mask, 0); }
    void put(std::uint8_t reg, std::uint8_t mask, bool on) {
        update(reg, mask, on ? mask : std::uint8_t{0});
    }

 private:
    std::uint8_t value_ = 0;
};

using demod_byte = register_byte<demod_read, demod_write>;
using tuner_byte = register_byte<tuner_read, tuner_write>;

}  // namespace ds3000
