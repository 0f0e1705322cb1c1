// SPDX-License-Identifier: MIT
#pragma once

#include "host/doctor/findings.h"

namespace host {

// Look at the chips after their start-up, before anything hangs on the cable: the steps "tuner" and
// "firmware". simulated: whether the chips are, for then a placeholder serves as firmware.
void examine_chips(Findings &findings, bool simulated);

}  // namespace host
