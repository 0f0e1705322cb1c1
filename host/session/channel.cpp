// SPDX-License-Identifier: MIT
#include "host/session/channel.h"

#include "host/session/reception_reading.h"

namespace host {

void tune_directly(ChipSession &session, const TunePlan &plan) {
    ChipSession::receive_directly();
    session.select(leg_of(plan));
    set_up_channel(plan);
}

// EN 50494: commands at 18 V, and 13 V in between, so that other receivers can send theirs.
void tune_through(ChipSession &session, const UserBand &band, std::uint16_t bank,
                  const TunePlan &plan) {
    ChipSession::receive_through(band, bank);
    session.select({.voltage_18v = true});
    set_up_channel(plan);
    session.select({.voltage_18v = false});
}

}  // namespace host
