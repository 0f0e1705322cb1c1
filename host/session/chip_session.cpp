// SPDX-License-Identifier: MIT
#include "host/session/chip_session.h"

#include "ds3000/chip/ds3000_context.h"
#include "ds3000/demod/power.h"
#include "ds3000/demod/ts_mode.h"
#include "ds3000/hw/hdi.h"
#include "host/session/front_end.h"
#include "host/terminal/failure.h"

namespace host {

namespace {

// What an LNB and its switch need after the supply came.
constexpr std::uint32_t supply_us = 100'000;

void start(const BoardWiring &wiring) {
    // The load state: an earlier session of this process is over.
    ds3000_context = {};
    ds3000_context.board_iq_swap = wiring.iq_swapped ? 1 : 0;
    ds3000_context.reg30_bit4_enable = wiring.reg30_bit4 ? 1 : 0;
    switch (start_front_end()) {
        case StartUp::up:
            if (wiring.ts_mode != usual_ts_mode) {
                ds3000_set_ts_mode(wiring.ts_mode);
            }
            return;
        case StartUp::no_bus:
            throw Failure(ExitStatus::hardware_absent, "the I2C bus cannot be opened");
        case StartUp::no_chip:
            hdi_destroy_i2c_bus(ds3000_context.i2c_bus);
            throw Failure(ExitStatus::hardware_absent,
                          "no demodulator of this family answers at 0xD0");
    }
}

}  // namespace

ChipSession::ChipSession(const BoardWiring &wiring, DriverLog &log) : log_(log) {
    try {
        start(wiring);
    } catch (const Failure &) {
        take_lines();
        throw;
    }
    find_lnb_supply(supply_);
    take_lines();
}

ChipSession::~ChipSession() {
    if (left_running_) {
        hdi_destroy_i2c_bus(ds3000_context.i2c_bus);
    } else {
        stop_front_end(supply_);
    }
    take_lines();
}

void ChipSession::select(const CableLeg &leg) {
    select_leg(supply_, leg,
               {.after_supply_us = supplied_ ? diseqc_silence_us : supply_us,
                .silence_us = diseqc_silence_us});
    supplied_ = true;
}

void ChipSession::supply_off() {
    switch_supply_off(supply_);
    supplied_ = false;
}

void ChipSession::receive_through(const UserBand &band, std::uint16_t bank) {
    ds3000_context.unicable_enabled = 1;
    ds3000_context.unicable_ub_index = band.index;
    ds3000_context.unicable_ub_freq_mhz = band.frequency_mhz;
    ds3000_context.unicable_bank = bank;
}

void ChipSession::receive_directly() { ds3000_context.unicable_enabled = 0; }

std::string ChipSession::chip_name() {
    const char *const name = ds3000_chip_name(ds3000_context.chip_type);
    return name == nullptr ? "" : name;
}

Firmware ChipSession::firmware() { return firmware_of(ds3000_context.chip_type); }

void ChipSession::take_lines() { log_.add(capture_.take()); }

}  // namespace host
