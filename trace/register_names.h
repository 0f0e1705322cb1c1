// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace trace {

// Whether a register is written or read: some mean different things each way.
enum class Access { both, read, write };

// The name of a device's register as the register headers have it; several with a stroke between
// where they share a number. Empty for a register without a name and for other devices.
std::string register_name(unsigned device, std::uint8_t address, Access access);

// The number of the register that bears a name in this direction; absent when none does.
std::optional<std::uint8_t> register_number(unsigned device, std::string_view name, Access access);

// The names of a register's value: that of the whole value, or those of its bits. Bits without a
// name stay a number, and a value in which nothing has a name gives an empty string.
std::string value_names(unsigned device, std::uint8_t address, std::uint8_t value, Access access);

}  // namespace trace
