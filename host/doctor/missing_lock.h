// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>

#include "host/doctor/findings.h"
#include "host/doctor/trial_reception.h"

namespace host {

// The aim did not lock: look for what would lock in its place, and say what that means. The steps
// "spectrum" to "signal"; the first that explains it fails and ends the guessing.
void explain_missing_lock(Findings &findings, TrialReception &reception);

// "9751,10601,11700": an LNB's oscillators moved by so much, as --lnb takes them.
std::string oscillators_moved_by(const broadcast::Lnb &lnb, std::int32_t khz);

}  // namespace host
