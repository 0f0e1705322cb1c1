// SPDX-License-Identifier: MIT
#include "ds3000/demod/lock.h"

#include <cstdint>

#include "ds3000/chip/ds3000_context.h"
#include "ds3000/chip/ds3000_regs.h"
#include "ds3000/demod/carrier.h"
#include "ds3000/demod/dvbs2_recovery.h"
#include "ds3000/demod/lock_status.h"
#include "ds3000/demod/mcu.h"
#include "ds3000/demod/programming.h"
#include "ds3000/demod/ts_clock.h"
#include "ds3000/hw/bits.h"
#include "ds3000/hw/register_access.h"
#include "ds3000/hw/wait.h"

namespace ds3000 {

namespace {

// A carrier found further away than this from where it was expected is another one.
constexpr std::int32_t farthest_carrier_khz = 3999;

void switch_standard() {
    if (is_ds310x()) {
        ds3000_soft_reset();
        ds3000_set_carrier_offset(ds3000_context.carrier_offset_khz);
    }
    ds3000_context.standard =
        ds3000_context.standard == STANDARD_DVBS ? STANDARD_DVBS2 : STANDARD_DVBS;
    hold_mcu();
    ds3000_program_standard(ds3000_context.symbol_rate_ksps, ds3000_context.standard);
    release_mcu();
}

// What the micro-controller says of a search that has not locked; an automatic request goes on with
// the other standard when this one is not on the air.
std::uint32_t follow_search(demod_byte &byte) {
    ds3000_context.ts_clock_pending = 1;
    const std::uint8_t state = byte.read(reg::mcu_state);
    const bool failed = is_set(state, reg::mcu_state_search_failed);
    const bool ended = is_set(state, reg::mcu_state_search_ended);
    if (ds3000_context.requested_standard != STANDARD_AUTO) {
        return failed || ended ? LOCK_FAILED : LOCK_SEARCHING;
    }
    if (failed) {
        restart_mcu(false, 2000);
        return LOCK_FAILED;
    }
    if (ended && ds3000_context.locked_once == 0) {
        switch_standard();
    }
    return LOCK_SEARCHING;
}

// Hold the chip on a false lock, until the next connect releases it.
void hold_false_lock() {
    demod_write(reg::mcu_control, reg::mcu_hold);
    if (is_ds310x()) {
        demod_write(reg::core_reset, 0x01);
    } else {
        demod_write(reg::core_reset_ds300x, reg::core_hold_ds300x);
    }
}

std::int32_t accept_lock(std::uint32_t &lock_state) {
    ds3000_context.locked_once = 1;
    std::int32_t delta_khz = 0;
    ds3000_get_carrier_offset_delta(&delta_khz);
    if (!is_known_chip()) {
        lock_state = LOCK_FAILED;
        return DS3000_UNKNOWN_CHIP;
    }
    if (delta_khz < -farthest_carrier_khz || delta_khz > farthest_carrier_khz) {
        hold_false_lock();
        lock_state = LOCK_FAILED;
    }
    if (ds3000_context.ts_clock_pending == 1) {
        ds3000_context.ts_clock_pending = 0;
        ds3000_adapt_ts_clock();
    }
    return DS3000_OK;
}

}  // namespace

extern "C" {

int32_t ds3000_poll_lock(uint32_t *lock_state) {
    if (lock_state == nullptr) {
        return DS3000_BAD_ARGUMENT;
    }
    *lock_state = LOCK_SEARCHING;
    demod_byte byte;
    if (byte.read(reg::mcu_control) == reg::mcu_hold) {
        *lock_state = LOCK_FAILED;
        return DS3000_OK;
    }
    if (ds3000_context.first_poll == 1) {
        ds3000_check_first_lock(lock_state);
        if (*lock_state == LOCK_FAILED) {
            return DS3000_OK;
        }
        ds3000_context.first_poll = 0;
    }
    if (ds3000_context.standard == STANDARD_DVBS2) {
        help_dvbs2_lock(byte);
    }
    if (!has_lock(byte)) {
        *lock_state = follow_search(byte);
        return DS3000_OK;
    }
    *lock_state = LOCK_LOCKED;
    return accept_lock(*lock_state);
}

int32_t ds3000_check_first_lock(uint32_t *lock_state) {
    demod_byte byte;
    if (!wait_for_search(byte)) {
        *lock_state = LOCK_FAILED;
        return DS3000_OK;
    }
    if (!amplitude_is_good(byte, amplitude_round::alone)) {
        ds3000_set_reg56_bit0(0);
    }
    wait_us(1000);
    return DS3000_OK;
}

}  // extern "C"

}  // namespace ds3000
