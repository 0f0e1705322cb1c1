// SPDX-License-Identifier: MIT
#include "host/session/chip_session.h"

#include <unistd.h>

#include "ds3000/chip/ds3000_context.h"
#include "ds3000/chip/ds3000_regs.h"
#include "ds3000/demod/power.h"
#include "ds3000/diseqc/diseqc.h"
#include "ds3000/hw/hdi.h"
#include "ds3000/hw/lnb_supply.h"
#include "ds3000/hw/register_access.h"
#include "host/terminal/failure.h"

namespace host {

namespace {

// The chips after power-down, an LNB and its switch after the supply came, and the silence that the
// DiSEqC bus wants between messages, tone and voltage changes.
constexpr useconds_t wake_us = 100'000;
constexpr useconds_t supply_us = 100'000;
constexpr useconds_t silence_us = 15'000;

void start_chips(const BoardWiring &wiring) {
    // The load state: an earlier session of this process is over.
    void *const bus = hdi_create_i2c_bus();
    ds3000_context = {};
    ds3000_context.i2c_bus = bus;
    ds3000_context.board_iq_swap = wiring.iq_swapped ? 1 : 0;
    if (bus == nullptr) {
        throw Failure(ExitStatus::hardware_absent, "the I2C bus cannot be opened");
    }
    ds3000_wake();
    usleep(wake_us);
    if (ds3000_init() != DS3000_OK) {
        hdi_destroy_i2c_bus(bus);
        throw Failure(ExitStatus::hardware_absent, "no demodulator of this family answers at 0xD0");
    }
}

}  // namespace

ChipSession::ChipSession(const BoardWiring &wiring, DriverLog &log) : log_(log) {
    try {
        start_chips(wiring);
    } catch (const Failure &) {
        take_lines();
        throw;
    }
    record_.has_lnbh23 = hdi_Check_i2c_address(ds3000_context.i2c_bus, LNBH23_ADDRESS) != 0 ? 1 : 0;
    init_lines_ = take_lines();
}

ChipSession::~ChipSession() {
    ds3000_sleep();
    supply_off();
    hdi_destroy_i2c_bus(ds3000_context.i2c_bus);
    log_.add(capture_.take());
}

void ChipSession::select(const CableLeg &leg) {
    const std::uint32_t volts_18 = leg.voltage_18v ? 1 : 0;
    set_lnb_supply(&record_, 1, volts_18);
    usleep(supplied_ ? silence_us : supply_us);
    supplied_ = true;
    if (leg.switch_port != 0) {
        lnb_control(1, 0, volts_18, 0);
        usleep(silence_us);
        diseqc_message selection = switch_message_for(leg);
        diseqc_send(&selection);
        usleep(silence_us);
    }
    lnb_control(1, leg.tone ? 1 : 0, volts_18, 0);
}

void ChipSession::supply_off() {
    set_lnb_supply(&record_, 0, 0);
    supplied_ = false;
}

bool ChipSession::demodulator_answers() {
    constexpr unsigned attempts = 3;  // one transfer may fail on any bus
    std::uint8_t value = 0;
    for (unsigned i = 0; i < attempts; ++i) {
        if (demod_read(ds3000::reg::chip_id, &value) == DS3000_OK) {
            return true;
        }
    }
    return false;
}

std::string ChipSession::take_lines() {
    std::string lines = capture_.take();
    log_.add(lines);
    return lines;
}

}  // namespace host
