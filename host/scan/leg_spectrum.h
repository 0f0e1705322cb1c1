// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include "host/cable/legs.h"
#include "host/cable/spectrum_point.h"
#include "host/scan/attendance.h"
#include "host/scan/spectrum_levels.h"
#include "host/scan/spectrum_look.h"

namespace host {

// What the chips tell of a leg's cable.
struct LegSpectrum {
    std::vector<LevelReading> levels;  // rising in IF
    std::vector<SpectrumPeak> peaks;   // likewise; of carriers, whether they can be received or not
    std::optional<NoiseEstimate> estimate;  // of those levels and peaks; nothing without a level
    std::uint64_t time_ms = 0;              // of the receiver
    bool complete = false;                  // not cut short
};

// What a measurement goes by.
struct SpectrumWork {
    Attendance attendance;
    // Where it is, and which share of the leg is done.
    std::function<void(std::uint32_t if_khz, double share)> watch;
};

// The tuner's steps over a leg: less than half of what its filter passes.
inline constexpr std::uint32_t level_step_mhz = 6;

// Read the level behind the narrowest filter from end to end of a leg that is selected, in steps of
// level_step_mhz. The chips are left tuned there. Leaves `peaks` to the caller.
LegSpectrum measure_levels(const ScanLeg &leg, const SpectrumWork &work);

// The same, then look through the leg for the peaks of carriers, and estimate the noise by them.
LegSpectrum measure_spectrum(const ScanLeg &leg, const SpectrumWork &work);

// Peaks without those that repeat another one, rising in frequency.
std::vector<SpectrumPeak> distinct_peaks(std::vector<SpectrumPeak> peaks);

// The levels as a picture shows them: downlink frequencies, rising, in dB over the noise. Empty
// where there is no level.
std::vector<SpectrumPoint> over_noise(const ScanLeg &leg, const LegSpectrum &spectrum);

}  // namespace host
