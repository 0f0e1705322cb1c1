// SPDX-License-Identifier: MIT
#include "host/session/front_end.h"

#include <unistd.h>

#include "ds3000/chip/ds3000_context.h"
#include "ds3000/demod/power.h"
#include "ds3000/diseqc/diseqc.h"
#include "ds3000/hw/hdi.h"
#include "ds3000/hw/lnb_supply.h"

namespace host {

namespace {

constexpr useconds_t wake_us = 100'000;

void pause_us(std::uint32_t us) {
    if (us != 0) {
        usleep(us);
    }
}

}  // namespace

StartUp start_front_end() {
    ds3000_context.i2c_bus = hdi_create_i2c_bus();
    if (ds3000_context.i2c_bus == nullptr) {
        return StartUp::no_bus;
    }
    ds3000_wake();
    usleep(wake_us);
    return ds3000_init() == DS3000_OK ? StartUp::up : StartUp::no_chip;
}

void find_lnb_supply(ds3000_driver &supply) {
    supply.has_lnbh23 = hdi_Check_i2c_address(ds3000_context.i2c_bus, LNBH23_ADDRESS) != 0 ? 1 : 0;
}

void select_leg(const ds3000_driver &supply, const CableLeg &leg, const CablePauses &pauses) {
    const std::uint32_t volts_18 = leg.voltage_18v ? 1 : 0;
    set_lnb_supply(&supply, 1, volts_18);
    pause_us(pauses.after_supply_us);
    if (leg.switch_port != 0) {
        lnb_control(1, 0, volts_18, 0);
        pause_us(pauses.silence_us);
        diseqc_message selection = switch_message_for(leg);
        diseqc_send(&selection);
        pause_us(pauses.silence_us);
    }
    lnb_control(1, leg.tone ? 1 : 0, volts_18, 0);
}

void switch_supply_off(const ds3000_driver &supply) { set_lnb_supply(&supply, 0, 0); }

void stop_front_end(const ds3000_driver &supply) {
    ds3000_sleep();
    switch_supply_off(supply);
    hdi_destroy_i2c_bus(ds3000_context.i2c_bus);
}

}  // namespace host
