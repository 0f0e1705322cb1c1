// SPDX-License-Identifier: MIT
#include "host/scan/spectrum_comparison.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <string>

#include "host/cable/describe.h"
#include "host/terminal/failure.h"
#include "host/terminal/input_file.h"
#include "host/terminal/output.h"

namespace host {

namespace {

constexpr const char *schema_of_spectra = "ds3000.spectrum/1";

// What a figure of a measurement lies in, both ends included.
struct FigureLimits {
    double least;
    double most;
};

// The gains of tuner and demodulator are -13 to 117 dB together.
constexpr FigureLimits levels_db{-150, 50};
constexpr FigureLimits oscillators_khz{1'000'000, 40'000'000};
constexpr FigureLimits ports{1, 4};

// The cable carries 950 to 2150 MHz, and the tuner's own oscillator stands somewhat beside its aim.
constexpr double lowest_on_cable_khz = 900'000;
constexpr double highest_on_cable_khz = 2'200'000;

// Reads the legs of a stored measurement, of which no figure is trusted.
class StoredSpectrum {
 public:
    explicit StoredSpectrum(const std::string &file) : file_(file) {}

    [[noreturn]] void refuse(const std::string &problem) const {
        throw Failure(ExitStatus::bad_input, fmt::format("spectrum {}: {}", file_, problem));
    }

    [[nodiscard]] std::vector<StoredLeg> legs(const Json &measurement) const {
        std::vector<StoredLeg> legs;
        for (const Json &leg : list_of(measurement, "legs", "")) {
            legs.push_back(leg_of(leg, fmt::format("leg {}", legs.size() + 1)));
        }
        return legs;
    }

 private:
    [[nodiscard]] const Json &list_of(const Json &json, const char *member,
                                      const std::string &place) const {
        const auto list = json.find(member);
        if (list == json.end() || !list->is_array()) {
            refuse(fmt::format("{}has no {}", place.empty() ? "" : place + ": ", member));
        }
        return *list;
    }

    [[nodiscard]] double figure_of(const Json &json, const char *member, const FigureLimits &limits,
                                   const std::string &place) const {
        const auto figure = json.find(member);
        if (figure == json.end() || !figure->is_number()) {
            refuse(fmt::format("{}: {} is no number", place, member));
        }
        const auto value = figure->get<double>();
        if (value < limits.least || value > limits.most) {
            refuse(fmt::format("{}: {} is {:g}, which no measurement has; it is {:g} to {:g}",
                               place, member, value, limits.least, limits.most));
        }
        return value;
    }

    [[nodiscard]] std::uint32_t whole_figure_of(const Json &json, const char *member,
                                                const FigureLimits &limits,
                                                const std::string &place) const {
        const double value = figure_of(json, member, limits, place);
        if (std::trunc(value) != value) {
            refuse(fmt::format("{}: {} is {}, no whole number", place, member, value));
        }
        return static_cast<std::uint32_t>(value);
    }

    [[nodiscard]] std::string polarisation_of(const Json &json, const std::string &place) const {
        constexpr std::array<const char *, 4> letters{"H", "V", "L", "R"};
        const auto letter = json.find("polarisation");
        if (letter == json.end() ||
            std::none_of(letters.begin(), letters.end(),
                         [&letter](const char *known) { return *letter == known; })) {
            refuse(fmt::format("{}: polarisation is none of H, V, L, R", place));
        }
        return letter->get<std::string>();
    }

    [[nodiscard]] SpectrumPoint level_of(const Json &json, std::uint32_t lof_khz,
                                         const std::string &place) const {
        const FigureLimits reachable{std::max(lof_khz - highest_on_cable_khz, 0.0),
                                     lof_khz + highest_on_cable_khz};
        const double khz = figure_of(json, "frequency_khz", reachable, place);
        if (std::abs(khz - lof_khz) < lowest_on_cable_khz) {
            refuse(fmt::format("{}: frequency_khz is {:.0f}, too close to lof_khz {} for a tuner",
                               place, khz, lof_khz));
        }
        return {khz / 1000, figure_of(json, "level_db", levels_db, place)};
    }

    [[nodiscard]] StoredLeg leg_of(const Json &json, const std::string &place) const {
        StoredLeg leg;
        leg.polarisation = polarisation_of(json, place);
        leg.port = json.contains("port") ? whole_figure_of(json, "port", ports, place) : 0;
        leg.lof_khz = whole_figure_of(json, "lof_khz", oscillators_khz, place);
        for (const Json &level : list_of(json, "levels", place)) {
            leg.levels.push_back(level_of(
                level, leg.lof_khz, fmt::format("{}, level {}", place, leg.levels.size() + 1)));
        }
        sort_by_frequency(leg.levels);
        return leg;
    }

    static void sort_by_frequency(std::vector<SpectrumPoint> &levels) {
        std::sort(levels.begin(), levels.end(),
                  [](const SpectrumPoint &a, const SpectrumPoint &b) { return a.mhz < b.mhz; });
    }

    const std::string &file_;
};

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
    constexpr std::size_t most_bytes = 64U << 20U;
    const std::string text = read_input(file, most_bytes);
    const StoredSpectrum stored(file);
    try {
        const Json json = Json::parse(text);
        if (!json.is_object() || json.value("schema", "") != schema_of_spectra) {
            stored.refuse("is not what spectrum --format json writes");
        }
        return stored.legs(json);
    } catch (const Json::exception &error) {
        stored.refuse(error.what());
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
