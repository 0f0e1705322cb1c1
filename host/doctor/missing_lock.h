// SPDX-License-Identifier: MIT
#pragma once

#include "host/doctor/findings.h"
#include "host/doctor/trial_reception.h"

namespace host {

// The aim did not lock: look for what would lock in its place, and say what that means. The steps
// "spectrum" to "signal"; the first that explains it fails and ends the guessing.
void explain_missing_lock(Findings &findings, TrialReception &reception);

}  // namespace host
