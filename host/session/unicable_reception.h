// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <functional>

#include "host/cable/plan.h"
#include "host/cable/user_band.h"
#include "host/session/chip_session.h"
#include "host/session/reception_reading.h"

namespace host {

// What became of a tune through a user band.
struct UserBandReception : Reception {
    unsigned attempts = 0;  // channel changes sent
};

// How long to try.
struct UserBandPatience {
    unsigned attempts = 1;
    std::uint64_t timeout_ms = 0;  // after each channel change
    std::function<bool()> interrupted;
};

// Ask the unit for the channel and wait for its lock as the plug-in's worker thread does, polling
// every 50 ms. With lock, sixteen more polls let the figures become those of this channel.
// A channel change has no answer: one that another receiver's has collided with shows by the lock
// that does not come, and is sent again after a pause that no other user band shares.
// Throws Failure (hardware_absent) when the demodulator could not be set up.
UserBandReception receive_through(ChipSession &session, const UserBand &band,
                                  const UserBandPlan &channel, const TunePlan &plan,
                                  const UserBandPatience &patience);

}  // namespace host
