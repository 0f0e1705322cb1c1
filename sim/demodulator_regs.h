// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

// The demodulator's registers as the chip itself decodes them: what it does when one is written,
// what it puts there to be read. They are the model's own, so that a driver which holds a wrong
// number is wrong here too. Registers of which only the effect of single values is known keep their
// number for a name.
namespace sim::reg {

// Reset, power and identity. 0x00 resets the core of DS3002B and DS3103, 0x05 that of DS300X.
inline constexpr std::uint8_t core_reset = 0x00;
inline constexpr std::uint8_t chip_id = 0x01;       // read only
inline constexpr std::uint8_t chip_id_high = 0x02;  // read only, 0
inline constexpr std::uint8_t chip_id_ds300x = 0xC0;
inline constexpr std::uint8_t chip_id_ds310x = 0xD0;  // which of the two tells 0xB2
inline constexpr std::uint8_t reg_04 = 0x04;
inline constexpr std::uint8_t reg_04_power_down = 0x01;
inline constexpr std::uint8_t core_reset_ds300x = 0x05;
inline constexpr std::uint8_t core_hold_ds300x = 0x10;
inline constexpr std::uint8_t clock_reset = 0x06;
inline constexpr std::uint8_t clock_reset_hold = 0xE0;  // the clock tree stands still
inline constexpr std::uint8_t global_reset = 0x07;
inline constexpr std::uint8_t global_reset_demodulator = 0x80;
inline constexpr std::uint8_t global_reset_all = 0xE0;  // the micro-controller too; DS310X
inline constexpr std::uint8_t reg_23 = 0x23;
inline constexpr std::uint8_t reg_23_power_down = 0x10;

// This value lets the next transfer through to the tuner's side of the bus.
inline constexpr std::uint8_t repeater = 0x03;
inline constexpr std::uint8_t repeater_open = 0x11;

// What the demodulator is to be.
inline constexpr std::uint8_t mode = 0x08;
inline constexpr std::uint8_t mode_enable = 0x01;
inline constexpr std::uint8_t mode_dvbs2 = 0x04;
inline constexpr std::uint8_t mode_spectrum = 0x80;
inline constexpr std::uint8_t reg_0c = 0x0C;
inline constexpr std::uint8_t reg_25 = 0x25;
inline constexpr std::uint8_t spectrum = 0x4D;
inline constexpr std::uint8_t spectrum_invert = 0x02;  // exchanges I and Q; not on DS300X
inline constexpr std::uint8_t reg_56 = 0x56;           // bit 0 for carriers of little amplitude
inline constexpr std::uint8_t reg_bd = 0xBD;
inline constexpr std::uint8_t reg_c7 = 0xC7;
inline constexpr std::uint8_t reg_c9 = 0xC9;

// Bits 7..6 of both choose the master clock of DS3002B and DS3103.
inline constexpr std::uint8_t master_clock_a = 0x22;
inline constexpr std::uint8_t master_clock_b = 0x24;

// Lock. DVB-S needs bits 2..0 here and in 0xD1; with DVB-S2 bit 3 comes with the frame's header and
// bit 7 with its payload.
inline constexpr std::uint8_t lock_status = 0x0D;
inline constexpr std::uint8_t lock_status_dvbs = 0x07;
inline constexpr std::uint8_t lock_status_header = 0x08;
inline constexpr std::uint8_t lock_status_dvbs2 = 0x8F;
inline constexpr std::uint8_t fec_status = 0xD1;
inline constexpr std::uint8_t fec_status_locked = 0x07;

// Gain and amplitudes; 0x5B and 0x5C place a tone.
inline constexpr std::uint8_t agc_level = 0x3F;
inline constexpr std::uint8_t carrier_amplitude = 0x59;  // signed
inline constexpr std::uint8_t carrier_amplitude_low = 0x5A;
inline constexpr std::uint8_t cci_frequency_high = 0x5B;
inline constexpr std::uint8_t cci_frequency_low = 0x5C;

// Carrier offset and symbol rate in steps of 96 MHz / 65536. Bits 2..0 of 0x5D choose what of the
// carrier reads back.
inline constexpr std::uint8_t carrier_select = 0x5D;
inline constexpr std::uint8_t carrier_select_mask = 0x07;
inline constexpr std::uint8_t carrier_loop_trim = 0xF8;
inline constexpr std::uint8_t carrier_programmed = 0x00;
inline constexpr std::uint8_t carrier_measured = 0x06;
inline constexpr std::uint8_t carrier_low = 0x5E;
inline constexpr std::uint8_t carrier_high = 0x5F;
inline constexpr std::uint8_t symbol_rate_low = 0x61;
inline constexpr std::uint8_t symbol_rate_high = 0x62;
inline constexpr std::uint8_t carrier_gain_a = 0x68;  // of the carrier loop
inline constexpr std::uint8_t carrier_gain_b = 0x69;
inline constexpr std::uint8_t measured_symbol_rate_low = 0x6D;
inline constexpr std::uint8_t measured_symbol_rate_high = 0x6E;

// Index and value of the equaliser's taps; the two low bits of a value are those of the index.
inline constexpr std::uint8_t energy_index = 0x7A;
inline constexpr std::uint8_t energy_value = 0x7B;

// Loop constants, of which bits 1..0 of the index choose one of four pairs.
inline constexpr std::uint8_t loop_index = 0x7C;
inline constexpr std::uint8_t loop_a = 0x80;
inline constexpr std::uint8_t loop_b = 0x81;
inline constexpr std::uint8_t loop_pilots = 0xAE;

// What DVB-S2 tells of the carrier. 0x8C is both a noise reading's low six bits and the beginning
// of a new measurement.
inline constexpr std::uint8_t modcod = 0x7E;
inline constexpr std::uint8_t modcod_pilots = 0x20;
inline constexpr std::uint8_t s2_inversion = 0x89;
inline constexpr std::uint8_t s2_noise_low = 0x8C;
inline constexpr std::uint8_t s2_noise_high = 0x8D;
inline constexpr std::uint8_t s2_signal = 0x8E;
inline constexpr std::uint8_t s2_frames_low = 0xD5;
inline constexpr std::uint8_t s2_frames_mid = 0xD6;
inline constexpr std::uint8_t s2_frames_high = 0xD7;
inline constexpr std::uint8_t s2_roll_off = 0xF2;

// What DVB-S tells of it.
inline constexpr std::uint8_t s_inversion = 0xE0;
inline constexpr std::uint8_t s_code_rate = 0xE6;
inline constexpr std::uint8_t s_snr = 0xFF;

// Error counts: 0xF8, 0xF7 with DVB-S2; 0xF7, 0xF6 with DVB-S, where 0xF8 controls the window and
// 0xF9 chooses what is counted. With DVB-S2 bit 0 of 0xF9 keeps the count of errors at 0, bit 0 of
// 0xD1 that of frames.
inline constexpr std::uint8_t s2_counter_reset = 0xD1;  // write
inline constexpr std::uint8_t s_errors_low = 0xF6;
inline constexpr std::uint8_t errors_mid = 0xF7;
inline constexpr std::uint8_t errors_high = 0xF8;
inline constexpr std::uint8_t errors_short_window = 0x08;
inline constexpr std::uint8_t errors_running = 0x10;
inline constexpr std::uint8_t errors_decoder_mask = 0xE7;  // whose errors are counted
inline constexpr std::uint8_t errors_of_viterbi = 0x20;
inline constexpr std::uint8_t errors_control = 0xF9;
inline constexpr std::uint8_t errors_of_bits = 0x04;

// The spectrum search. A peak's four bytes come out of one register in turn.
inline constexpr std::uint8_t reg_90 = 0x90;
inline constexpr std::uint8_t reg_92 = 0x92;
inline constexpr std::uint8_t reg_94 = 0x94;
inline constexpr std::uint8_t search_occupied_high = 0x95;  // bits 7..6
inline constexpr std::uint8_t search_occupied_low = 0x96;
inline constexpr std::uint8_t search_control = 0x9A;
inline constexpr std::uint8_t search_start = 0x80;  // reads as 1 while it goes on
inline constexpr std::uint8_t search_next = 0x20;
inline constexpr std::uint8_t search_result = 0x9B;

// The DiSEqC master. The length field holds a message's length less one when written, the number
// of bytes replied when read.
inline constexpr std::uint8_t diseqc_control = 0xA1;
inline constexpr std::uint8_t diseqc_burst_a = 0x01;
inline constexpr std::uint8_t diseqc_burst_b = 0x02;
inline constexpr std::uint8_t diseqc_tone = 0x04;
inline constexpr std::uint8_t diseqc_send_message = 0x07;
inline constexpr std::uint8_t diseqc_operation_mask = 0x07;
inline constexpr std::uint8_t diseqc_length_mask = 0x38;
inline constexpr unsigned diseqc_length_shift = 3;
inline constexpr std::uint8_t diseqc_busy = 0x40;  // written as 1 it ends an operation
inline constexpr std::uint8_t diseqc_expect_reply = 0x80;
inline constexpr std::uint8_t diseqc_output = 0xA2;
inline constexpr std::uint8_t diseqc_voltage_mask = 0x03;  // 01: 13 V, 00: 18 V, else off
inline constexpr std::uint8_t diseqc_elsewhere = 0x20;     // the 22 kHz leaves at another pin
inline constexpr std::uint8_t diseqc_floats = 0x40;        // the output drives nothing
inline constexpr std::uint8_t diseqc_off = 0x80;           // stops the 22 kHz
inline constexpr std::uint8_t diseqc_data = 0xA3;
inline constexpr std::uint8_t diseqc_reply_errors = 0xAB;

// The micro-controller. Its port takes the bytes of a program, however many come in one transfer.
inline constexpr std::uint8_t mcu_port = 0xB0;
inline constexpr std::uint8_t mcu_control = 0xB2;
inline constexpr std::uint8_t mcu_hold = 0x01;
inline constexpr std::uint8_t mcu_identity_mask =
    0xC0;  // both set on DS3103, both clear on DS3002B
inline constexpr std::uint8_t mcu_state = 0xB3;
inline constexpr std::uint8_t mcu_state_boot = 0x38;
inline constexpr std::uint8_t mcu_state_search_ended = 0x40;
inline constexpr std::uint8_t mcu_state_search_failed = 0x80;

// The transport-stream port: its pins, whether and on which edge they are driven, and its clock.
inline constexpr std::uint8_t ts_enable = 0x27;
inline constexpr std::uint8_t ts_drivers = 0x29;
inline constexpr std::uint8_t ts_pins_high_impedance = 0x20;
inline constexpr std::uint8_t ts_polarity = 0xCA;
inline constexpr std::uint8_t ts_divider_ds310x = 0xEA;
inline constexpr std::uint8_t ts_mode = 0xFD;
inline constexpr std::uint8_t ts_divider = 0xFE;

}  // namespace sim::reg
