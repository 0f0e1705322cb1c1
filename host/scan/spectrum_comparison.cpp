// SPDX-License-Identifier: MIT
#include "host/scan/spectrum_comparison.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <string>

#include "host/cable/describe.h"
#include "host/terminal/failure.h"
#include "host/terminal/input_file.h"
#include "host/terminal/output.h"

namespace host {

namespace {

constexpr const char *schema_of_spectra = "ds3000.spectrum/1";

StoredLeg stored_leg(const Json &json) {
    StoredLeg leg;
    leg.polarisation = json.at("polarisation").get<std::string>();
    leg.port = json.value("port", 0U);
    leg.lof_khz = json.at("lof_khz").get<std::uint32_t>();
    for (const Json &level : json.at("levels")) {
        leg.levels.push_back(
            {level.at("frequency_khz").get<double>() / 1000, level.at("level_db").get<double>()});
    }
    std::sort(leg.levels.begin(), leg.levels.end(),
              [](const SpectrumPoint &a, const SpectrumPoint &b) { return a.mhz < b.mhz; });
    return leg;
}

// The level between the two readings around a place; nothing outside.
std::optional<double> level_at(const std::vector<SpectrumPoint> &levels, double mhz) {
    const auto above = std::lower_bound(
        levels.begin(), levels.end(), mhz,
        [](const SpectrumPoint &point, double place) { return point.mhz < place; });
    if (above == levels.end()) {
        return std::nullopt;
    }
    if (above->mhz <= mhz) {
        return above->db;
    }
    if (above == levels.begin()) {
        return std::nullopt;
    }
    const auto below = std::prev(above);
    return below->db + (above->db - below->db) * (mhz - below->mhz) / (above->mhz - below->mhz);
}

double median_of(const std::vector<SpectrumPoint> &points) {
    std::vector<double> sorted;
    std::transform(points.begin(), points.end(), std::back_inserter(sorted),
                   [](const SpectrumPoint &point) { return point.db; });
    const auto middle = sorted.begin() + static_cast<std::ptrdiff_t>(sorted.size() / 2);
    std::nth_element(sorted.begin(), middle, sorted.end());
    return *middle;
}

std::vector<FallenBand> fallen_bands(const std::vector<SpectrumPoint> &changes, double fall_db) {
    std::vector<FallenBand> bands;
    bool inside = false;
    for (const SpectrumPoint &change : changes) {
        if (change.db > -fall_db) {
            inside = false;
            continue;
        }
        if (!inside) {
            bands.push_back({change.mhz, change.mhz, change.db});
        }
        inside = true;
        bands.back().high_mhz = change.mhz;
        bands.back().change_db = std::min(bands.back().change_db, change.db);
    }
    return bands;
}

}  // namespace

std::vector<StoredLeg> read_spectrum(const std::string &file) {
    const auto refuse = [&file](const std::string &problem) {
        return Failure(ExitStatus::bad_input, fmt::format("spectrum {}: {}", file, problem));
    };
    constexpr std::size_t most_bytes = 64U << 20U;
    const std::string text = read_input(file, most_bytes);
    try {
        const Json json = Json::parse(text);
        if (!json.is_object() || json.value("schema", "") != schema_of_spectra) {
            throw refuse("is not what spectrum --format json writes");
        }
        std::vector<StoredLeg> legs;
        for (const Json &leg : json.at("legs")) {
            legs.push_back(stored_leg(leg));
        }
        return legs;
    } catch (const Json::exception &error) {
        throw refuse(error.what());
    }
}

std::optional<LegComparison> compare_leg(const ScanLeg &leg, const LegSpectrum &now,
                                         const std::vector<StoredLeg> &then, double fall_db) {
    const auto stored = std::find_if(then.begin(), then.end(), [&leg](const StoredLeg &other) {
        return other.polarisation == polarisation_letter(leg.polarisation) &&
               other.port == leg.cable.switch_port && other.lof_khz == leg.lof_khz;
    });
    if (stored == then.end()) {
        return std::nullopt;
    }
    LegComparison comparison;
    for (const LevelReading &reading : now.levels) {
        const double mhz = leg.downlink_khz(reading.if_khz) / 1000.0;
        if (const auto before = level_at(stored->levels, mhz)) {
            comparison.before.push_back({mhz, *before});
            comparison.changes.push_back({mhz, reading.level_db - *before});
        }
    }
    if (comparison.changes.empty()) {
        return std::nullopt;
    }
    if (leg.lof_above) {
        std::reverse(comparison.before.begin(), comparison.before.end());
        std::reverse(comparison.changes.begin(), comparison.changes.end());
    }
    comparison.median_change_db = median_of(comparison.changes);
    comparison.fallen = fallen_bands(comparison.changes, fall_db);
    return comparison;
}

}  // namespace host
