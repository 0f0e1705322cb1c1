// SPDX-License-Identifier: MIT
#pragma once

#include <vector>

#include "sim/scenario_section.h"

namespace sim {

UnicableSetup read_unicable(Section &section);

// A carrier without modulation; what a user band's has not of its own it has of `unit`.
ToneSetup read_tone(Section &section, const std::optional<UnicableSetup> &unit);

}  // namespace sim
