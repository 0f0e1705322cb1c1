// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "host/doctor/trial_reception.h"
#include "host/scan/spectrum_look.h"
#include "host/session/reception_reading.h"

namespace host {

// What can be measured of a reception, without a word on what it means. Each measurement takes the
// chips as the one before left them, in the order of an examination.

// What stands on the aim's user band before anybody asked for it.
struct UserBandLook {
    UserBand band;
    std::vector<SpectrumPeak> peaks;
};
UserBandLook look_at_user_band(TrialReception &reception);

// How much the level rises with the LNB's supply, at the place where it rises most.
struct SupplyLift {
    unsigned volts = 0;
    double lift_db = 0;
    std::uint32_t if_mhz = 0;
    std::size_t places = 0;  // looked at
    bool through_lnbh23 = false;
};
SupplyLift measure_supply_lift(TrialReception &reception);

// A message on the cable: that of the leg's switch, else one that changes nothing.
struct MessageTrial {
    unsigned switch_port = 0;
    std::uint64_t ms = 0;
    bool sent = false;
};
MessageTrial send_message(TrialReception &reception);

// A lock while it is watched.
struct LockWatch {
    std::uint64_t ms = 0;
    unsigned losses = 0;
    unsigned regained = 0;  // by a new tune
    std::optional<UserBand> band;
};
LockWatch watch_lock(TrialReception &reception, std::uint64_t watch_ms);

// Sleep, and what comes after it.
struct StandbyTrial {
    std::uint64_t standby_ms = 0;
    bool locked_before = false;
    bool registers_kept = false;
    TrialOutcome after = {};
    bool restart_helps = false;  // where no search began: it does after a full start-up
};

// standby_ms: to sleep; lock_ms: to wait for a lock that must come back, locked_before.
StandbyTrial go_through_standby(TrialReception &reception, std::uint64_t standby_ms,
                                std::uint64_t lock_ms, bool locked_before);

}  // namespace host
