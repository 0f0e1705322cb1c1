// SPDX-License-Identifier: MIT
#include "host/doctor/reception.h"

#include <utility>

#include "ds3000/chip/ds3000_context.h"
#include "ds3000/demod/connect.h"
#include "ds3000/demod/lock.h"
#include "host/session/pace.h"

namespace host {

namespace {

constexpr std::uint64_t ns_per_ms = 1'000'000;

}  // namespace

void pause_ms(std::uint64_t ms) { sleep_ns(ms * ns_per_ms); }

std::uint64_t ms_since(std::uint64_t start_ns) { return (now_ns() - start_ns) / ns_per_ms; }

Reception::Reception(ChipSession &session, Aim aim, Cancelled cancelled)
    : session_(session), aim_(std::move(aim)), cancelled_(std::move(cancelled)) {
    if (aim_.user_band) {
        const UserBandPlan plan = plan_user_band(*aim_.user_band, aim_.plan, aim_.lnb, Position::a);
        ds3000_context.unicable_enabled = 1;
        ds3000_context.unicable_ub_index = aim_.user_band->index;
        ds3000_context.unicable_ub_freq_mhz = aim_.user_band->frequency_mhz;
        ds3000_context.unicable_bank = plan.bank;
    }
}

ReceptionWay Reception::aimed_way() const {
    // A Unicable unit needs no voltage, tone or switch to choose anything.
    return {aim_.user_band ? CableLeg{} : leg_of(aim_.plan), aim_.plan.freq_mhz,
            aim_.plan.standard};
}

std::uint32_t Reception::place_khz() const {
    return aim_.user_band ? std::uint32_t{aim_.user_band->frequency_mhz} * 1000 : aim_.plan.if_khz;
}

LockOutcome Reception::try_lock(const ReceptionWay &way, std::uint64_t timeout_ms) {
    // Without firmware no search ever begins; so many polls of 100 ms each prove it.
    constexpr int polls_for_a_search = 5;
    session_.select(way.leg);
    ds3000_connect(way.if_mhz, static_cast<std::int32_t>(symbol_rate_ksps()), way.standard);
    const std::uint64_t start_ns = now_ns();
    LockOutcome outcome;
    for (int polls = 1;; ++polls) {
        std::uint32_t state = LOCK_SEARCHING;
        ds3000_poll_lock(&state);
        outcome.locked = state == LOCK_LOCKED;
        outcome.search_began = outcome.search_began || ds3000_context.first_poll == 0;
        outcome.ms = ms_since(start_ns);
        const bool hopeless = polls >= polls_for_a_search && !outcome.search_began;
        if (outcome.locked || hopeless || outcome.ms >= timeout_ms || cancelled()) {
            return outcome;
        }
        pause_ms(polling_period_ms);
    }
}

}  // namespace host
