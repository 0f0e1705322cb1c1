// SPDX-License-Identifier: MIT
#include "ds3000/demod/ts_clock.h"

#include <algorithm>
#include <cstdint>
#include <iterator>

#include "ds3000/chip/ds3000_context.h"
#include "ds3000/demod/carrier.h"
#include "ds3000/demod/master_clock.h"
#include "ds3000/demod/mcu.h"
#include "ds3000/demod/signal_quality.h"
#include "ds3000/demod/ts_divider.h"
#include "ds3000/demod/ts_mode.h"

namespace ds3000 {

namespace {

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

// The output clock is to have 15 % more than the payload needs; in DVB-S2 mode 1 has no divider.
void adapt_ds300x(bool dvbs2, std::int32_t payload_rate, std::uint8_t ts_mode) {
    const std::int32_t needed_khz = 23 * payload_rate * 5 / 100;
    if (!dvbs2) {
        set_ds300x_divider(dvbs_ladder, needed_khz);
    } else if (ts_mode != 1) {
        set_ds300x_divider(dvbs2_ladder, needed_khz);
    }
}

// The master clock that would carry the payload without a divider, with some room: 9.8 clocks a
// byte in DVB-S2, 9.2 in DVB-S.
std::uint32_t fitting_clock_khz(bool dvbs2, std::int32_t payload_rate) {
    const std::int32_t needed_khz = payload_rate * (dvbs2 ? 49 : 46) / 5;
    if (needed_khz < 72001) {
        return 72000;
    }
    if (!dvbs2 || needed_khz < 96001) {
        return 96000;
    }
    return needed_khz < 115201 ? 115200 : 144000;
}

// DS3002B and DS3103: in mode 1 the master clock follows the payload; in the others it is divided
// down to the payload rate, 6000 kHz at least. It is 192000 kHz at most and the rate 18431 kbyte/s,
// so the ratio is one of 3 to 32.
void adapt_ds310x(bool dvbs2, std::int32_t payload_rate, std::uint8_t ts_mode) {
    std::uint32_t clock_khz = 0;
    ds3000_get_master_clock(&clock_khz);
    const std::uint32_t fitting_khz = fitting_clock_khz(dvbs2, payload_rate);
    ds3000_context.master_clock_khz = fitting_khz;
    if (ts_mode != 1) {
        const auto rate = static_cast<std::uint32_t>(std::max(payload_rate, 6000));
        ds3000_set_ts_clock_ratio(ds3000_context.standard, clock_khz / rate);
    } else if (fitting_khz != clock_khz) {
        ds3000_switch_master_clock(static_cast<std::int32_t>(fitting_khz));
    }
}

}  // namespace

extern "C" {

int32_t ds3000_adapt_ts_clock(void) {
    std::int32_t symbol_rate_ksps = 0;
    ds3000_get_symbol_rate(&symbol_rate_ksps);
    if (symbol_rate_ksps == 0) {
        return DS3000_BAD_ARGUMENT;
    }
    ds3000_signal_info info{};
    std::uint8_t ts_mode = 0;
    ds3000_get_signal_info(&info);
    ds3000_get_ts_mode(&ts_mode);
    const bool dvbs2 = info.standard == STANDARD_DVBS2;
    const std::int32_t payload_rate = payload_rate_of(symbol_rate_ksps, info);
    if (is_ds310x()) {
        adapt_ds310x(dvbs2, payload_rate, ts_mode);
    } else if (is_ds300x()) {
        adapt_ds300x(dvbs2, payload_rate, ts_mode);
    } else {
        return DS3000_UNKNOWN_CHIP;
    }
    return DS3000_OK;
}

}  // extern "C"

}  // namespace ds3000
