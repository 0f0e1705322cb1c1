// SPDX-License-Identifier: MIT
#include "ds3000/demod/ts_divider.h"

#include <cstdint>

#include "ds3000/chip/ds3000_context.h"
#include "ds3000/chip/ds3000_regs.h"
#include "ds3000/demod/mcu.h"
#include "ds3000/hw/bits.h"
#include "ds3000/hw/register_access.h"
#include "ds3000/hw/register_byte.h"

namespace ds3000 {

extern "C" {

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

}  // extern "C"

}  // namespace ds3000
