// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

// The tuner's registers, as far as they are known; the others keep their number. Shared with the
// simulated chip.
namespace ts2022::reg {

using address = std::uint8_t;

inline constexpr address power = 0x00;  // write: bit 0 supply, bit 1 the rest; read: also identity
inline constexpr std::uint8_t power_supply = 0x01;
inline constexpr std::uint8_t power_all = 0x03;
inline constexpr address divider_high = 0x01;
inline constexpr address divider_low = 0x02;
inline constexpr address reg_03 = 0x03;
inline constexpr address filter_fine = 0x04;
inline constexpr address filter_coarse = 0x06;
inline constexpr address reg_07 = 0x07;
inline constexpr address reg_08 = 0x08;
inline constexpr address band = 0x10;
inline constexpr address reg_11 = 0x11;
inline constexpr address vco_band = 0x14;    // read
inline constexpr address vco_status = 0x15;  // read
inline constexpr std::uint8_t vco_calibrated = 0x40;
inline constexpr address agc_state = 0x21;  // read: 0 until started; bits 4..0 baseband gain
inline constexpr address reg_25 = 0x25;
inline constexpr address filter_state = 0x26;  // read: 0 until calibrated; bits 5..0 the result
inline constexpr address reg_27 = 0x27;
inline constexpr address lo_state = 0x3C;  // read: 0 until calibrated
inline constexpr address rf_gain = 0x3D;   // read
inline constexpr address reg_41 = 0x41;
inline constexpr address reg_42 = 0x42;
inline constexpr address calibration_start = 0x50;
inline constexpr address calibration_select = 0x51;
inline constexpr address reg_60 = 0x60;
inline constexpr address reg_62 = 0x62;
inline constexpr address band_state = 0x66;  // read: bit 7 low band (type 1); bits 5..3 RF part

}  // namespace ts2022::reg
