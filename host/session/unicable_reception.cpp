// SPDX-License-Identifier: MIT
#include "host/session/unicable_reception.h"

#include <unistd.h>

#include "ds3000/chip/ds3000_context.h"
#include "ds3000/demod/connect.h"
#include "ds3000/demod/signal_strength.h"
#include "host/session/lock_wait.h"
#include "host/terminal/failure.h"

namespace host {

namespace {

// The strength is the mean of this many readings.
constexpr unsigned settling_polls = 16;

constexpr CableLeg idle{.voltage_18v = false};
constexpr CableLeg commanding{.voltage_18v = true};

useconds_t pause_us(const UserBand &band, unsigned attempt) {
    return attempt * (100'000U + 60'000U * band.index);
}

// EN 50494: commands at 18 V, and 13 V in between, so that other receivers can send theirs.
void ask_for_channel(ChipSession &session, const TunePlan &plan) {
    session.select(commanding);
    const std::int32_t status = ds3000_connect(
        plan.freq_mhz, static_cast<std::int32_t>(plan.symbol_rate_ksps), plan.standard);
    session.select(idle);
    if (status != DS3000_OK) {
        throw Failure(ExitStatus::hardware_absent,
                      "the demodulator could not be set up for this channel");
    }
}

// What the worker thread does at each of its turns.
bool poll(UserBandReception &reception) {
    const bool locked = poll_lock();
    std::uint8_t percent = 0;
    reception.quality_db = measure_quality_db();
    signal_strength(&percent);
    reception.strength_percent = percent;
    return locked;
}

void await_lock(UserBandReception &reception, const UserBandPatience &patience) {
    unsigned locked_polls = 0;
    const LockOutcome outcome = wait_for_lock(
        {.look =
             [&](std::uint64_t) {
                 locked_polls = poll(reception) ? locked_polls + 1 : 0;
                 if (locked_polls == 0) {
                     return Sight::nothing;
                 }
                 return locked_polls > settling_polls ? Sight::certain : Sight::passing;
             },
         .give_up =
             [&](std::uint64_t elapsed_ms) {
                 return locked_polls == 0 &&
                        (elapsed_ms >= patience.timeout_ms || patience.interrupted());
             },
         .pause = [] { usleep(polling_period_ms * 1'000); }});
    reception.lock_ms = outcome.since_ms;
    reception.waited_ms = outcome.waited_ms;
    if (outcome.came()) {
        reception.signal = read_signal_info();
    }
}

}  // namespace

UserBandReception receive_through(ChipSession &session, const UserBand &band,
                                  const UserBandPlan &channel, const TunePlan &plan,
                                  const UserBandPatience &patience) {
    ChipSession::receive_through(band, channel.bank);
    UserBandReception reception;
    for (;;) {
        ++reception.attempts;
        ask_for_channel(session, plan);
        await_lock(reception, patience);
        if (reception.lock_ms || patience.interrupted() ||
            reception.attempts == patience.attempts) {
            return reception;
        }
        usleep(pause_us(band, reception.attempts));
    }
}

}  // namespace host
