// SPDX-License-Identifier: MIT
#include "ds3000/demod/master_clock.h"

#include <algorithm>
#include <cstdint>
#include <iterator>

#include "ds3000/chip/ds3000_context.h"
#include "ds3000/chip/ds3000_regs.h"
#include "ds3000/demod/mcu.h"
#include "ds3000/hw/register_access.h"
#include "ds3000/hw/register_byte.h"

namespace ds3000 {

namespace {

// Each clock and what bits 7..6 of the two selection registers hold for it.
struct master_clock {
    std::uint32_t khz;
    std::uint8_t select_a;
    std::uint8_t select_b;
};

constexpr master_clock master_clocks[] = {
    {72000, 0, 3}, {96000, 2, 1}, {115200, 1, 1}, {144000, 0, 1}, {192000, 3, 0},
};

const master_clock &master_clock_for(std::uint32_t khz) {
    const auto *const found = std::find_if(std::begin(master_clocks), std::end(master_clocks),
                                           [khz](const auto &clock) { return clock.khz == khz; });
    return found != std::end(master_clocks) ? *found : master_clocks[1];
}

std::uint8_t with_selection(std::uint8_t byte, std::uint8_t selection) {
    return static_cast<std::uint8_t>((byte & 0x3F) | (selection << 6U));
}

}  // namespace

extern "C" {

int32_t ds3000_set_master_clock(int32_t clock_khz) {
    if (is_ds300x()) {
        return DS3000_NOT_AVAILABLE;
    }
    if (!is_ds310x()) {
        return DS3000_UNKNOWN_CHIP;
    }
    const master_clock &clock = master_clock_for(static_cast<std::uint32_t>(clock_khz));
    const std::uint8_t a = demod_byte().read(reg::master_clock_a);
    const std::uint8_t b = demod_byte().read(reg::master_clock_b);
    demod_write(reg::master_clock_a, with_selection(a, clock.select_a));
    demod_write(reg::master_clock_b, with_selection(b, clock.select_b));
    return DS3000_OK;
}

int32_t ds3000_get_master_clock(uint32_t *clock_khz) {
    *clock_khz = 96000;
    if (is_ds300x()) {
        if (ds3000_context.standard == STANDARD_DVBS2) {
            *clock_khz = 144000;
        }
        return DS3000_OK;
    }
    if (!is_ds310x()) {
        return DS3000_UNKNOWN_CHIP;
    }
    const std::uint8_t a = demod_byte().read(reg::master_clock_a);
    const std::uint8_t b = demod_byte().read(reg::master_clock_b);
    for (const master_clock &clock : master_clocks) {
        if (clock.select_a == a >> 6U && clock.select_b == b >> 6U) {
            *clock_khz = clock.khz;
            return DS3000_OK;
        }
    }
    return DS3000_BAD_ARGUMENT;
}

int32_t ds3000_switch_master_clock(int32_t clock_khz) {
    demod_write(reg::clock_reset, reg::clock_reset_hold);
    const std::int32_t status = ds3000_set_master_clock(clock_khz);
    demod_write(reg::clock_reset, 0x00);
    return status;
}

uint32_t ds3000_dvbs2_master_clock(int32_t symbol_rate_ksps, uint8_t ts_mode) {
    if (ts_mode != 1 && symbol_rate_ksps >= 28001) {
        return 192000;
    }
    return symbol_rate_ksps >= 18001 ? 144000 : 96000;
}

}  // extern "C"

}  // namespace ds3000
