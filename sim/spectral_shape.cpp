// SPDX-License-Identifier: MIT
#include "sim/spectral_shape.h"

#include <algorithm>
#include <cmath>

#include "broadcast/arithmetic.h"

namespace sim {

Pulse pulse_of(const broadcast::Transponder &transponder) {
    const double ksps = transponder.symbol_rate / 1000.0;
    switch (transponder.roll_off) {
        case broadcast::RollOff::r25:
            return {ksps, 0.25};
        case broadcast::RollOff::r20:
            return {ksps, 0.20};
        default:
            return {ksps, 0.35};
    }
}

double density_at(const Pulse &pulse, double distance_khz) {
    const double flat_khz = (1 - pulse.roll_off) * pulse.symbol_rate_khz / 2;
    const double slope_khz = pulse.roll_off * pulse.symbol_rate_khz;
    const double beyond_khz = distance_khz - flat_khz;
    if (beyond_khz <= 0) {
        return 1;
    }
    return beyond_khz >= slope_khz ? 0 : broadcast::raised_cosine(beyond_khz / slope_khz);
}

double leakage(const Pulse &wanted, const Pulse &other, double distance_khz) {
    constexpr int pieces = 24;
    const double low = std::max(-wanted.half_span_khz(), distance_khz - other.half_span_khz());
    const double high = std::min(wanted.half_span_khz(), distance_khz + other.half_span_khz());
    if (high <= low) {
        return 0;
    }
    const double piece = (high - low) / pieces;
    double passed = 0;
    for (int i = 0; i < pieces; ++i) {
        const double khz = low + (i + 0.5) * piece;
        passed +=
            density_at(wanted, std::abs(khz)) * density_at(other, std::abs(khz - distance_khz));
    }
    return passed * piece / other.symbol_rate_khz;
}

}  // namespace sim
