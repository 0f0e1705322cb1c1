// SPDX-License-Identifier: MIT
#include <cstdint>

#include "ds3000/chip/ds3000_context.h"
#include "ds3000/demod/connect.h"
#include "ds3000/diseqc/diseqc.h"
#include "ds3000/hw/bits.h"
#include "ds3000/hw/hdi.h"
#include "ds3000/hw/lnb_supply.h"
#include "ds3000/hw/message.h"
#include "ds3000/plugin/driver.h"

using ds3000::message;

namespace {

// Codes of the tune request.
constexpr std::uint32_t sys_dvbs = 5;
constexpr std::uint32_t sys_dvbs2 = 6;
constexpr std::uint32_t polarisation_13v = 1;
constexpr std::uint32_t voltage_by_polarisation = 0;
constexpr std::uint32_t voltage_mode_18v = 2;
constexpr std::uint32_t tone_mode_on = 1;
constexpr std::uint32_t tone_mode_off = 2;

constexpr std::uint32_t if_min_khz = 950000;
constexpr std::uint32_t if_max_khz = 2150000;

// The six values that a channel consists of.
struct channel {
    std::uint32_t freq_mhz;
    std::uint32_t symbol_rate_ksps;
    std::uint32_t standard;
    std::uint32_t voltage_18v;
    std::uint8_t hiband;
    std::uint8_t switch_pos;
};

// A transponder's place on the cable.
struct intermediate {
    std::uint32_t if_khz;
    std::uint8_t hiband;
};

// The standard's code, 0 for a delivery system that this front end does not receive.
std::uint32_t standard_of(std::uint32_t delivery_system) {
    switch (delivery_system) {
        case sys_dvbs:
            message("ds3000: SYS_DVBS");
            return STANDARD_DVBS;
        case sys_dvbs2:
            message("ds3000: SYS_DVBS2");
            return STANDARD_DVBS2;
        default:
            message("ds300x_and_ts2022: wrong delivery system");
            return 0;
    }
}

std::uint32_t selects_18v(const tune_request &request) {
    const bool high = request.voltage_mode != voltage_by_polarisation
                          ? request.voltage_mode == voltage_mode_18v
                          : request.polarisation != polarisation_13v;
    return high ? 1 : 0;
}

std::uint8_t tone_of(std::uint32_t tone_mode, std::uint8_t band) {
    if (tone_mode == tone_mode_on) {
        return 1;
    }
    return tone_mode == tone_mode_off ? 0 : band;
}

// One oscillator; two chosen by polarisation; or two chosen by a switch frequency, the only kind
// for which the request's tone mode counts. An oscillator may lie on either side of a transponder.
intermediate intermediate_of(const tune_request &request) {
    if (request.lof_high == 0) {
        return {ds3000::wrap_distance(request.frequency, request.lof_low), 0};
    }
    if (request.lof_switch == 0) {
        const bool low = request.polarisation == polarisation_13v;
        return {ds3000::wrap_distance(request.frequency, low ? request.lof_low : request.lof_high),
                0};
    }
    const bool low = request.frequency < request.lof_switch;
    return {ds3000::wrap_distance(request.frequency, low ? request.lof_low : request.lof_high),
            tone_of(request.tone_mode, low ? 0 : 1)};
}

bool is_stored(const ds3000_driver &driver, const channel &wanted) {
    return driver.tuned_freq_mhz == wanted.freq_mhz &&
           driver.tuned_symbol_rate_ksps == wanted.symbol_rate_ksps &&
           driver.tuned_standard == wanted.standard && driver.voltage_18v == wanted.voltage_18v &&
           driver.hiband == wanted.hiband && driver.switch_pos == wanted.switch_pos;
}

void store(ds3000_driver *driver, const channel &wanted) {
    driver->tuned_freq_mhz = wanted.freq_mhz;
    driver->tuned_symbol_rate_ksps = wanted.symbol_rate_ksps;
    driver->tuned_standard = wanted.standard;
    driver->voltage_18v = wanted.voltage_18v;
    driver->hiband = wanted.hiband;
    driver->switch_pos = wanted.switch_pos;
}

// Write N0: the committed switch's four ports, with its polarisation and band bits.
void send_committed_switch(const channel &wanted) {
    std::uint32_t command = 4U * (wanted.switch_pos + 59U);
    command |= wanted.voltage_18v != 0 ? 0x02U : 0U;
    command |= wanted.hiband != 0 ? 0x01U : 0U;
    diseqc_message switch_message{.msg = {0xE0, 0x10, 0x38, ds3000::low_byte(command)},
                                  .msg_len = 4,
                                  .expect_reply = 0,
                                  .option = 0,
                                  .reply = {},
                                  .reply_len = 0};
    diseqc_send(&switch_message);
}

// The cable first, then the chips.
std::int32_t set_up(const ds3000_driver *driver, const channel &wanted) {
    set_lnb_supply(driver, 1, wanted.voltage_18v);
    if (wanted.switch_pos != 0) {
        lnb_control(1, 0, wanted.voltage_18v, 0);
        send_committed_switch(wanted);
    }
    lnb_control(1, wanted.hiband, wanted.voltage_18v, 0);
    return ds3000_connect(wanted.freq_mhz, static_cast<std::int32_t>(wanted.symbol_rate_ksps),
                          wanted.standard);
}

void announce(ds3000_driver *driver, const channel &wanted) {
    message("mt_do_tune(%p)", static_cast<void *>(driver));
    // The line ends with a newline of its own, so an empty line follows it.
    message("tune to %u sr(%u) volt(%d) hiband(%d) switch_pos(%d) at %llu\n", wanted.freq_mhz,
            wanted.symbol_rate_ksps, wanted.voltage_18v != 0 ? 18 : 13, wanted.hiband,
            wanted.switch_pos, static_cast<unsigned long long>(monotonic_ms()));
}

// The gap between unlocked polls that calls for a re-connect; narrow carriers take longer.
std::uint64_t drop_timeout_ms(const channel &wanted) {
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

std::uint32_t tune_to(ds3000_driver *driver, const channel &wanted) {
    set_idle(driver, true);
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
    set_idle(driver, false);
    return status == DS3000_OK ? 1 : 0;
}

}  // namespace

std::uint32_t tune_ds3000_driver(Tuner *tuner, const tune_request *request) {
    ds3000_driver *driver = tuner->driver;
    log_print("Tuner::tune()");
    message("tune_ds3000_driver(%p)", static_cast<void *>(driver));
    const std::uint32_t standard = standard_of(request->delivery_system);
    if (standard == 0) {
        return 0;
    }
    message("low: %lu switch: %lu high: %lu", static_cast<unsigned long>(request->lof_low),
            static_cast<unsigned long>(request->lof_switch),
            static_cast<unsigned long>(request->lof_high));
    const intermediate path = intermediate_of(*request);
    if (path.if_khz < if_min_khz || path.if_khz > if_max_khz) {
        message("frequency %d out of range (950000..2150000)", static_cast<int>(path.if_khz));
        return 0;
    }
    const channel wanted{
        .freq_mhz = path.if_khz / 1000,
        .symbol_rate_ksps = request->symbol_rate / 1000,
        .standard = standard,
        .voltage_18v = selects_18v(*request),
        .hiband = path.hiband,
        .switch_pos = ds3000::low_byte(request->switch_pos),
    };
    if (is_stored(*driver, wanted)) {
        return get_lock_ds3000_driver(driver);
    }
    return tune_to(driver, wanted);
}
