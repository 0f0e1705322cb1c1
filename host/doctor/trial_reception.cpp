// SPDX-License-Identifier: MIT
#include "host/doctor/trial_reception.h"

#include <utility>

#include "ds3000/chip/ds3000_context.h"
#include "ds3000/demod/connect.h"
#include "host/session/lock_wait.h"

namespace host {

TrialReception::TrialReception(ChipSession &session, Judge &judge, Aim aim, MustEnd must_end)
    : session_(session), judge_(judge), aim_(std::move(aim)), must_end_(std::move(must_end)) {
    if (aim_.user_band) {
        const UserBandPlan plan = plan_user_band(*aim_.user_band, aim_.plan, aim_.lnb, Position::a);
        ChipSession::receive_through(*aim_.user_band, plan.bank);
    }
}

ReceptionWay TrialReception::aimed_way() const {
    // A Unicable unit takes its commands at 18 V; voltage, tone and switch choose nothing there.
    return {aim_.user_band ? CableLeg{.voltage_18v = true} : leg_of(aim_.plan), aim_.plan.freq_mhz,
            aim_.plan.standard};
}

std::uint32_t TrialReception::place_khz() const {
    return aim_.user_band ? std::uint32_t{aim_.user_band->frequency_mhz} * 1000 : aim_.plan.if_khz;
}

// On a Unicable cable a search is a channel change, and a turn of its own.
void TrialReception::search(const ReceptionWay &way) {
    if (aim_.user_band) {
        session_.select(way.leg);
    }
    ds3000_connect(way.if_mhz, static_cast<std::int32_t>(symbol_rate_ksps()), way.standard);
    if (aim_.user_band) {
        session_.select({});
    }
}

TrialOutcome TrialReception::try_lock(const ReceptionWay &way, std::uint64_t timeout_ms) {
    // Without firmware no search ever begins; so many polls of 100 ms each prove it.
    constexpr int polls_for_a_search = 5;
    // A search that has ended stays so; what comes right later takes another one.
    constexpr std::uint64_t search_ms = 1'000;
    session_.select(way.leg);
    search(way);
    int polls = 0;
    bool search_began = false;
    std::uint64_t next_search_ms = search_ms;
    const LockOutcome lock =
        wait_for_lock({.look =
                           [&](std::uint64_t elapsed_ms) {
                               if (elapsed_ms >= next_search_ms) {
                                   search(way);
                                   next_search_ms = elapsed_ms + search_ms;
                               }
                               const bool locked = poll_lock();
                               ++polls;
                               search_began = search_began || ds3000_context.first_poll == 0;
                               return locked ? Sight::certain : Sight::nothing;
                           },
                       .give_up =
                           [&](std::uint64_t elapsed_ms) {
                               const bool hopeless = polls >= polls_for_a_search && !search_began;
                               return hopeless || elapsed_ms >= timeout_ms || must_end();
                           },
                       .looks_at_once = true});
    return {lock.came(), search_began, lock.waited_ms};
}

}  // namespace host
