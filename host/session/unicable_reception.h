// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <functional>
#include <optional>

#include "host/cable/plan.h"
#include "host/cable/signal_info.h"
#include "host/cable/user_band.h"
#include "host/session/chip_session.h"

namespace host {

// What became of a tune through a user band.
struct UserBandReception {
    unsigned attempts = 0;                 // channel changes sent
    std::optional<std::uint64_t> lock_ms;  // from the last one's end to lock
    std::uint64_t waited_ms = 0;           // when waiting ended
    int quality_db = 0;
    unsigned strength_percent = 0;
    std::optional<SignalInfo> signal;  // with lock
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
