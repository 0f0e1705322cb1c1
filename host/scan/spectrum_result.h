// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/cable/legs.h"
#include "host/cable/lnb.h"
#include "host/cable/spectrum_point.h"
#include "host/scan/leg_spectrum.h"
#include "host/scan/spectrum_comparison.h"
#include "host/session/judge.h"

namespace host {

struct MeasuredLeg {
    ScanLeg leg;
    LegSpectrum spectrum;
    std::vector<SpectrumPoint> truth;  // of a simulated world, where it is asked for
    std::optional<LegComparison> comparison;
};

// What a measurement of the cable as a whole came to.
struct SpectrumResult {
    std::string note;  // of the person: the place, say
    broadcast::Lnb lnb;
    std::vector<MeasuredLeg> legs;  // those begun
    std::size_t legs_planned = 0;
    Complaints complaints;
    std::string cut_short_by;   // empty for a whole one
    std::uint64_t time_ms = 0;  // of the receiver

    [[nodiscard]] bool complete() const { return cut_short_by.empty(); }
};

}  // namespace host
