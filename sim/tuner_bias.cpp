// SPDX-License-Identifier: MIT
#include "sim/tuner_bias.h"

#include <fmt/format.h>

namespace sim {

namespace {

// A stage's register, the value of a sound bias, and what another one costs in C/N.
struct Bias {
    std::uint8_t reg;
    std::uint8_t value;
    double loss_db;
    const char *stage;
};

// A starved oscillator or charge pump shows as phase noise, a starved amplifier as noise figure, a
// wrong level between the stages as distortion.
constexpr std::array type_1_biases{Bias{0x07, 0x02, 16, "mixer"},
                                   Bias{0x08, 0x01, 16, "baseband amplifier"}};
constexpr std::array type_2_biases{
    Bias{0x7D, 0x9D, 16, "VCO"},         Bias{0x7C, 0x9A, 10, "VCO"},
    Bias{0x7A, 0x76, 16, "charge pump"}, Bias{0x3B, 0x01, 10, "LNA"},
    Bias{0x63, 0x88, 16, "RF stage"},    Bias{0x61, 0x85, 10, "LNA"},
    Bias{0x30, 0x40, 16, "mixer"},       Bias{0x20, 0x23, 10, "baseband amplifier"},
    Bias{0x24, 0x02, 16, "filter"}};

std::span<const Bias> biases_of(unsigned type) {
    return type == 1 ? std::span<const Bias>(type_1_biases) : type_2_biases;
}

}  // namespace

std::string wrong_one(const TunerRegisters &regs, std::span<const TunerRequirement> required) {
    for (const TunerRequirement &row : required) {
        if (regs[row.reg] != row.value) {
            return fmt::format("tuner register 0x{:02X} holds 0x{:02X}, it needs 0x{:02X}", row.reg,
                               regs[row.reg], row.value);
        }
    }
    return {};
}

// Bit 0 puts the trim into force.
std::uint8_t rf_trim_of(std::uint8_t value) {
    return (value & 1) != 0 ? static_cast<std::uint8_t>(value >> 3 & 0x0F) : std::uint8_t{15};
}

void TunerFlaws::add(double db, const std::string &text) {
    if (worst.empty()) {
        worst = text;
    }
    loss_db += db;
}

TunerFlaws bias_flaws(unsigned type, const TunerRegisters &regs) {
    TunerFlaws flaws;
    for (const Bias &bias : biases_of(type)) {
        if (regs[bias.reg] != bias.value) {
            flaws.add(bias.loss_db, fmt::format("the tuner's {}, biased by 0x{:02X} = 0x{:02X} "
                                                "instead of 0x{:02X}",
                                                bias.stage, bias.reg, regs[bias.reg], bias.value));
        }
    }
    return flaws;
}

}  // namespace sim
