// SPDX-License-Identifier: MIT
#include "ds3000/demod/board_options.h"

#include "ds3000/chip/ds3000_context.h"
#include "ds3000/chip/ds3000_regs.h"
#include "ds3000/demod/mcu.h"

namespace ds3000 {

void update_spectrum_inversion() {
    ds3000_context.spectrum_inverted =
        ds3000_context.unicable_enabled ^ ds3000_context.board_iq_swap;
}

void put_spectrum_inversion(demod_byte &byte) {
    byte.put(reg::spectrum, reg::spectrum_invert, ds3000_context.spectrum_inverted == 1);
}

void put_board_options(demod_byte &byte) {
    if (is_ds310x()) {
        put_spectrum_inversion(byte);
        byte.put(reg::reg_30, reg::reg_30_bit4, ds3000_context.reg30_bit4_enable == 1);
    }
}

}  // namespace ds3000
