// SPDX-License-Identifier: MIT
#include "host/scan/spectrum_levels.h"

#include <algorithm>
#include <cmath>

namespace host {

namespace {

constexpr double usual_roll_off = 0.35;

double ratio_of(double db) { return std::pow(10, db / 10); }
double db_of(double ratio) { return 10 * std::log10(ratio); }

// How much of a carrier, in kHz of its density, lies between its centre and a distance from it. Its
// edges slope over the roll-off, with half the density at the symbol rate's half.
double width_within(const SpectrumPeak &peak, double distance_khz) {
    const double flat_khz = (1 - usual_roll_off) * peak.symbol_rate_ksps / 2;
    const double slope_khz = usual_roll_off * peak.symbol_rate_ksps;
    const double beyond_khz = std::clamp(std::abs(distance_khz) - flat_khz, 0.0, slope_khz);
    const double width_khz = std::min(std::abs(distance_khz), flat_khz) + beyond_khz -
                             beyond_khz * beyond_khz / (2 * slope_khz);
    return distance_khz < 0 ? -width_khz : width_khz;
}

// The share of the filter at a place that a carrier fills.
double share_of(const SpectrumPeak &peak, std::uint32_t if_khz) {
    const double away_khz = static_cast<double>(if_khz) - peak.if_khz;
    return (width_within(peak, away_khz + level_filter_khz) -
            width_within(peak, away_khz - level_filter_khz)) /
           level_resolution_khz;
}

// Densities over readings, each weighed by what was read there. The first density is the noise's.
class Fit {
 public:
    Fit(const std::vector<LevelReading> &levels, const std::vector<SpectrumPeak> &peaks)
        : shares_(peaks.size() + 1), densities_(peaks.size() + 1, 0.0), rest_(levels.size(), 1.0) {
        for (const LevelReading &reading : levels) {
            const double weight = 1 / ratio_of(reading.level_db);
            shares_[0].push_back(weight);
            for (std::size_t i = 0; i < peaks.size(); ++i) {
                shares_[i + 1].push_back(weight * share_of(peaks[i], reading.if_khz));
            }
        }
    }

    // Bring one density after the other to where the rest is least, and never below nothing.
    std::vector<double> solved() {
        constexpr unsigned rounds = 500;
        for (unsigned round = 0; round < rounds; ++round) {
            for (std::size_t i = 0; i < densities_.size(); ++i) {
                improve(i);
            }
        }
        return densities_;
    }

 private:
    void improve(std::size_t i) {
        const std::vector<double> &shares = shares_[i];
        double product = 0;
        double square = 0;
        for (std::size_t k = 0; k < rest_.size(); ++k) {
            product += shares[k] * rest_[k];
            square += shares[k] * shares[k];
        }
        if (square <= 0) {
            return;
        }
        const double better = std::max(densities_[i] + product / square, 0.0);
        for (std::size_t k = 0; k < rest_.size(); ++k) {
            rest_[k] -= shares[k] * (better - densities_[i]);
        }
        densities_[i] = better;
    }

    std::vector<std::vector<double>> shares_;
    std::vector<double> densities_;
    std::vector<double> rest_;  // of 1, what was read
};

}  // namespace

std::optional<NoiseEstimate> estimate_noise(const std::vector<LevelReading> &levels,
                                            const std::vector<SpectrumPeak> &peaks) {
    if (levels.empty()) {
        return std::nullopt;
    }
    // No carrier stands further over the noise than that.
    constexpr double most_over_noise_db = 25;
    const std::vector<double> densities = Fit(levels, peaks).solved();
    const auto least = std::min_element(
        levels.begin(), levels.end(),
        [](const LevelReading &a, const LevelReading &b) { return a.level_db < b.level_db; });
    const double noise = std::max(densities[0], ratio_of(least->level_db - most_over_noise_db));
    NoiseEstimate estimate{db_of(noise), {}};
    for (std::size_t i = 0; i < peaks.size(); ++i) {
        estimate.over_noise_db.push_back(db_of(1 + densities[i + 1] / noise));
    }
    return estimate;
}

}  // namespace host
