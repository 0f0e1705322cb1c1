// SPDX-License-Identifier: MIT
#include "ds3000/demod/low_rate.h"

#include <cstdint>

#include "ds3000/chip/ds3000_context.h"
#include "ds3000/chip/ds3000_regs.h"
#include "ds3000/hw/register_access.h"

namespace ds3000 {

namespace {

constexpr std::int32_t low_rate_ksps = 5000;

}  // namespace

std::int32_t low_rate_shift_khz(std::int32_t symbol_rate_ksps) {
    return symbol_rate_ksps < low_rate_ksps && ds3000_context.unicable_enabled == 0 ? 3000 : 0;
}

void program_low_rate_loops(std::int32_t symbol_rate_ksps, std::uint32_t standard) {
    if (standard != STANDARD_DVBS2 || symbol_rate_ksps > low_rate_ksps) {
        return;
    }
    demod_write(reg::reg_c0, 0x04);
    demod_write(reg::reg_8a, 0x09);
    demod_write(reg::reg_8b, 0x22);
    demod_write(reg::reg_8c, 0x88);
}

}  // namespace ds3000
