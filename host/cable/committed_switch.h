// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstdint>

namespace host {

// Write N0 to a committed switch: the port from 1, polarisation and band in the last byte.
constexpr std::array<std::uint8_t, 4> committed_switch_message(std::uint32_t port, bool voltage_18v,
                                                               bool tone) {
    const std::uint32_t choice =
        4U * (port + 59U) | (voltage_18v ? 0x02U : 0U) | (tone ? 0x01U : 0U);
    return {0xE0, 0x10, 0x38, static_cast<std::uint8_t>(choice)};
}

}  // namespace host
