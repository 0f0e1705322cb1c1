// SPDX-License-Identifier: MIT
#include "ds3000/demod/lock_status.h"

#include <cstdint>

#include "ds3000/chip/ds3000_context.h"
#include "ds3000/chip/ds3000_regs.h"
#include "ds3000/hw/register_access.h"
#include "ds3000/hw/wait.h"

namespace ds3000 {

namespace {

bool all_set(std::uint8_t reg, std::uint8_t mask, demod_byte &byte) {
    return (byte.read(reg) & mask) == mask;
}

}  // namespace

bool has_lock(demod_byte &byte) {
    if (ds3000_context.standard == STANDARD_DVBS2) {
        return all_set(reg::lock_status, reg::lock_status_dvbs2, byte);
    }
    return all_set(reg::fec_status, reg::fec_status_locked, byte) &&
           all_set(reg::lock_status, reg::lock_status_dvbs, byte);
}

bool wait_for_search(demod_byte &byte) {
    constexpr int checks = 11;
    constexpr std::uint8_t first_search_state = 4;
    for (int check = 1;; ++check) {
        const std::uint8_t state = byte.read(reg::mcu_state);
        if (state != reg::mcu_state_boot && state >= first_search_state) {
            return true;
        }
        if (check == checks) {
            return false;
        }
        wait_us(10000);
    }
}

bool amplitude_is_good(demod_byte &byte, amplitude_round round) {
    int good = 0;
    for (int rounds = 0; rounds < 15; ++rounds) {
        const auto amplitude = static_cast<std::int8_t>(byte.read(reg::carrier_amplitude));
        if (round == amplitude_round::with_mcu_state) {
            byte.read(reg::mcu_state);
        }
        if (amplitude < 0) {
            return false;
        }
        good += amplitude >= 3 ? 1 : 0;
    }
    return good >= 10;
}

}  // namespace ds3000
