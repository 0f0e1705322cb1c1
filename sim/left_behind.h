// SPDX-License-Identifier: MIT
#pragma once

#include "sim/demodulator.h"
#include "sim/scenario.h"

namespace sim {

// Put a demodulator that has just got its power into the state in which an earlier program left it,
// by what such a program wrote.
void leave_behind(Demodulator &demodulator, const BoardSetup &board);

}  // namespace sim
