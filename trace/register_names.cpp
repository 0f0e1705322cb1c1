// SPDX-License-Identifier: MIT
#include "trace/register_names.h"

#include <fmt/format.h>

#include <bit>
#include <span>
#include <string_view>

#include "board/board.h"

namespace trace {

namespace {

struct RegisterRow {
    std::string_view name;
    std::uint8_t address;
    Access access;
};

struct ValueRow {
    std::string_view name;
    std::uint8_t address;
    std::uint8_t value;
    Access access;
};

#include "trace/register_tables.inc"

struct ChipNames {
    std::span<const RegisterRow> registers;
    std::span<const ValueRow> values;
};

ChipNames names_of(unsigned device) {
    switch (device) {
        case DEMOD_ADDRESS:
            return {demod_registers, demod_values};
        case TUNER_ADDRESS:
            return {tuner_registers, tuner_values};
        default:
            return {};
    }
}

bool holds(Access name, Access use) { return name == Access::both || name == use; }

// A register that has a name of its own in this direction is not called by its number as well.
bool is_number(std::string_view name) { return name.starts_with("reg_"); }

void append(std::string &names, std::string_view name, std::string_view separator) {
    if (!names.empty()) {
        names += separator;
    }
    names += name;
}

}  // namespace

std::string register_name(unsigned device, std::uint8_t address, Access access) {
    std::string names;
    std::string number;
    for (const RegisterRow &row : names_of(device).registers) {
        if (row.address == address && holds(row.access, access)) {
            append(is_number(row.name) ? number : names, row.name, "|");
        }
    }
    return names.empty() ? number : names;
}

std::optional<std::uint8_t> register_number(unsigned device, std::string_view name, Access access) {
    for (const RegisterRow &row : names_of(device).registers) {
        if (row.name == name && holds(row.access, access)) {
            return row.address;
        }
    }
    return std::nullopt;
}

std::string value_names(unsigned device, std::uint8_t address, std::uint8_t value, Access access) {
    std::string names;
    unsigned unnamed = value;
    for (const ValueRow &row : names_of(device).values) {
        if (row.address != address || !holds(row.access, access)) {
            continue;
        }
        if (row.value == value) {
            return std::string(row.name);
        }
        if (std::has_single_bit(row.value) && (value & row.value) != 0) {
            append(names, row.name, " + ");
            unnamed &= ~unsigned{row.value};
        }
    }
    if (!names.empty() && unnamed != 0) {
        names += fmt::format(" + {:02X}", unnamed);
    }
    return names;
}

}  // namespace trace
