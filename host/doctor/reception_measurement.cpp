// SPDX-License-Identifier: MIT
#include "host/doctor/reception_measurement.h"

#include "ds3000/chip/ds3000_context.h"
#include "ds3000/chip/ds3000_regs.h"
#include "ds3000/demod/power.h"
#include "ds3000/diseqc/diseqc.h"
#include "ds3000/hw/register_access.h"
#include "host/session/input_level.h"
#include "host/session/lock_wait.h"

namespace host {

namespace {

namespace reg = ds3000::reg;

std::vector<double> gains_at(const std::vector<std::uint32_t> &places_mhz) {
    constexpr std::uint32_t filter_ksps = 27'500;
    std::vector<double> gains;
    gains.reserve(places_mhz.size());
    for (const std::uint32_t place_mhz : places_mhz) {
        gains.push_back(gain_db_at(place_mhz, filter_ksps));
    }
    return gains;
}

std::int32_t read_symbol_rate_registers() {
    std::uint8_t high = 0;
    std::uint8_t low = 0;
    demod_read(reg::symbol_rate_high, &high);
    demod_read(reg::symbol_rate_low, &low);
    return high << 8 | low;
}

// The switch's command; without a switch the one that powers every device up, as it is already.
diseqc_message message_for(const CableLeg &leg) {
    constexpr diseqc_message power_on{.msg = {0xE0, 0x00, 0x03},
                                      .msg_len = 3,
                                      .expect_reply = 0,
                                      .option = 0,
                                      .reply = {},
                                      .reply_len = 0};
    return leg.switch_port != 0 ? switch_message_for(leg) : power_on;
}

}  // namespace

UserBandLook look_at_user_band(TrialReception &reception) {
    const UserBand &band = *reception.aim().user_band;
    reception.session().select({});
    return {band, peaks_near(band.frequency_mhz)};
}

SupplyLift measure_supply_lift(TrialReception &reception) {
    constexpr std::uint64_t discharge_ms = 300;
    const TunePlan &plan = reception.aim().plan;
    const auto places_mhz = places_to_look(plan.freq_mhz);
    reception.session().supply_off();
    pause_ms(discharge_ms);
    const auto off_db = gains_at(places_mhz);
    reception.session().select(reception.aimed_way().leg);
    const auto on_db = gains_at(places_mhz);
    std::size_t best = 0;
    for (std::size_t i = 1; i < places_mhz.size(); ++i) {
        best = off_db[i] - on_db[i] > off_db[best] - on_db[best] ? i : best;
    }
    return {volts_of(plan), off_db[best] - on_db[best], places_mhz[best], places_mhz.size(),
            reception.session().has_lnbh23()};
}

MessageTrial send_message(TrialReception &reception) {
    const CableLeg leg = reception.aimed_way().leg;
    diseqc_message message = message_for(leg);
    reception.session().select({.voltage_18v = leg.voltage_18v});
    const std::uint64_t start_ns = now_ns();
    const bool sent = diseqc_send(&message) == DS3000_OK;
    const std::uint64_t taken_ms = ms_since(start_ns);
    reception.session().select({.voltage_18v = leg.voltage_18v, .tone = leg.tone});
    return {leg.switch_port, taken_ms, sent};
}

LockWatch watch_lock(TrialReception &reception, std::uint64_t watch_ms) {
    const std::uint64_t start_ns = now_ns();
    const auto over = [&] { return ms_since(start_ns) >= watch_ms || reception.must_end(); };
    LockWatch watch{.band = reception.aim().user_band};
    while (!over()) {
        const LockOutcome loss = wait_for_lock(
            {.look = [](std::uint64_t) { return poll_lock() ? Sight::nothing : Sight::certain; },
             .give_up = [&](std::uint64_t) { return over(); }});
        if (loss.came()) {
            ++watch.losses;
            // The same channel change or tuning once more, as a zap would do it.
            watch.regained += reception.try_lock(reception.aimed_way(), guess_ms).locked ? 1 : 0;
        }
    }
    watch.ms = ms_since(start_ns);
    return watch;
}

// What a receiver's finalize and the next init do, with the time of a standby in between.
StandbyTrial go_through_standby(TrialReception &reception, std::uint64_t standby_ms,
                                std::uint64_t lock_ms, bool locked_before) {
    constexpr std::uint64_t waking_ms = 100;
    StandbyTrial trial{.standby_ms = standby_ms, .locked_before = locked_before};
    const std::int32_t registers = read_symbol_rate_registers();
    ds3000_sleep();
    reception.session().supply_off();
    pause_ms_unless(standby_ms, [&reception] { return reception.must_end_asleep(); });
    ds3000_wake();
    pause_ms(waking_ms);
    trial.registers_kept = read_symbol_rate_registers() == registers;
    trial.after = reception.try_lock(reception.aimed_way(), locked_before ? lock_ms : guess_ms);
    if (!trial.after.search_began) {
        ds3000_init();
        trial.restart_helps = reception.try_lock(reception.aimed_way(), lock_ms).search_began;
    }
    return trial;
}

}  // namespace host
