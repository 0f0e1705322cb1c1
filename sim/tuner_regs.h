// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

// The tuner's registers as the chip itself decodes them; the model's own, like the demodulator's.
namespace sim::tuner_reg {

// Written: power. Read: the revision, and those power bits that this type of tuner shows.
inline constexpr std::uint8_t power = 0x00;
inline constexpr std::uint8_t power_supply = 0x01;
inline constexpr std::uint8_t power_all = 0x03;

// Synthesiser. The divider's bits above the low eight are four with type 1, six with type 2.
inline constexpr std::uint8_t divider_high = 0x01;
inline constexpr std::uint8_t divider_low = 0x02;
inline constexpr std::uint8_t reg_03 = 0x03;
inline constexpr std::uint8_t band = 0x10;
inline constexpr std::uint8_t band_divide_by_2 = 0x10;
inline constexpr std::uint8_t band_second_core = 0x80;  // type 2
inline constexpr std::uint8_t band_boost = 0x02;        // type 2, of the VCO
inline constexpr std::uint8_t band_enabled_type_1 = 0x01;
inline constexpr std::uint8_t band_enabled_type_2 = 0x09;
inline constexpr std::uint8_t reg_11 = 0x11;
inline constexpr std::uint8_t first_core_bias = 0x40;
inline constexpr std::uint8_t second_core_bias = 0x6F;
inline constexpr std::uint8_t vco_band = 0x14;
inline constexpr std::uint8_t vco_status = 0x15;
inline constexpr std::uint8_t vco_calibrated = 0x40;
inline constexpr std::uint8_t vco_over = 0x20;  // ended, with success or without
inline constexpr std::uint8_t lo_state = 0x3C;  // 0 until it is calibrated
inline constexpr std::uint8_t reg_42 = 0x42;
inline constexpr std::uint8_t reg_62 = 0x62;

// Low-pass filter; its cut-off grows with the coarse value and falls with the fine one.
inline constexpr std::uint8_t filter_fine = 0x04;
inline constexpr std::uint8_t filter_coarse = 0x06;
inline constexpr std::uint8_t reg_08 = 0x08;
inline constexpr std::uint8_t reg_25 = 0x25;
inline constexpr std::uint8_t reg_25_stored = 0x80;
inline constexpr std::uint8_t filter_state = 0x26;  // 0 until it is calibrated
inline constexpr std::uint8_t reg_27 = 0x27;
inline constexpr std::uint8_t reg_41 = 0x41;
inline constexpr std::uint8_t reg_41_first_channel = 0x09;
inline constexpr std::uint8_t reg_41_second_channel = 0x0D;

// Gain: RF trim of type 1, baseband, LNA and (type 2, above the band's bit 7) RF stage.
inline constexpr std::uint8_t agc_state = 0x21;  // 0 until it is started
inline constexpr std::uint8_t agc_started = 0x40;
inline constexpr std::uint8_t reg_60 = 0x60;
inline constexpr std::uint8_t rf_gain = 0x3D;
inline constexpr std::uint8_t band_state = 0x66;
inline constexpr std::uint8_t band_state_low = 0x80;  // of a VCO that is calibrated
inline constexpr unsigned band_state_gain_shift = 3;

// Calibrations, a bit each: 0 in the one register holds a block in reset, a bit that rises in the
// other starts it.
inline constexpr std::uint8_t calibration_start = 0x50;
inline constexpr std::uint8_t calibration_select = 0x51;
inline constexpr std::uint8_t vco_block = 0x10;
inline constexpr std::uint8_t lo_block = 0x08;
inline constexpr std::uint8_t filter_block = 0x04;
inline constexpr std::uint8_t agc_block = 0x01;

}  // namespace sim::tuner_reg
