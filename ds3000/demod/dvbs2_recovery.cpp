// SPDX-License-Identifier: MIT
#include "ds3000/demod/dvbs2_recovery.h"

#include <cstdint>

#include "ds3000/chip/ds3000_context.h"
#include "ds3000/chip/ds3000_regs.h"
#include "ds3000/demod/mcu.h"
#include "ds3000/hw/bits.h"
#include "ds3000/hw/register_access.h"

namespace ds3000 {

namespace {

// Raw fields of the MODCOD register.
constexpr std::uint8_t field_qpsk = 0;
constexpr std::uint8_t field_8psk = 1;
constexpr std::uint8_t rate_3_5 = 4;
constexpr std::uint8_t rate_2_3 = 5;
constexpr std::uint8_t rate_3_4 = 6;
constexpr std::uint8_t rate_5_6 = 8;
constexpr std::uint8_t rate_8_9 = 9;

void write_8psk_loop(std::uint8_t a) {
    demod_write(reg::loop_index, 0x01);
    demod_write(reg::loop_a, a);
}

void adjust_8psk_loop(std::uint8_t modcod) {
    const std::uint8_t rate = modcod & 0x0F;
    if (rate >= rate_8_9) {
        write_8psk_loop(0x88);
    } else if (rate == rate_5_6) {
        write_8psk_loop(0x98);
    } else if (is_set(modcod, reg::modcod_pilots)) {
        demod_write(reg::loop_index, 0x01);
        demod_write(reg::reg_ae, 0x0F);
        demod_write(reg::loop_a, 0x54);
        demod_write(reg::loop_b, 0x85);
    } else if (rate == rate_3_4) {
        write_8psk_loop(0x98);
    } else if (rate == rate_2_3) {
        write_8psk_loop(0xA8);
    } else if (rate == rate_3_5) {
        write_8psk_loop(0xC9);
    }
}

void adjust_qpsk_loop() {
    demod_write(reg::loop_index, 0x00);
    demod_write(reg::loop_a, 0x88);
    demod_write(reg::loop_b, 0x88);
}

void adjust_ds300x_loop(demod_byte &byte) {
    if (!is_set(byte.read(reg::lock_status), reg::lock_status_header)) {
        return;
    }
    const std::uint8_t modcod = byte.read(reg::modcod);
    const std::uint8_t modulation = field_get(modcod, 7, 6);
    if (modulation == field_8psk) {
        adjust_8psk_loop(modcod);
    } else if (modulation == field_qpsk) {
        adjust_qpsk_loop();
    }
}

// One value of the read-out: 10 bits, signed, in two registers.
std::int32_t read_energy_part(std::uint8_t index, demod_byte &low, demod_byte &high) {
    demod_write(reg::energy_index, static_cast<std::uint8_t>(4U * index));
    const std::uint8_t low_bits = low.read(reg::energy_index) & 3;
    const std::int32_t value = (4 * high.read(reg::energy_value)) | low_bits;
    return value >= 512 ? value - 1024 : value;
}

// Whether the energy beside the centre tap is 6 % of the centre's or more, rounded up.
bool energy_is_spread() {
    constexpr std::uint8_t taps = 21;
    constexpr std::uint8_t centre = 10;
    demod_byte low;
    demod_byte high;
    std::int32_t centre_energy = 0;
    std::int32_t side_energy = 0;
    for (std::uint8_t tap = 0; tap < taps; ++tap) {
        const std::int32_t x = read_energy_part(tap, low, high);
        const std::int32_t y = read_energy_part(static_cast<std::uint8_t>(tap + taps), low, high);
        (tap == centre ? centre_energy : side_energy) += x * x + y * y;
    }
    return centre_energy != 0 && (centre_energy - 1 + 100 * side_energy) / centre_energy >= 6;
}

void reset_decoder() {
    demod_write(reg::reg_bd, 0x03);
    restart_mcu(true, 1000);
    ds3000_context.s2_recovery_done = 1;
}

// Each register is read only when everything before it calls for the recovery.
bool recovery_is_due(demod_byte &byte) {
    return !is_set(byte.read(reg::reg_76), bit(6)) && ds3000_context.s2_recovery_done == 0 &&
           (byte.read(reg::mcu_state) & 0x3F) >= 33 &&
           !is_set(byte.read(reg::modcod), reg::modcod_pilots) && energy_is_spread();
}

}  // namespace

void help_dvbs2_lock(demod_byte &byte) {
    if (is_ds300x()) {
        adjust_ds300x_loop(byte);
    } else if (recovery_is_due(byte)) {
        reset_decoder();
    }
}

}  // namespace ds3000
