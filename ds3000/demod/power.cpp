// SPDX-License-Identifier: MIT
#include "ds3000/demod/power.h"

#include <cstdint>

#include "ds3000/chip/ds3000_context.h"
#include "ds3000/chip/ds3000_regs.h"
#include "ds3000/demod/board_options.h"
#include "ds3000/demod/carrier.h"
#include "ds3000/demod/firmware.h"
#include "ds3000/demod/lock_status.h"
#include "ds3000/demod/mcu.h"
#include "ds3000/demod/programming.h"
#include "ds3000/demod/ts_output.h"
#include "ds3000/hw/bits.h"
#include "ds3000/hw/message.h"
#include "ds3000/hw/register_access.h"
#include "ds3000/hw/register_byte.h"
#include "ds3000/hw/wait.h"
#include "ds3000/tuner/ts2022.h"

namespace ds3000 {

namespace {

void forget_channel() {
    ds3000_context.requested_standard = STANDARD_DVBS;
    ds3000_context.standard = STANDARD_DVBS;
    ds3000_context.symbol_rate_ksps = 0;
    ds3000_context.locked_once = 0;
    ds3000_context.first_poll = 0;
    ds3000_context.s2_recovery_done = 0;
    ds3000_context.ts_clock_pending = 0;
}

void bind_tuner() {
    ds3000_context.tuner_ops = {
        .tuner_wake = ts2022_wake,
        .tuner_set_frequency = ts2022_set_frequency,
        .tuner_sleep = ts2022_sleep,
        .tuner_get_offset = tuner_get_offset,
        .tuner_get_gain = ts2022_get_gain,
    };
}

void reset_mcu_and_core() {
    demod_write(reg::global_reset, reg::global_reset_mcu_and_core);
    demod_write(reg::global_reset, 0x00);
}

void select_mode(std::uint8_t mode, demod_byte &byte) {
    constexpr std::uint8_t mode_bits = bit(2) | bit(0);
    std::uint8_t set = bit(0);
    if (mode == 2) {
        set = 0;
    } else if (mode == 1) {
        set = bit(2);
    }
    byte.update(reg::ts_mode, mode_bits, set);
}

// The master clock that a mode runs at: in modes 2 and 3 DVB-S2 needs more for higher rates.
std::uint32_t master_clock_of_mode(std::uint8_t mode, bool locked) {
    if (mode != 2 && mode != 3) {
        return ds3000_context.master_clock_khz;
    }
    if (ds3000_context.standard != STANDARD_DVBS2) {
        return 96000;
    }
    std::int32_t symbol_rate_ksps = ds3000_context.symbol_rate_ksps;
    if (locked) {
        ds3000_get_symbol_rate(&symbol_rate_ksps);
    }
    return ds3000_dvbs2_master_clock(symbol_rate_ksps, mode);
}

}  // namespace

extern "C" {

int32_t ds3000_chip_type_of(uint8_t id, uint8_t id_high, uint8_t mcu_control) {
    if (id_high != 0) {
        return CHIP_UNKNOWN;
    }
    if (id == reg::chip_id_ds300x) {
        return CHIP_DS300X;
    }
    // DS3002B and DS3103 share an identity and differ in two bits of the micro-controller's
    // control register.
    const std::uint8_t variant = field_get(mcu_control, 7, 6);
    if (id == reg::chip_id_ds310x && variant == 0) {
        return CHIP_DS3002B;
    }
    return id == reg::chip_id_ds310x && variant == 3 ? CHIP_DS3103 : CHIP_UNKNOWN;
}

const char *ds3000_chip_name(int32_t chip_type) {
    switch (chip_type) {
        case CHIP_DS300X:
            return "DS300X";
        case CHIP_DS3002B:
            return "DS3002B";
        case CHIP_DS3103:
            return "DS3103";
        default:
            return nullptr;
    }
}

int32_t ds3000_identify(int32_t *chip_type) {
    *chip_type = 0;
    const std::uint8_t id = demod_byte().read(reg::chip_id);
    const std::uint8_t id_high = demod_byte().read(reg::chip_id_high);
    const std::uint8_t control = demod_byte().read(reg::mcu_control);
    *chip_type = ds3000_chip_type_of(id, id_high, control);
    const char *const name = ds3000_chip_name(*chip_type);
    if (name != nullptr) {
        // The message carries a newline of its own, so a blank line follows it.
        message("\tChip ID = [%s]!\n", name);
    }
    return DS3000_OK;
}

int32_t ds3000_hard_init(void) {
    ds3000_identify(&ds3000_context.chip_type);
    if (!is_known_chip()) {
        return DS3000_UNKNOWN_CHIP;
    }
    demod_byte byte;
    release_held_mcu(byte);
    ds3000_soft_reset();
    wait_us(1000);
    byte.set(reg::mode, reg::mode_enable);
    forget_channel();
    wait_us(1000);
    return DS3000_OK;
}

int32_t ds3000_init(void) {
    ds3000_hard_init();
    bind_tuner();
    ts2022_init();
    update_spectrum_inversion();
    if (is_ds310x()) {
        reset_mcu_and_core();
        load_firmware(ds3000_firmware_a);
    } else if (is_ds300x()) {
        load_firmware(ds3000_firmware_b);
    } else {
        return DS3000_UNKNOWN_CHIP;
    }
    ds3000_set_ts_mode(3);
    demod_byte byte;
    put_board_options(byte);
    return DS3000_OK;
}

int32_t ds3000_wake(void) {
    demod_byte byte;
    byte.set(reg::mode, reg::mode_enable);
    byte.clear(reg::reg_04, reg::reg_04_power_down);
    byte.clear(reg::reg_23, reg::reg_23_power_down);
    if (ds3000_context.tuner_ops.tuner_wake != nullptr) {
        ds3000_context.tuner_ops.tuner_wake();
    }
    return DS3000_OK;
}

int32_t ds3000_sleep(void) {
    if (ds3000_context.tuner_ops.tuner_sleep != nullptr) {
        ds3000_context.tuner_ops.tuner_sleep();
    }
    demod_byte byte;
    byte.clear(reg::mode, reg::mode_enable);
    byte.set(reg::reg_04, reg::reg_04_power_down);
    byte.set(reg::reg_23, reg::reg_23_power_down);
    return DS3000_OK;
}

int32_t ds3000_set_mode(uint8_t mode) {
    if (!is_ds310x()) {
        return DS3000_UNKNOWN_CHIP;
    }
    demod_byte byte;
    select_mode(mode, byte);
    const bool locked = has_lock(byte);
    std::uint32_t current_khz = 0;
    ds3000_get_master_clock(&current_khz);
    const std::uint32_t target_khz = master_clock_of_mode(mode, locked);
    if (target_khz != current_khz) {
        ds3000_switch_master_clock(static_cast<std::int32_t>(target_khz));
    }
    if (locked) {
        ds3000_adapt_ts_clock();
    }
    byte.clear(reg::reg_29, bit(5));
    return DS3000_OK;
}

int32_t ds3000_get_revision(uint32_t *revision) {
    *revision = 60303;
    return DS3000_OK;
}

}  // extern "C"

}  // namespace ds3000
