// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <array>
#include <optional>

#include "broadcast/transponder.h"

namespace host {

// The numbers that stand for values in satellites.xml.
template <typename Value>
struct XmlCode {
    unsigned code;
    Value value;
};

template <typename Value, std::size_t count>
std::optional<unsigned> code_of(const std::array<XmlCode<Value>, count> &codes,
                                const std::optional<Value> &value) {
    const auto found = std::find_if(codes.begin(), codes.end(), [&value](const auto &candidate) {
        return value && candidate.value == *value;
    });
    return found == codes.end() ? std::nullopt : std::optional(found->code);
}

template <typename Value, std::size_t count>
std::optional<Value> value_of_code(const std::array<XmlCode<Value>, count> &codes, unsigned code) {
    const auto found = std::find_if(codes.begin(), codes.end(), [code](const auto &candidate) {
        return candidate.code == code;
    });
    return found == codes.end() ? std::nullopt : std::optional(found->value);
}

// clang-format off
namespace xml_codes {

using broadcast::CodeRate;
using broadcast::Modulation;
using broadcast::Polarisation;
using broadcast::RollOff;
using broadcast::System;

inline constexpr auto polarisations = std::to_array<XmlCode<Polarisation>>({
    {0, Polarisation::horizontal},
    {1, Polarisation::vertical},
    {2, Polarisation::left},
    {3, Polarisation::right},
});

inline constexpr auto systems = std::to_array<XmlCode<System>>({
    {0, System::dvbs},
    {1, System::dvbs2},
});

inline constexpr unsigned automatic_modulation = 0;
inline constexpr auto modulations = std::to_array<XmlCode<Modulation>>({
    {1, Modulation::qpsk},
    {2, Modulation::psk8},
    {4, Modulation::apsk16},
    {5, Modulation::apsk32},
});

// 1/4, 1/3 and 2/5 have no number that all readers know: automatic.
inline constexpr unsigned automatic_code_rate = 0;
inline constexpr unsigned no_code_rate = 15;
inline constexpr auto code_rates = std::to_array<XmlCode<CodeRate>>({
    {1, CodeRate::r1_2},
    {2, CodeRate::r2_3},
    {3, CodeRate::r3_4},
    {4, CodeRate::r5_6},
    {5, CodeRate::r7_8},
    {6, CodeRate::r8_9},
    {7, CodeRate::r3_5},
    {8, CodeRate::r4_5},
    {9, CodeRate::r9_10},
});

inline constexpr unsigned automatic_roll_off = 3;
inline constexpr auto roll_offs = std::to_array<XmlCode<RollOff>>({
    {0, RollOff::r35},
    {1, RollOff::r25},
    {2, RollOff::r20},
});

// Of pilots and inversion.
inline constexpr unsigned automatic_switch = 2;
inline constexpr auto switches = std::to_array<XmlCode<bool>>({
    {0, false},
    {1, true},
});

}  // namespace xml_codes
// clang-format on

}  // namespace host
