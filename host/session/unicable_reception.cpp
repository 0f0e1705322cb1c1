// SPDX-License-Identifier: MIT
#include "host/session/unicable_reception.h"

#include <unistd.h>

#include "host/session/channel.h"

namespace host {

namespace {

useconds_t pause_us(const UserBand &band, unsigned attempt) {
    return attempt * (100'000U + 60'000U * band.index);
}

}  // namespace

UserBandReception receive_through(ChipSession &session, const UserBand &band,
                                  const UserBandPlan &channel, const TunePlan &plan,
                                  const UserBandPatience &patience) {
    ChipReceptionReader reader(plan);
    UserBandReception reception;
    for (;;) {
        ++reception.attempts;
        tune_through(session, band, channel.bank, plan);
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
