// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

// How the chips are wired to each other and to the host.
namespace sim::wiring {

// 8-bit bus addresses, as for a write.
inline constexpr std::uint8_t demodulator_address = 0xD0;
inline constexpr std::uint8_t tuner_address = 0xC0;
inline constexpr std::uint8_t lnbh23_address = 0x14;

// How the host ends a transfer: with a stop, or open for a repeated start.
inline constexpr unsigned open_flags = 1;
inline constexpr unsigned complete_flags = 3;

// GPIO lines of the LNB supply.
inline constexpr unsigned supply_enable_line = 6;
inline constexpr unsigned supply_18v_line = 7;

// Control byte of the supply controller.
inline constexpr std::uint8_t lnbh23_enable = 0x04;
inline constexpr std::uint8_t lnbh23_18v = 0x08;
inline constexpr std::uint8_t lnbh23_tone = 0x40;  // lets the 22 kHz through

}  // namespace sim::wiring
