// SPDX-License-Identifier: MIT
#include "host/scan/spectrum_look.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <array>

#include "ds3000/scan/spectrum_look.h"
#include "host/cable/frequency.h"

namespace host {

namespace {

constexpr std::uint32_t near_khz = 2'000;
constexpr std::uint32_t same_place_khz = 1'000;

// Whether all but one in five of some peaks are among others.
bool mostly_within(const std::vector<SpectrumPeak> &some, const std::vector<SpectrumPeak> &others) {
    const auto missing = std::count_if(some.begin(), some.end(), [&](const SpectrumPeak &peak) {
        return std::none_of(others.begin(), others.end(), [&](const SpectrumPeak &other) {
            return apart(peak.if_khz, other.if_khz) <= same_place_khz &&
                   other.suits_rate(peak.symbol_rate_ksps);
        });
    });
    return static_cast<std::size_t>(missing) * 5 <= some.size();
}

}  // namespace

bool SpectrumPeak::suits_rate(std::uint32_t wanted_ksps) const {
    return 10 * apart(symbol_rate_ksps, wanted_ksps) <= 3 * wanted_ksps;
}

bool SpectrumPeak::suits(std::uint32_t wanted_if_khz, std::uint32_t wanted_ksps) const {
    return apart(if_khz, wanted_if_khz) <= near_khz && suits_rate(wanted_ksps);
}

std::vector<SpectrumPeak> peaks_near(std::uint32_t if_mhz) {
    std::array<scan_candidate, SPECTRUM_PEAKS + 1> list{};
    std::uint16_t count = 0;
    ds3000_look_at_spectrum(if_mhz * 1000, list.data(), &count);
    std::vector<SpectrumPeak> peaks;
    for (std::size_t i = 0; i < count; ++i) {
        peaks.push_back({list.at(i).frequency_khz, list.at(i).symbol_rate});
    }
    return peaks;
}

std::vector<std::uint32_t> places_to_look(std::uint32_t aim_mhz) {
    return {aim_mhz, 1'000, 1'200, 1'400, 1'600, 1'800, 2'000};
}

bool same_carriers(const std::vector<SpectrumPeak> &one, const std::vector<SpectrumPeak> &other) {
    constexpr std::size_t least = 2;
    return one.size() >= least && other.size() >= least && mostly_within(one, other) &&
           mostly_within(other, one);
}

std::string in_words(const std::vector<SpectrumPeak> &peaks) {
    std::vector<std::string> words;
    words.reserve(peaks.size());
    for (const SpectrumPeak &peak : peaks) {
        words.push_back(fmt::format("{:.1f} MHz about {:.1f} Msym/s", peak.if_khz / 1000.0,
                                    peak.symbol_rate_ksps / 1000.0));
    }
    return words.empty() ? "none" : fmt::format("{}", fmt::join(words, ", "));
}

}  // namespace host
