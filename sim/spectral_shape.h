// SPDX-License-Identifier: MIT
#pragma once

#include "broadcast/transponder.h"

namespace sim {

// A carrier's power over frequency: a raised cosine, which is what the root-raised-cosine pulses of
// a transmitter leave on the air, and what a receive filter matched to them passes.
struct Pulse {
    double symbol_rate_khz = 0;
    double roll_off = 0.35;

    // From the middle to where nothing is left.
    [[nodiscard]] double half_span_khz() const { return (1 + roll_off) * symbol_rate_khz / 2; }
};

Pulse pulse_of(const broadcast::Transponder &transponder);

// Density so far from the middle, over the one there. The distance is not negative.
double density_at(const Pulse &pulse, double distance_khz);

// The share of a carrier's power that a receive filter matched to `wanted` lets in, the carrier's
// middle being so far from the filter's.
double leakage(const Pulse &wanted, const Pulse &other, double distance_khz);

}  // namespace sim
