// SPDX-License-Identifier: MIT
#include "ds3000/demod/mcu.h"

#include <cstdint>

#include "ds3000/chip/ds3000_context.h"
#include "ds3000/chip/ds3000_regs.h"
#include "ds3000/hw/register_access.h"
#include "ds3000/hw/wait.h"

namespace ds3000 {

namespace {

void hold(bool core) {
    demod_write(reg::mcu_control, reg::mcu_hold);
    if (core) {
        demod_write(reg::core_reset, 0x01);
    }
}

void release(bool core) {
    if (core) {
        demod_write(reg::core_reset, 0x00);
    }
    demod_write(reg::mcu_control, 0x00);
}

}  // namespace

bool is_ds300x() { return ds3000_context.chip_type == CHIP_DS300X; }

bool is_ds310x() {
    return ds3000_context.chip_type == CHIP_DS3002B || ds3000_context.chip_type == CHIP_DS3103;
}

bool is_known_chip() { return is_ds300x() || is_ds310x(); }

void hold_mcu() { hold(is_ds310x()); }

void release_mcu() { release(is_ds310x()); }

void restart_mcu(bool core, std::uint32_t held_us) {
    hold(core);
    wait_us(held_us);
    release(core);
}

void release_held_mcu(demod_byte &byte) {
    if (byte.read(reg::mcu_control) == reg::mcu_hold) {
        demod_write(is_ds310x() ? reg::core_reset : reg::core_reset_ds300x, 0x00);
        demod_write(reg::mcu_control, 0x00);
    }
}

}  // namespace ds3000
