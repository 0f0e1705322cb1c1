// SPDX-License-Identifier: MIT
#pragma once

#include "sim/outdoor.h"
#include "sim/verdict.h"

namespace sim {

// Whether a transponder can be received from a switch port by a perfect driver, fair weather given.
Reception reception_of(const Outdoor &outdoor, const FrontEnd &front_end,
                       const broadcast::Transponder &transponder, unsigned port);

}  // namespace sim
