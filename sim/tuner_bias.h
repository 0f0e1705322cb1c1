// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>

namespace sim {

// The tuner's registers as last written.
using TunerRegisters = std::array<std::uint8_t, 256>;

// A register that has to hold one value.
struct TunerRequirement {
    std::uint8_t reg;
    std::uint8_t value;
};

// The first one that does not, in words; else empty.
std::string wrong_one(const TunerRegisters &regs, std::span<const TunerRequirement> required);

// The fine value that the filter's silicon asks for, by the result of its calibration, is this over
// (2 x result + offset).
inline constexpr double filter_speed = 9'522;
inline constexpr double filter_offset = 151;

// The RF gain's trim as register 0x60 gives it.
std::uint8_t rf_trim_of(std::uint8_t value);

// What stages that do not work as they should cost.
struct TunerFlaws {
    double loss_db = 0;
    std::string worst;  // in words; empty without a loss

    void add(double db, const std::string &text);
};

// The losses of the stages whose bias or level the start-up has not set. The bias of each stage is
// 0 after power-on, which leaves it starved: the signal passes, several decibels worse.
TunerFlaws bias_flaws(unsigned type, const TunerRegisters &regs);

}  // namespace sim
