// SPDX-License-Identifier: MIT
#include "ds3000/demod/firmware.h"

#include <cstdint>

#include "ds3000/chip/ds3000_context.h"
#include "ds3000/chip/ds3000_regs.h"
#include "ds3000/demod/mcu.h"
#include "ds3000/hw/register_access.h"
#include "ds3000/hw/wait.h"

namespace reg = ds3000::reg;

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
    demod_write(reg::mcu_control, reg::mcu_hold);
    if (ds3000_context.chip_type == CHIP_DS300X) {
        ds3000::wait_us(1000);
    } else if (ds3000::is_ds310x()) {
        demod_write(reg::core_reset, 0x01);
        ds3000::wait_us(1000);
        demod_write(reg::core_reset, 0x00);
    } else {
        // An unknown chip stays held: nothing is known that would let it run.
        return DS3000_UNKNOWN_CHIP;
    }
    demod_write(reg::mcu_control, 0x00);
    return DS3000_OK;
}
