// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

// The demodulator's registers, as far as they are known; the others keep their number. Shared with
// the simulated chip. "Write" and "read" say where a register means different things each way.
namespace ds3000::reg {

using address = std::uint8_t;

// Identity, reset and micro-controller.
inline constexpr address core_reset = 0x00;  // DS3002B, DS3103: 1 holds the core
inline constexpr address chip_id = 0x01;
inline constexpr std::uint8_t chip_id_ds300x = 0xC0;
inline constexpr std::uint8_t chip_id_ds310x = 0xD0;  // DS3002B, DS3103
inline constexpr address chip_id_high = 0x02;         // 0 on every known variant
inline constexpr address repeater = 0x03;
inline constexpr std::uint8_t repeater_open = 0x11;  // for the next transfer
inline constexpr address reg_04 = 0x04;
inline constexpr std::uint8_t reg_04_power_down = 0x01;
inline constexpr address core_reset_ds300x = 0x05;  // 0x10 holds, 0 runs
inline constexpr std::uint8_t core_hold_ds300x = 0x10;
inline constexpr address clock_reset = 0x06;  // 0xE0 while the master clock changes
inline constexpr std::uint8_t clock_reset_hold = 0xE0;
inline constexpr address global_reset = 0x07;
inline constexpr std::uint8_t global_reset_demodulator = 0x80;
inline constexpr std::uint8_t global_reset_mcu_and_core = 0xE0;
inline constexpr address mode = 0x08;
inline constexpr std::uint8_t mode_enable = 0x01;
inline constexpr std::uint8_t mode_dvbs2 = 0x04;
inline constexpr address mcu_port = 0xB0;     // write: program bytes, one block a transfer
inline constexpr address mcu_control = 0xB2;  // 1 holds the micro-controller, 0 runs it
inline constexpr std::uint8_t mcu_hold = 0x01;
inline constexpr address mcu_state = 0xB3;                     // read: how the search stands
inline constexpr std::uint8_t mcu_state_boot = 0x38;           // just started
inline constexpr std::uint8_t mcu_state_search_ended = 0x40;   // nothing locks in this standard
inline constexpr std::uint8_t mcu_state_search_failed = 0x80;  // no carrier, or one that got lost
inline constexpr address reg_bd = 0xBD;

// Clocks.
inline constexpr address master_clock_a = 0x22;  // bits 7..6
inline constexpr address master_clock_b = 0x24;  // bits 7..6
inline constexpr address reg_23 = 0x23;
inline constexpr std::uint8_t reg_23_power_down = 0x10;

// Lock.
inline constexpr address lock_status = 0x0D;  // read
inline constexpr std::uint8_t lock_status_dvbs = 0x07;
inline constexpr std::uint8_t lock_status_dvbs2 = 0x8F;
inline constexpr std::uint8_t lock_status_header = 0x08;  // DVB-S2: the frame header is decoded
inline constexpr address fec_status = 0xD1;               // DVB-S, read
inline constexpr std::uint8_t fec_status_locked = 0x07;

// Front: AGC, spectrum.
inline constexpr address reg_0c = 0x0C;
inline constexpr address reg_25 = 0x25;
inline constexpr address reg_30 = 0x30;
inline constexpr std::uint8_t reg_30_bit4 = 0x10;
inline constexpr address reg_33 = 0x33;
inline constexpr address agc_level = 0x3F;  // read: larger for a weaker signal
inline constexpr address spectrum = 0x4D;
inline constexpr std::uint8_t spectrum_invert = 0x02;
inline constexpr address reg_56 = 0x56;
inline constexpr address carrier_amplitude = 0x59;  // read, signed: 3 and more is a good carrier
inline constexpr address carrier_amplitude_low = 0x5A;  // read
inline constexpr address cci_frequency_high = 0x5B;     // read: a narrow carrier's place
inline constexpr address cci_frequency_low = 0x5C;      // read

// Carrier and symbol rate.
inline constexpr address carrier_select = 0x5D;  // bits 2..0: what 0x5E and 0x5F read as
inline constexpr std::uint8_t carrier_select_mask = 0x07;
inline constexpr std::uint8_t carrier_programmed = 0x00;
inline constexpr std::uint8_t carrier_measured = 0x06;
inline constexpr address carrier_low = 0x5E;
inline constexpr address carrier_high = 0x5F;
inline constexpr address symbol_rate_low = 0x61;
inline constexpr address symbol_rate_high = 0x62;
inline constexpr address measured_symbol_rate_low = 0x6D;   // read
inline constexpr address measured_symbol_rate_high = 0x6E;  // read

// Equaliser and loops.
inline constexpr address reg_76 = 0x76;
inline constexpr address energy_index = 0x7A;  // write: index × 4; read: low bits of the value
inline constexpr address energy_value = 0x7B;  // read: high bits of the value
inline constexpr address loop_index = 0x7C;    // modulation that 0x80 and 0x81 apply to
inline constexpr address modcod = 0x7E;        // DVB-S2, read
inline constexpr std::uint8_t modcod_pilots = 0x20;
inline constexpr address loop_a = 0x80;
inline constexpr address loop_b = 0x81;
inline constexpr address reg_8a = 0x8A;
inline constexpr address reg_8b = 0x8B;
inline constexpr address reg_8c = 0x8C;
inline constexpr address s2_inversion = 0x89;  // read: bit 7
inline constexpr address reg_ae = 0xAE;
inline constexpr address reg_c0 = 0xC0;
inline constexpr address reg_c3 = 0xC3;
inline constexpr address reg_c4 = 0xC4;
inline constexpr address reg_c7 = 0xC7;
inline constexpr address reg_c8 = 0xC8;
inline constexpr address reg_c9 = 0xC9;

// Spectrum engine.
inline constexpr address search_status = 0x0D;  // read: bit 0, the engine is ready
inline constexpr address search_window = 0x91;  // bits 6..5: analysis window
inline constexpr address search_control = 0x9A;
inline constexpr std::uint8_t search_start = 0x80;     // write; read: the search runs
inline constexpr std::uint8_t search_next = 0x20;      // write: the next peak's result
inline constexpr std::uint8_t search_peaks = 0x1F;     // read: number of peaks
inline constexpr address search_result = 0x9B;         // read four times: a peak's offset and width
inline constexpr address search_occupied_high = 0x95;  // read: bits 7..6 of the occupied span
inline constexpr address search_occupied_low = 0x96;   // read

// Quality.
inline constexpr address s2_noise_low = 0x8C;              // DVB-S2, read: bits 5..0
inline constexpr address s2_noise_high = 0x8D;             // DVB-S2, read
inline constexpr address s2_signal = 0x8E;                 // DVB-S2, read: amplitude
inline constexpr address s_snr = 0xFF;                     // DVB-S, read: 8 × power ratio
inline constexpr address s2_frames_low = 0xD5;             // DVB-S2, read
inline constexpr address s2_frames_mid = 0xD6;             // DVB-S2, read
inline constexpr address s2_frames_high = 0xD7;            // DVB-S2, read
inline constexpr address s2_counter_reset = 0xD1;          // DVB-S2, write
inline constexpr address s_code_rate = 0xE6;               // DVB-S, read: bits 7..5
inline constexpr address s_inversion = 0xE0;               // DVB-S, read: bit 2
inline constexpr address s2_roll_off = 0xF2;               // DVB-S2, read: bits 1..0
inline constexpr address s_errors_low = 0xF6;              // DVB-S, read
inline constexpr address errors_mid = 0xF7;                // read: DVB-S high byte, DVB-S2 low byte
inline constexpr address errors_high = 0xF8;               // read: DVB-S state, DVB-S2 high byte
inline constexpr std::uint8_t errors_running = 0x10;       // DVB-S: the window is not over
inline constexpr std::uint8_t errors_short_window = 0x08;  // DVB-S: 2^20 bits, not 2^23
inline constexpr address errors_control = 0xF9;

// Transport-stream output.
inline constexpr address reg_27 = 0x27;
inline constexpr address reg_29 = 0x29;
inline constexpr address ts_mirror = 0xCA;          // bit 0 follows bit 3 of ts_mode
inline constexpr address ts_divider_ds310x = 0xEA;  // DS3002B, DS3103: low part
inline constexpr address ts_mode = 0xFD;
inline constexpr address ts_divider = 0xFE;

// DiSEqC master.
inline constexpr address diseqc_control = 0xA1;
inline constexpr std::uint8_t diseqc_send_message = 0x07;
inline constexpr std::uint8_t diseqc_burst_a = 0x01;
inline constexpr std::uint8_t diseqc_burst_b = 0x02;
inline constexpr std::uint8_t diseqc_tone = 0x04;
inline constexpr std::uint8_t diseqc_length_shift =
    3;  // bits 5..3: length - 1; read: bytes received
inline constexpr std::uint8_t diseqc_length_mask = 0x38;
inline constexpr std::uint8_t diseqc_busy = 0x40;  // read; write: end the operation
inline constexpr std::uint8_t diseqc_expect_reply = 0x80;
inline constexpr address diseqc_output = 0xA2;
inline constexpr std::uint8_t diseqc_voltage_mask = 0x03;
inline constexpr std::uint8_t diseqc_voltage_13v = 0x01;  // 18 V is 0
inline constexpr std::uint8_t diseqc_option = 0x20;
inline constexpr std::uint8_t diseqc_off = 0x80;      // no 22 kHz output
inline constexpr address diseqc_data = 0xA3;          // to 0xAA: message; read: reply
inline constexpr address diseqc_reply_errors = 0xAB;  // read: bit i for reply byte i

}  // namespace ds3000::reg
