// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/cable/legs.h"
#include "host/cable/spectrum_point.h"
#include "host/scan/leg_spectrum.h"

namespace host {

// A leg of an earlier measurement, as its file tells.
struct StoredLeg {
    std::string polarisation;
    unsigned port = 0;
    std::uint32_t lof_khz = 0;
    std::vector<SpectrumPoint> levels;  // downlink, rising; over the level that needs no gain
};

// Read what `spectrum --format json` wrote. Throws Failure (bad_input), also for a figure that no
// measurement has, with its place.
std::vector<StoredLeg> read_spectrum(const std::string &file);

// A stretch in which the level fell.
struct FallenBand {
    double low_mhz = 0;  // downlink
    double high_mhz = 0;
    double change_db = 0;  // where it fell most; negative
};

// A leg now against the same leg then.
struct LegComparison {
    std::vector<SpectrumPoint> before;   // the level then, at the places of now, where it is known
    std::vector<SpectrumPoint> changes;  // at those places: now less then
    double median_change_db = 0;
    std::vector<FallenBand> fallen;
};

// Compare with the leg of the same polarisation, switch port and oscillator; nothing where the
// earlier measurement has none, or none of its places.
// fall_db: a level that fell so far counts as fallen.
std::optional<LegComparison> compare_leg(const ScanLeg &leg, const LegSpectrum &now,
                                         const std::vector<StoredLeg> &then, double fall_db);

}  // namespace host
