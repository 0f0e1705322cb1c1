// SPDX-License-Identifier: MIT
#include "ds3000/demod/ts_mode.h"

#include <cstdint>

#include "ds3000/chip/ds3000_context.h"
#include "ds3000/chip/ds3000_regs.h"
#include "ds3000/demod/mcu.h"
#include "ds3000/demod/ts_divider.h"
#include "ds3000/hw/bits.h"
#include "ds3000/hw/register_access.h"
#include "ds3000/hw/register_byte.h"

namespace ds3000 {

namespace {

// The mode as a set bit (mode 3), a second set bit (mode 1) or neither (mode 2).
std::uint8_t mode_of(std::uint8_t byte, std::uint8_t mode_3_bit, std::uint8_t mode_1_bit) {
    if (is_set(byte, mode_3_bit)) {
        return 3;
    }
    return is_set(byte, mode_1_bit) ? 1 : 2;
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
    if (!is_known_chip()) {
        return DS3000_UNKNOWN_CHIP;
    }
    const std::uint8_t byte = demod_byte().read(reg::ts_mode);
    *ts_mode = is_ds300x() && ds3000_context.standard == STANDARD_DVBS
                   ? mode_of(byte, bit(7), bit(6))
                   : mode_of(byte, bit(0), bit(2));
    return DS3000_OK;
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

}  // extern "C"

}  // namespace ds3000
