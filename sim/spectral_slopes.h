// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <optional>
#include <vector>

namespace sim {

// The engine counts in bins, a 512th of the master clock; its grid is four times as fine.
inline constexpr double search_bin_khz = 96'000.0 / 512;
inline constexpr double search_step_khz = search_bin_khz / 4;

// Densities over the noise on the engine's grid, the noise included, from one end of the passband
// to the other.
struct SpectrumGrid {
    double low_khz = 0;
    std::vector<double> density;

    [[nodiscard]] double khz(double index) const { return low_khz + index * search_step_khz; }
    [[nodiscard]] double high_khz() const { return khz(static_cast<double>(density.size() - 1)); }
};

// The mean over `length` neighbours of each point, fewer at the ends.
void smooth(std::vector<double> &density, std::size_t length);

// How a grid was smoothed, and how far noise moves each of its points, relative to its density.
struct GridQuality {
    std::size_t smoothing = 1;
    double deviation = 0;

    // How many of so many neighbours have noise of their own.
    [[nodiscard]] double independent(std::size_t points) const {
        return points > smoothing ? static_cast<double>(points) / static_cast<double>(smoothing)
                                  : 1.0;
    }
};

// What stands between two slopes.
struct Extent {
    double low_khz = 0;
    double high_khz = 0;
    double density = 0;
};

// The carriers whose edges are both in the passband, in the order of their upper edges, and where
// the first one begins whose upper edge is not.
struct Carriers {
    std::vector<Extent> complete;
    std::optional<double> unfinished_khz;
    std::size_t slopes = 0;  // that the search went through
};

// Look for carriers by their slopes: stretches over which the means on either side, over 0.6 MHz at
// most, differ by more than five times what noise explains, and which are 0.2 dB and 0.3 of the
// noise's density high. Those that rise are lower edges, those that fall upper edges; an edge lies
// where half the power is lost. Carriers that reach into each other are told apart by their four
// slopes, those side by side by the dip between them or by their different levels, while two whose
// slopes add up to a level spectrum - their centres half the sum of their symbol rates apart, or
// nearly - are taken for one.
// A line too narrow for any carrier is taken out first and is an extent of its own.
Carriers find_carriers(SpectrumGrid grid, const GridQuality &quality);

}  // namespace sim
