// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/cable/legs.h"
#include "host/cable/lnb.h"
#include "host/cable/spectrum_point.h"
#include "host/scan/compare.h"
#include "host/scan/found.h"
#include "host/scan/leg_scan.h"
#include "host/scan/leg_spectrum.h"
#include "host/session/judge.h"

namespace host {

struct ScannedLeg {
    ScanLeg leg;
    LegResult result;
    LegSpectrum spectrum;              // where it is asked for; its peaks are the search's
    std::vector<SpectrumPoint> truth;  // of a simulated world, likewise
};

// What a blind scan as a whole came to.
struct ScanResult {
    std::string note;  // of the person: the place, say
    broadcast::Lnb lnb;
    std::string satellite = {};  // that the dish looks at, where that is known
    ScanSettings settings;
    std::vector<ScannedLeg> legs;  // those begun
    std::size_t legs_planned = 0;
    std::vector<FoundTransponder> transponders;
    std::optional<Comparison> comparison;
    Complaints complaints;
    std::string cut_short_by;   // empty for a whole one
    std::uint64_t time_ms = 0;  // of the receiver
    std::uint64_t wall_ms = 0;
    bool shows_wall_time = false;  // in JSON too, which is otherwise the same in every run

    [[nodiscard]] bool complete() const { return cut_short_by.empty(); }
    [[nodiscard]] std::size_t legs_complete() const {
        return static_cast<std::size_t>(std::count_if(
            legs.begin(), legs.end(), [](const ScannedLeg &leg) { return leg.result.complete; }));
    }
};

}  // namespace host
