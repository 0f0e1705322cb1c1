// SPDX-License-Identifier: MIT
#include "host/session/unicable_reception.h"

#include <unistd.h>

namespace host {

namespace {

constexpr CableLeg idle{.voltage_18v = false};
constexpr CableLeg commanding{.voltage_18v = true};

useconds_t pause_us(const UserBand &band, unsigned attempt) {
    return attempt * (100'000U + 60'000U * band.index);
}

// EN 50494: commands at 18 V, and 13 V in between, so that other receivers can send theirs.
void ask_for_channel(ChipSession &session, const TunePlan &plan) {
    session.select(commanding);
    set_up_channel(plan);
    session.select(idle);
}

}  // namespace

UserBandReception receive_through(ChipSession &session, const UserBand &band,
                                  const UserBandPlan &channel, const TunePlan &plan,
                                  const UserBandPatience &patience) {
    ChipSession::receive_through(band, channel.bank);
    ChipReceptionReader reader(plan);
    UserBandReception reception;
    for (;;) {
        ++reception.attempts;
        ask_for_channel(session, plan);
        static_cast<Reception &>(reception) =
            reader.await_lock([&patience](std::uint64_t elapsed_ms) {
                return elapsed_ms >= patience.timeout_ms || patience.interrupted();
            });
        if (reception.lock_ms || patience.interrupted() ||
            reception.attempts == patience.attempts) {
            return reception;
        }
        usleep(pause_us(band, reception.attempts));
    }
}

}  // namespace host
