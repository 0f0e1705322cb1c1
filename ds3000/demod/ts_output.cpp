// SPDX-License-Identifier: MIT
#include "ds3000/demod/ts_output.h"

#include <algorithm>
#include <cstdint>
#include <iterator>

#include "ds3000/chip/ds3000_context.h"
#include "ds3000/chip/ds3000_regs.h"
#include "ds3000/demod/carrier.h"
#include "ds3000/demod/mcu.h"
#include "ds3000/demod/signal_quality.h"
#include "ds3000/hw/bits.h"
#include "ds3000/hw/register_access.h"
#include "ds3000/hw/register_byte.h"

namespace ds3000 {

namespace {

constexpr std::uint32_t default_master_clock_khz = 96000;

bool is_ds300x() { return ds3000_context.chip_type == CHIP_DS300X; }

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

// The mode as a set bit (mode 3), a second set bit (mode 1) or neither (mode 2).
std::uint8_t mode_of(std::uint8_t byte, std::uint8_t mode_3_bit, std::uint8_t mode_1_bit) {
    if (is_set(byte, mode_3_bit)) {
        return 3;
    }
    return is_set(byte, mode_1_bit) ? 1 : 2;
}

// A rung of the DS300X divider ladders: the first one whose bound lies above the needed clock.
struct divider_rung {
    std::int32_t below_khz;
    std::uint8_t high;
    std::uint8_t low;
};

// DVB-S2: bounds are 144000 kHz / (high + low), in steps of one count down to a sum of 14, then
// only through 12, 10, 8 and 6.
constexpr divider_rung dvbs2_ladder[] = {
    {4800, 15, 15},    {4966, 14, 15}, {5143, 14, 14}, {5333, 13, 14}, {5538, 13, 13},
    {5760, 12, 13},    {6000, 12, 12}, {6260, 11, 12}, {6545, 11, 11}, {6857, 10, 11},
    {7200, 10, 10},    {7578, 9, 10},  {8000, 9, 9},   {8470, 8, 9},   {9000, 8, 8},
    {9600, 7, 8},      {10285, 7, 7},  {12000, 6, 6},  {14400, 5, 5},  {18000, 4, 4},
    {INT32_MAX, 3, 3},
};

// DVB-S: bounds are 96000 kHz / (high + low).
constexpr divider_rung dvbs_ladder[] = {
    {6857, 7, 7}, {8000, 6, 6}, {9600, 5, 5}, {12000, 4, 4}, {16000, 3, 3}, {INT32_MAX, 2, 2},
};

template <std::size_t rungs>
void set_ds300x_divider(const divider_rung (&ladder)[rungs], std::int32_t needed_khz) {
    const auto *const rung =
        std::find_if(std::begin(ladder), std::end(ladder) - 1,
                     [needed_khz](const auto &r) { return needed_khz < r.below_khz; });
    ds3000_set_ts_clock_divider(ds3000_context.standard, rung->high, rung->low);
}

// DS3002B and DS3103, modes 2 and 3: divide the clock down to the payload rate, 6000 kHz at least.
// The clock is 192000 kHz at most and the rate 18431 kbyte/s, so the ratio is one of 3 to 32.
void set_ds310x_divider(std::int32_t clock_khz, std::int32_t payload_rate) {
    ds3000_set_ts_clock_ratio(ds3000_context.standard,
                              static_cast<std::uint32_t>(clock_khz / std::max(payload_rate, 6000)));
}

// DS3002B and DS3103, mode 1: the master clock itself follows the payload rate.
void follow_master_clock(std::uint32_t wanted_khz, std::uint32_t current_khz) {
    if (wanted_khz != current_khz) {
        ds3000_switch_master_clock(static_cast<std::int32_t>(wanted_khz));
    }
}

struct fraction {
    std::uint8_t numerator;
    std::uint8_t denominator;
};

// The code rates behind enum ds3000_code_rate, from CODE_RATE_1_4 on.
constexpr fraction code_rates[] = {
    {1, 4}, {1, 3}, {2, 5}, {1, 2}, {3, 5}, {2, 3}, {3, 4}, {4, 5}, {5, 6}, {7, 8}, {8, 9}, {9, 10},
};
static_assert(std::size(code_rates) == CODE_RATE_9_10);

// An unknown code rate counts as 2/3 in DVB-S2 and as 3/4 in DVB-S.
fraction code_rate_of(const ds3000_signal_info &info) {
    std::uint32_t code_rate = info.code_rate;
    if (code_rate == CODE_RATE_UNKNOWN) {
        code_rate = info.standard == STANDARD_DVBS2 ? CODE_RATE_2_3 : CODE_RATE_3_4;
    }
    return code_rates[code_rate - 1];
}

// Payload rate in kbyte/s: bits per symbol × symbol rate × code rate / 8, truncated toward zero. A
// symbol rate that the chip reports wrapped is negative, and so is its payload rate.
std::int32_t payload_rate_of(std::int32_t symbol_rate_ksps, const ds3000_signal_info &info) {
    const auto bits_per_symbol = static_cast<std::int32_t>(info.modulation - MODULATION_QPSK + 2);
    const fraction rate = code_rate_of(info);
    return bits_per_symbol * symbol_rate_ksps * rate.numerator / (8 * rate.denominator);
}

std::uint32_t dvbs2_master_clock_khz(std::int32_t payload_rate) {
    const std::int32_t needed_khz = payload_rate * 49 / 5;
    if (needed_khz >= 115201) {
        return 144000;
    }
    if (needed_khz >= 96001) {
        return 115200;
    }
    return needed_khz >= 72001 ? 96000 : 72000;
}

std::int32_t adapt_dvbs2(std::int32_t payload_rate, std::uint8_t ts_mode) {
    if (is_ds310x()) {
        std::uint32_t clock_khz = default_master_clock_khz;
        ds3000_get_master_clock(&clock_khz);
        ds3000_context.master_clock_khz = dvbs2_master_clock_khz(payload_rate);
        if (ts_mode == 1) {
            follow_master_clock(ds3000_context.master_clock_khz, clock_khz);
        } else {
            set_ds310x_divider(static_cast<std::int32_t>(clock_khz), payload_rate);
        }
        return DS3000_OK;
    }
    if (is_ds300x()) {
        if (ts_mode != 1) {
            set_ds300x_divider(dvbs2_ladder, 23 * payload_rate * 5 / 100);
        }
        return DS3000_OK;
    }
    return DS3000_UNKNOWN_CHIP;
}

std::int32_t adapt_dvbs(std::int32_t payload_rate, std::uint8_t ts_mode) {
    if (is_ds310x()) {
        std::uint32_t clock_khz = default_master_clock_khz;
        ds3000_get_master_clock(&clock_khz);
        if (ts_mode == 1) {
            ds3000_context.master_clock_khz = 46 * payload_rate < 360005 ? 72000 : 96000;
            follow_master_clock(ds3000_context.master_clock_khz, clock_khz);
        } else {
            ds3000_context.master_clock_khz = 46 * payload_rate / 5 < 72001 ? 72000 : 96000;
            set_ds310x_divider(static_cast<std::int32_t>(clock_khz), payload_rate);
        }
        return DS3000_OK;
    }
    if (is_ds300x()) {
        // Unlike DVB-S2, in mode 1 too.
        set_ds300x_divider(dvbs_ladder, 23 * payload_rate * 5 / 100);
        return DS3000_OK;
    }
    return DS3000_UNKNOWN_CHIP;
}

// DS300X holds DVB-S's own mode in the high bits of the mode register.
void set_ds300x_dvbs_mode(std::uint8_t ts_mode, demod_byte &byte) {
    std::uint8_t mode_bits = 0x80;
    if (ts_mode == 2) {
        mode_bits = 0;
    } else if (ts_mode == 1) {
        mode_bits = 0x40;
    }
    byte.update(reg::ts_mode, 0xFF, mode_bits | 0x20);
}

// The divider that a mode begins with: DVB-S counts, DVB-S2 counts.
struct mode_divider {
    std::uint8_t dvbs;
    std::uint8_t dvbs2;
};

constexpr mode_divider divider_of_mode(std::uint8_t ts_mode) {
    if (ts_mode == 3) {
        return {6, 8};
    }
    return ts_mode == 2 ? mode_divider{2, 2} : mode_divider{0, 0};
}

}  // namespace

extern "C" {

int32_t ds3000_get_ts_mode(uint8_t *ts_mode) {
    *ts_mode = 3;
    if (!is_ds300x() && !is_ds310x()) {
        return DS3000_UNKNOWN_CHIP;
    }
    const std::uint8_t byte = demod_byte().read(reg::ts_mode);
    *ts_mode = is_ds300x() && ds3000_context.standard == STANDARD_DVBS
                   ? mode_of(byte, bit(7), bit(6))
                   : mode_of(byte, bit(0), bit(2));
    return DS3000_OK;
}

int32_t ds3000_set_ts_clock_divider(uint32_t standard, uint32_t high_count, uint32_t low_count) {
    if (is_ds300x()) {
        if (standard == STANDARD_DVBS2) {
            demod_write(reg::ts_divider,
                        low_byte(((high_count & 0x0FU) << 4U) + (low_count & 0x0FU)));
        } else {
            demod_byte().update(reg::ts_divider, 0x3F,
                                low_byte(((high_count & 7U) << 3U) + (low_count & 7U)));
        }
        return DS3000_OK;
    }
    if (is_ds310x()) {
        const std::uint32_t high = (high_count - 1U) & 0x3FU;
        const std::uint32_t low = (low_count - 1U) & 0x3FU;
        demod_byte().update(reg::ts_divider, 0x0F, low_byte(high >> 2U));
        demod_write(reg::ts_divider_ds310x, low_byte((high << 6U) | low));
        return DS3000_OK;
    }
    return DS3000_UNKNOWN_CHIP;
}

int32_t ds3000_set_ts_clock_ratio(uint32_t standard, uint32_t ratio) {
    const std::uint32_t high = ratio / 2;
    return ds3000_set_ts_clock_divider(standard, high, ratio - high);
}

uint32_t ds3000_dvbs2_master_clock(int32_t symbol_rate_ksps, uint8_t ts_mode) {
    if (ts_mode != 1 && symbol_rate_ksps >= 28001) {
        return 192000;
    }
    return symbol_rate_ksps >= 18001 ? 144000 : 96000;
}

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
    *clock_khz = default_master_clock_khz;
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

int32_t ds3000_set_ts_mode(uint32_t mode) {
    const std::uint8_t ts_mode = low_byte(mode);
    const mode_divider divider = divider_of_mode(ts_mode);
    const std::uint8_t enable = demod_byte().read(reg::mode);
    const std::uint8_t port = demod_byte().read(reg::reg_27);
    demod_write(reg::reg_27, port & 0xFE);
    demod_write(reg::mode, static_cast<std::uint8_t>(enable & ~reg::mode_dvbs2));
    ds3000_set_ts_clock_divider(STANDARD_DVBS, divider.dvbs, divider.dvbs);
    demod_byte byte;
    if (is_ds300x()) {
        set_ds300x_dvbs_mode(ts_mode, byte);
    }
    demod_write(reg::mode, enable | reg::mode_dvbs2);
    ds3000_set_ts_clock_divider(STANDARD_DVBS2, divider.dvbs2, divider.dvbs2);
    if (ts_mode == 1) {
        byte.read(reg::ts_mode);
        demod_write(reg::ts_mode, 0x46);
    } else {
        // Modes other than 1 and 2 are programmed as mode 3.
        byte.update(reg::ts_mode, 0xFF, ts_mode == 2 ? 0x42 : 0x43);
    }
    demod_write(reg::mode, enable);
    byte.update(reg::reg_27, bit(4) | bit(0), ts_mode == 1 ? bit(0) : (bit(4) | bit(0)));
    byte.clear(reg::reg_29, bit(5));
    return DS3000_OK;
}

int32_t ds3000_adapt_ts_clock(void) {
    std::int32_t symbol_rate_ksps = 0;
    ds3000_get_symbol_rate(&symbol_rate_ksps);
    if (symbol_rate_ksps == 0) {
        return DS3000_BAD_ARGUMENT;
    }
    ds3000_signal_info info{};
    std::uint8_t ts_mode = 3;
    ds3000_get_signal_info(&info);
    ds3000_get_ts_mode(&ts_mode);
    const std::int32_t payload_rate = payload_rate_of(symbol_rate_ksps, info);
    return info.standard == STANDARD_DVBS2 ? adapt_dvbs2(payload_rate, ts_mode)
                                           : adapt_dvbs(payload_rate, ts_mode);
}

}  // extern "C"

}  // namespace ds3000
