// SPDX-License-Identifier: MIT
#pragma once

#include "sim/carrier_search.h"
#include "sim/tuner.h"

namespace sim {

// What a wide search that locks on no carrier comes to rest on instead, and takes for lock when it
// is told to: a carrier at a false symbol rate, or a line of the tuner's own.
void lock_falsely(FoundCarrier &found, const CarrierSearch &search, const TunerOutput &tuner,
                  bool mirrored);

}  // namespace sim
