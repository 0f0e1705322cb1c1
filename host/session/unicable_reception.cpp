// SPDX-License-Identifier: MIT
#include "host/session/unicable_reception.h"

#include <unistd.h>

#include "ds3000/chip/ds3000_context.h"
#include "ds3000/demod/connect.h"
#include "ds3000/demod/lock.h"
#include "ds3000/demod/signal_strength.h"
#include "host/session/pace.h"
#include "host/terminal/failure.h"

namespace host {

namespace {

constexpr useconds_t poll_us = 50'000;

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

bool poll(UserBandReception &reception) {
    std::uint32_t state = 0;
    std::uint8_t percent = 0;
    ds3000_poll_lock(&state);
    reception.quality_db = measure_quality_db();
    signal_strength(&percent);
    reception.strength_percent = percent;
    return state == LOCK_LOCKED;
}

void wait_for_lock(UserBandReception &reception, const UserBandPatience &patience) {
    const std::uint64_t begin_ns = now_ns();
    unsigned locked_polls = 0;
    while (locked_polls <= settling_polls) {
        usleep(poll_us);
        const bool locked = poll(reception);
        reception.waited_ms = (now_ns() - begin_ns) / 1'000'000U;
        locked_polls = locked ? locked_polls + 1 : 0;
        if (locked_polls == 1) {
            reception.lock_ms = reception.waited_ms;
        } else if (locked_polls == 0) {
            reception.lock_ms.reset();
            if (reception.waited_ms >= patience.timeout_ms || patience.interrupted()) {
                return;
            }
        }
    }
    reception.signal = read_signal_info();
}

}  // namespace

UserBandReception receive_through(ChipSession &session, const UserBand &band,
                                  const UserBandPlan &channel, const TunePlan &plan,
                                  const UserBandPatience &patience) {
    ds3000_context.unicable_enabled = 1;
    ds3000_context.unicable_ub_index = band.index;
    ds3000_context.unicable_bank = channel.bank;
    ds3000_context.unicable_ub_freq_mhz = band.frequency_mhz;
    UserBandReception reception;
    for (;;) {
        ++reception.attempts;
        ask_for_channel(session, plan);
        wait_for_lock(reception, patience);
        if (reception.lock_ms || patience.interrupted() ||
            reception.attempts == patience.attempts) {
            return reception;
        }
        usleep(pause_us(band, reception.attempts));
    }
}

}  // namespace host
