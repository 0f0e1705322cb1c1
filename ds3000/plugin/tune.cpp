// SPDX-License-Identifier: MIT
#include "ds3000/plugin/tune.h"

#include <cstdint>

#include "ds3000/chip/ds3000_context.h"
#include "ds3000/demod/connect.h"
#include "ds3000/diseqc/diseqc.h"
#include "ds3000/hw/hdi.h"
#include "ds3000/hw/lnb_supply.h"
#include "ds3000/hw/message.h"
#include "ds3000/plugin/channel.h"
#include "ds3000/plugin/clock.h"
#include "ds3000/plugin/driver.h"
#include "ds3000/plugin/record.h"
#include "ds3000/plugin/worker.h"

namespace ds3000 {

namespace {

bool is_stored(const ds3000_driver &driver, const ds3000_channel &wanted) {
    return driver.tuned_freq_mhz == wanted.freq_mhz &&
           driver.tuned_symbol_rate_ksps == wanted.symbol_rate_ksps &&
           driver.tuned_standard == wanted.standard && driver.voltage_18v == wanted.voltage_18v &&
           driver.hiband == wanted.hiband && driver.switch_pos == wanted.switch_pos;
}

void store(ds3000_driver *driver, const ds3000_channel &wanted) {
    driver->tuned_freq_mhz = wanted.freq_mhz;
    driver->tuned_symbol_rate_ksps = wanted.symbol_rate_ksps;
    driver->tuned_standard = wanted.standard;
    driver->voltage_18v = wanted.voltage_18v;
    driver->hiband = wanted.hiband;
    driver->switch_pos = wanted.switch_pos;
}

// The cable first, then the chips.
std::int32_t set_up(const ds3000_driver *driver, const ds3000_channel &wanted) {
    set_lnb_supply(driver, 1, wanted.voltage_18v);
    if (wanted.switch_pos != 0) {
        lnb_control(1, 0, wanted.voltage_18v, 0);
        diseqc_message selection;
        diseqc_committed_switch(wanted.switch_pos, wanted.voltage_18v, wanted.hiband, &selection);
        diseqc_send(&selection);
    }
    lnb_control(1, wanted.hiband, wanted.voltage_18v, 0);
    return ds3000_connect(wanted.freq_mhz, static_cast<std::int32_t>(wanted.symbol_rate_ksps),
                          wanted.standard);
}

void announce(ds3000_driver *driver, const ds3000_channel &wanted) {
    message("mt_do_tune(%p)", address_of(driver));
    // The line ends with a newline of its own, so an empty line follows it.
    message("tune to %u sr(%u) volt(%d) hiband(%d) switch_pos(%d) at %llu\n", wanted.freq_mhz,
            wanted.symbol_rate_ksps, wanted.voltage_18v != 0 ? 18 : 13, wanted.hiband,
            wanted.switch_pos, static_cast<unsigned long long>(monotonic_ms()));
}

// The gap between unlocked polls that calls for a re-connect; narrow carriers take longer.
std::uint64_t drop_timeout_ms(const ds3000_channel &wanted) {
    const bool narrow = wanted.symbol_rate_ksps < 2000;
    switch (wanted.standard) {
        case STANDARD_DVBS:
        case STANDARD_DVBS2:
            return narrow ? 6000 : 4000;
        case STANDARD_AUTO:
            return narrow ? 8500 : 4000;
        default:
            return 0;
    }
}

// The loss-of-lock clock starts with the channel; the status stays what the last poll published.
void start_lock_clock(ds3000_driver *driver) {
    const std::uint32_t lock_status = get_lock_ds3000_driver(driver);
    const std::uint64_t now_ms = monotonic_ms();
    const DriverLock lock(driver);
    driver->lock_status = static_cast<std::uint8_t>(lock_status);
    driver->last_lock_ms = now_ms;
}

std::uint32_t tune_to(ds3000_driver *driver, const ds3000_channel &wanted) {
    if (!park(driver)) {
        message("tune_ds3000_driver() tune error");
        return 0;
    }
    store(driver, wanted);
    announce(driver, wanted);
    const std::int32_t status = set_up(driver, wanted);
    driver->retune_count = 0;
    driver->drop_timeout_ms = drop_timeout_ms(wanted);
    if (status != DS3000_OK) {
        message("tune_ds3000_driver() tune error");
    } else {
        start_lock_clock(driver);
    }
    unpark(driver);
    return status == DS3000_OK ? 1 : 0;
}

}  // namespace

std::uint32_t tune_ds3000_driver(Tuner *tuner, const tune_request *request) {
    ds3000_driver *driver = tuner->driver;
    log_print("Tuner::tune()");
    message("tune_ds3000_driver(%p)", address_of(driver));
    ds3000_channel wanted;
    const std::int32_t refusal = ds3000_plan_channel(request, &wanted);
    if (refusal == CHANNEL_WRONG_SYSTEM) {
        message("ds300x_and_ts2022: wrong delivery system");
        return 0;
    }
    message(wanted.standard == STANDARD_DVBS ? "ds3000: SYS_DVBS" : "ds3000: SYS_DVBS2");
    message("low: %lu switch: %lu high: %lu", static_cast<unsigned long>(request->lof_low),
            static_cast<unsigned long>(request->lof_switch),
            static_cast<unsigned long>(request->lof_high));
    if (refusal == CHANNEL_OUT_OF_RANGE) {
        message("frequency %d out of range (950000..2150000)", static_cast<int>(wanted.if_khz));
        return 0;
    }
    if (is_stored(*driver, wanted)) {
        return get_lock_ds3000_driver(driver);
    }
    return tune_to(driver, wanted);
}

}  // namespace ds3000
