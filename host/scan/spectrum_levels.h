// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "host/scan/spectrum_look.h"

namespace host {

// The power behind the tuner's narrowest filter at a place on the cable.
struct LevelReading {
    std::uint32_t if_khz = 0;  // where the tuner's oscillator really stood
    double level_db = 0;       // over the level that needs no gain at all; negative
};

// The filter passes so much on either side of the oscillator: what is narrower than both sides
// together is not resolved.
inline constexpr std::uint32_t level_filter_khz = 7'000;
inline constexpr std::uint32_t level_resolution_khz = 2 * level_filter_khz;

// What levels and peaks together say: each carrier has a density of its own over the places that
// its peak takes, and all stand in one noise.
struct NoiseEstimate {
    double noise_db = 0;                // the level where the filter passes noise alone
    std::vector<double> over_noise_db;  // of the peaks in turn: carrier and noise over the noise
};

// The least squares fit of that to what was read, in shares of each reading. Nothing without a
// reading. Where carriers stand so close that no reading shows mostly noise, the noise is known
// within a few dB only.
std::optional<NoiseEstimate> estimate_noise(const std::vector<LevelReading> &levels,
                                            const std::vector<SpectrumPeak> &peaks);

}  // namespace host
