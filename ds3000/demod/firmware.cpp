// SPDX-License-Identifier: MIT
#include "ds3000/demod/firmware.h"

#include <cstdint>

#include "ds3000/chip/ds3000_context.h"
#include "ds3000/chip/ds3000_regs.h"
#include "ds3000/demod/mcu.h"
#include "ds3000/hw/register_access.h"

namespace ds3000 {

extern "C" {

int32_t load_firmware(const uint8_t *image) {
    demod_write(reg::mcu_control, reg::mcu_hold);
    std::int32_t status = DS3000_OK;
    for (int sent = 0; sent < FIRMWARE_SIZE && status == DS3000_OK; sent += FIRMWARE_CHUNK) {
        status = demod_write_block(reg::mcu_port, image + sent, FIRMWARE_CHUNK);
    }
    demod_write(reg::mcu_control, 0x00);
    return status;
}

int32_t reset_mcu(void) {
    ds3000_context.first_poll = 1;
    ds3000_context.locked_once = 0;
    ds3000_context.s2_recovery_done = 0;
    if (!is_known_chip()) {
        // Left held: nothing is known that would let this chip run.
        hold_mcu();
        return DS3000_UNKNOWN_CHIP;
    }
    restart_mcu(is_ds310x(), 1000);
    return DS3000_OK;
}

}  // extern "C"

}  // namespace ds3000
