// SPDX-License-Identifier: MIT
#include "host/scan/leg_spectrum.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "ds3000/chip/ds3000_context.h"
#include "ds3000/demod/connect.h"
#include "ds3000/tuner/ts2022.h"
#include "host/session/input_level.h"
#include "host/session/pace.h"

namespace host {

namespace {

// A look shows carriers whole that end within 29 MHz on either side. So wherever one of up to
// 33 MHz stands, some look shows it.
constexpr std::uint32_t look_step_khz = 25'000;

// Of a leg's time, what its levels take.
constexpr double share_of_levels = 0.7;

// Whether what was read last is worth nothing: of chips that are gone, or that a person stopped.
bool is_over(const Attendance &attendance) {
    attendance.look_at_chips();
    return attendance.must_end();
}

// The demodulator's gain control works as it does for reception, whatever was done before.
void prepare_for_levels(const ScanLeg &leg) {
    constexpr std::int32_t usual_ksps = 22'000;
    ds3000_connect((leg.if_low_mhz + leg.if_high_mhz) / 2, usual_ksps, STANDARD_DVBS);
}

// From end to end, both included.
std::vector<std::uint32_t> places_of(const ScanLeg &leg) {
    std::vector<std::uint32_t> places_mhz;
    for (std::uint32_t mhz = leg.if_low_mhz; mhz < leg.if_high_mhz; mhz += level_step_mhz) {
        places_mhz.push_back(mhz);
    }
    places_mhz.push_back(leg.if_high_mhz);
    return places_mhz;
}

LevelReading read_level(std::uint32_t if_mhz) {
    constexpr std::uint32_t narrowest_filter_ksps = 1'000;
    const double gain_db = gain_db_at(if_mhz, narrowest_filter_ksps);
    const auto if_khz = static_cast<std::int32_t>(if_mhz * 1000) + tuner_get_offset();
    return {static_cast<std::uint32_t>(if_khz), -gain_db};
}

// A transfer may fail on any bus, and what was read then is no level: once more, else none.
std::optional<LevelReading> sound_level(std::uint32_t if_mhz, const Attendance &attendance) {
    for (int attempt = 0; attempt < 2; ++attempt) {
        const std::uint64_t failed_before = attendance.failed_transfers();
        const LevelReading reading = read_level(if_mhz);
        if (attendance.failed_transfers() == failed_before) {
            attendance.hear_gain(-reading.level_db);
            return reading;
        }
    }
    return std::nullopt;
}

std::vector<SpectrumPeak> search_peaks(const ScanLeg &leg, const SpectrumWork &work,
                                       bool &complete) {
    std::vector<SpectrumPeak> peaks;
    const std::uint32_t low_khz = leg.if_low_mhz * 1000;
    const std::uint32_t high_khz = leg.if_high_mhz * 1000;
    for (std::uint32_t khz = low_khz; khz < high_khz; khz += look_step_khz) {
        const double share = static_cast<double>(khz - low_khz) / (high_khz - low_khz);
        work.watch(khz, share_of_levels + (1 - share_of_levels) * share);
        const std::vector<SpectrumPeak> seen = peaks_near(khz / 1000);
        if (is_over(work.attendance)) {
            complete = false;
            break;
        }
        std::copy_if(seen.begin(), seen.end(), std::back_inserter(peaks),
                     [&](const SpectrumPeak &peak) {
                         return peak.if_khz >= low_khz && peak.if_khz <= high_khz;
                     });
    }
    return distinct_peaks(std::move(peaks));
}

bool repeats(const SpectrumPeak &peak, const SpectrumPeak &earlier) {
    return peak.if_khz - earlier.if_khz <=
               std::max(peak.symbol_rate_ksps, earlier.symbol_rate_ksps) / 2 &&
           peak.suits_rate(earlier.symbol_rate_ksps);
}

}  // namespace

LegSpectrum measure_levels(const ScanLeg &leg, const SpectrumWork &work) {
    const std::uint64_t begin_ns = now_ns();
    LegSpectrum spectrum;
    spectrum.complete = true;
    prepare_for_levels(leg);
    for (const std::uint32_t place_mhz : places_of(leg)) {
        const std::optional<LevelReading> reading = sound_level(place_mhz, work.attendance);
        if (is_over(work.attendance)) {
            spectrum.complete = false;
            break;
        }
        if (reading) {
            spectrum.levels.push_back(*reading);
        }
        work.watch(place_mhz * 1000, share_of_levels * (place_mhz - leg.if_low_mhz) /
                                         (leg.if_high_mhz - leg.if_low_mhz));
    }
    spectrum.time_ms = ms_since(begin_ns);
    return spectrum;
}

LegSpectrum measure_spectrum(const ScanLeg &leg, const SpectrumWork &work) {
    const std::uint64_t begin_ns = now_ns();
    LegSpectrum spectrum = measure_levels(leg, work);
    if (spectrum.complete) {
        spectrum.peaks = search_peaks(leg, work, spectrum.complete);
    }
    spectrum.estimate = estimate_noise(spectrum.levels, spectrum.peaks);
    spectrum.time_ms = ms_since(begin_ns);
    return spectrum;
}

std::vector<SpectrumPeak> distinct_peaks(std::vector<SpectrumPeak> peaks) {
    std::stable_sort(peaks.begin(), peaks.end(), [](const SpectrumPeak &a, const SpectrumPeak &b) {
        return a.if_khz < b.if_khz;
    });
    std::vector<SpectrumPeak> distinct;
    for (const SpectrumPeak &peak : peaks) {
        if (distinct.empty() || !repeats(peak, distinct.back())) {
            distinct.push_back(peak);
        }
    }
    return distinct;
}

std::vector<SpectrumPoint> over_noise(const ScanLeg &leg, const LegSpectrum &spectrum) {
    std::vector<SpectrumPoint> points;
    for (const LevelReading &reading : spectrum.levels) {
        points.push_back({leg.downlink_khz(reading.if_khz) / 1000.0,
                          reading.level_db - spectrum.estimate->noise_db});
    }
    if (leg.lof_above) {
        std::reverse(points.begin(), points.end());
    }
    return points;
}

}  // namespace host
