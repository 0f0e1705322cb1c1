// SPDX-License-Identifier: MIT
#include <cstdint>

#include "ds3000/chip/ds3000_context.h"
#include "ds3000/chip/ts2022_regs.h"
#include "ds3000/hw/bits.h"
#include "ds3000/hw/register_access.h"
#include "ds3000/hw/register_byte.h"
#include "ds3000/hw/wait.h"
#include "ds3000/tuner/ts2022.h"

namespace ds3000 {

namespace tuner_reg = ts2022::reg;

namespace {

constexpr std::uint32_t start_up_us = 2000;
constexpr std::uint32_t wake_us = 50000;

std::uint8_t type_of_identity(std::uint8_t identity) {
    switch (identity) {
        case 0x01:
        case 0x41:
        case 0x81:
            return 1;
        case 0xC3:
        case 0x83:
            return 2;
        default:
            return 0;
    }
}

void start_type_1() {
    tuner_write(tuner_reg::reg_62, 0xFD);
    wait_us(start_up_us);
    tuner_write(tuner_reg::reg_42, 0x63);
    tuner_write(tuner_reg::reg_07, 0x02);
    tuner_write(tuner_reg::reg_08, 0x01);
}

void start_type_2() {
    tuner_write(tuner_reg::reg_62, 0xEC);
    wait_us(start_up_us);
    tuner_write(tuner_reg::reg_42, 0x6C);
    wait_us(start_up_us);
    static constexpr std::uint8_t start_up[][2] = {
        {0x7D, 0x9D}, {0x7C, 0x9A}, {0x7A, 0x76}, {0x3B, 0x01}, {0x63, 0x88}, {0x61, 0x85},
        {0x22, 0x30}, {0x30, 0x40}, {0x20, 0x23}, {0x24, 0x02}, {0x12, 0xA0},
    };
    for (const auto &[address, value] : start_up) {
        tuner_write(address, value);
    }
}

// Power up in two steps. The supply step is skipped when the bits tested say it is done: the
// start-up looks at both power bits, the wake-up at the supply's alone.
void power_up(tuner_byte &byte, std::uint8_t tested_bits, std::uint32_t settle_us) {
    if (!is_set(byte.read(tuner_reg::power), tested_bits)) {
        tuner_write(tuner_reg::power, tuner_reg::power_supply);
        wait_us(settle_us);
    }
    tuner_write(tuner_reg::power, tuner_reg::power_all);
    wait_us(settle_us);
}

}  // namespace

extern "C" {

int32_t ts2022_init(void) {
    tuner_byte byte;
    power_up(byte, tuner_reg::power_all, start_up_us);
    ds3000_context.tuner_type = type_of_identity(byte.read(tuner_reg::power));
    if (ds3000_context.tuner_type == 1) {
        start_type_1();
    } else if (ds3000_context.tuner_type == 2) {
        start_type_2();
    }
    return DS3000_OK;
}

int32_t ts2022_wake(void) {
    tuner_byte byte;
    power_up(byte, tuner_reg::power_supply, wake_us);
    return DS3000_OK;
}

int32_t ts2022_sleep(void) {
    tuner_write(tuner_reg::power, 0x00);
    wait_us(wake_us);
    return DS3000_OK;
}

}  // extern "C"

}  // namespace ds3000
