// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "host/doctor/findings.h"
#include "host/doctor/trial_reception.h"

namespace host {

// How long to wait for what.
struct WaitingTimes {
    std::uint64_t lock_ms = 5'000;
    std::uint64_t watch_ms = 2'000;    // a lock, once it is there
    std::uint64_t standby_ms = 1'000;  // 0: no standby
};

// Examine everything beyond the chips: the cable, the dish, the transponder, and a standby. Goes on
// after a failure, and looks for a reason when there is no lock.
void examine_reception(Findings &findings, TrialReception &reception, const WaitingTimes &times);

}  // namespace host
