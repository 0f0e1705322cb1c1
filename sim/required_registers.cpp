// SPDX-License-Identifier: MIT
#include "sim/required_registers.h"

#include <fmt/format.h>

#include <span>

namespace sim {

namespace {

struct Required {
    std::uint8_t reg;
    std::uint8_t value;
    const char *function;
};

// clang-format off
constexpr std::array ds310x_dvbs{
    Required{0x32, 0x32, "AGC target"},     Required{0x33, 0x99, "AGC speed"},
    Required{0x42, 0x60, "carrier search"}, Required{0x4B, 0x04, "carrier loop"},
    Required{0x64, 0x30, "timing loop"},    Required{0x65, 0x40, "timing loop"},
    Required{0x68, 0x26, "carrier loop"},   Required{0x69, 0x4C, "carrier loop"},
    Required{0x77, 0xA6, "equaliser"},      Required{0x7F, 0x14, "equaliser"},
    Required{0x85, 0x04, "demapper"},       Required{0x82, 0x44, "demapper"},
    Required{0xD0, 0x40, "Viterbi decoder"}, Required{0xE6, 0x8B, "code rates tried"},
    Required{0xFA, 0x0F, "Reed-Solomon decoder"}};

constexpr std::array ds310x_dvbs2{
    Required{0x32, 0x32, "AGC target"},     Required{0x33, 0x99, "AGC speed"},
    Required{0x42, 0x60, "carrier search"}, Required{0x4B, 0x04, "carrier loop"},
    Required{0x64, 0x10, "timing loop"},    Required{0x65, 0x20, "timing loop"},
    Required{0x77, 0xA6, "equaliser"},      Required{0x7F, 0x14, "equaliser"},
    Required{0x85, 0x08, "demapper"},       Required{0x87, 0x0F, "demapper"},
    Required{0x9D, 0xC1, "header search"},  Required{0xAD, 0x40, "header search"},
    Required{0xCB, 0x24, "LDPC decoder"},   Required{0xCC, 0xF4, "LDPC decoder"},
    Required{0xCE, 0x74, "BCH decoder"}};

constexpr std::array ds300x_dvbs{
    Required{0x32, 0x32, "AGC target"},     Required{0x33, 0x99, "AGC speed"},
    Required{0x42, 0x60, "carrier search"}, Required{0x4B, 0x04, "carrier loop"},
    Required{0x64, 0x30, "timing loop"},    Required{0x65, 0x40, "timing loop"},
    Required{0x68, 0x26, "carrier loop"},   Required{0x69, 0x4C, "carrier loop"},
    Required{0x77, 0xD1, "equaliser"},      Required{0x7F, 0x04, "equaliser"},
    Required{0x85, 0x04, "demapper"},       Required{0xAD, 0x20, "header search"},
    Required{0xD0, 0x40, "Viterbi decoder"}, Required{0xE6, 0x8B, "code rates tried"},
    Required{0xFA, 0x0F, "Reed-Solomon decoder"}};

constexpr std::array ds300x_dvbs2{
    Required{0x32, 0x32, "AGC target"},     Required{0x33, 0x99, "AGC speed"},
    Required{0x42, 0x60, "carrier search"}, Required{0x4B, 0x04, "carrier loop"},
    Required{0x64, 0x10, "timing loop"},    Required{0x65, 0x10, "timing loop"},
    Required{0x68, 0x04, "carrier loop"},   Required{0x69, 0x29, "carrier loop"},
    Required{0x77, 0x42, "equaliser"},      Required{0x7F, 0xD4, "equaliser"},
    Required{0x85, 0x08, "demapper"},       Required{0x87, 0x02, "demapper"},
    Required{0xAD, 0x40, "header search"},  Required{0xCB, 0x24, "LDPC decoder"},
    Required{0xCE, 0x74, "BCH decoder"},    Required{0xD2, 0x32, "frame counter"}};
// clang-format on

// Taps of the pulse filter: five groups, all alike.
constexpr std::array<std::uint8_t, 3> tap_group{0x70, 0x04, 0x00};
constexpr std::size_t first_tap_group = 1;
constexpr std::size_t last_tap_group = 5;

// Carrier loops of DS300X for 16APSK and 32APSK; those for QPSK and 8PSK follow the code rate.
constexpr std::array<std::array<std::uint8_t, 2>, 2> apsk_loops{{{0xCA, 0xEB}, {0xBA, 0xDB}}};

std::span<const Required> required_by(Chip chip, broadcast::System system) {
    if (chip == Chip::ds300x) {
        return system == broadcast::System::dvbs2 ? std::span<const Required>(ds300x_dvbs2)
                                                  : ds300x_dvbs;
    }
    return system == broadcast::System::dvbs2 ? std::span<const Required>(ds310x_dvbs2)
                                              : ds310x_dvbs;
}

}  // namespace

std::string table_fault(Chip chip, broadcast::System system, const RegisterFile &regs) {
    for (const Required &row : required_by(chip, system)) {
        if (regs.plain[row.reg] != row.value) {
            return fmt::format("register 0x{:02X} ({}) holds 0x{:02X}, {} needs 0x{:02X}", row.reg,
                               row.function, regs.plain[row.reg], to_string(system), row.value);
        }
    }
    for (std::size_t group = first_tap_group; group <= last_tap_group; ++group) {
        if (regs.tap_groups.at(group) != tap_group) {
            return fmt::format("pulse filter group 0x{:02X} (0x70..0x73) is not loaded",
                               group << 5);
        }
    }
    if (chip == Chip::ds300x && system == broadcast::System::dvbs2 &&
        (regs.loops[2] != apsk_loops[0] || regs.loops[3] != apsk_loops[1])) {
        return "carrier loops for 16APSK and 32APSK (0x7C, 0x80, 0x81) are not loaded";
    }
    return {};
}

}  // namespace sim
