// SPDX-License-Identifier: MIT
#include "sim/spectrum_engine.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "broadcast/arithmetic.h"
#include "broadcast/modcod.h"
#include "sim/demodulator_regs.h"
#include "sim/spectral_shape.h"

namespace sim {

namespace {

constexpr double widening_khz = 400;
constexpr double least_wide_width_khz = 8000;
// A carrier that begins nearer to the centre than this is crossed in small steps.
constexpr double near_centre_khz = 4000;
constexpr double least_span_khz = 3000;
// Ten bits, all set: an end of what is occupied is not in sight.
constexpr std::uint16_t endless_bins = 1023;
// A line shows narrower than this, any carrier wider.
constexpr double widest_line_khz = 3.5 * search_bin_khz;
constexpr double grid_spectrum_ns = 2048 / 0.096;
constexpr std::uint64_t wide_averaging_ns = 10'000'000;
constexpr std::uint64_t narrow_averaging_ns = 25'000'000;
constexpr std::uint64_t search_ns = 12'000'000;
constexpr std::uint64_t slope_ns = 5'000'000;
// The converters' offset, after the chip has taken off most of it.
constexpr SpectralTone dc_line{0, 6};

// Density at a distance from the centre, 1 in the middle.
double density_at(const SpectralLine &line, double distance_khz) {
    return density_at(Pulse{line.symbol_rate_khz, line.roll_off}, distance_khz);
}

// The share of a carrier's power that lies below a distance from its centre. The slope is taken as
// a straight one, which has the same power and differs by less than 1 % of it in between.
double share_below(const SpectralLine &line, double distance_khz) {
    const double flat_khz = (1 - line.roll_off) * line.symbol_rate_khz / 2;
    const double slope_khz = line.roll_off * line.symbol_rate_khz;
    const double beyond_khz = std::clamp(std::abs(distance_khz) - flat_khz, 0.0, slope_khz);
    const double inside_khz = std::min(std::abs(distance_khz), flat_khz) + beyond_khz -
                              beyond_khz * beyond_khz / (2 * slope_khz);
    const double share = inside_khz / line.symbol_rate_khz;
    return distance_khz < 0 ? 0.5 - share : 0.5 + share;
}

std::uint16_t span_bins(double khz) { return static_cast<std::uint16_t>(khz / search_bin_khz); }

bool shows_carrier(const Carriers &carriers) {
    return std::any_of(
        carriers.complete.begin(), carriers.complete.end(),
        [](const Extent &extent) { return extent.high_khz - extent.low_khz > widest_line_khz; });
}

std::int32_t bins_of(double khz) {
    return static_cast<std::int32_t>(std::lround(khz / search_bin_khz));
}

// A line shows in its step and, through the window, half as high in either neighbour.
void add_tone(SpectrumGrid &grid, const SpectralTone &tone) {
    const auto at = std::lround((tone.offset_khz - grid.low_khz) / search_step_khz);
    for (const long step : {at - 1, at, at + 1}) {
        if (step >= 0 && step < static_cast<long>(grid.density.size())) {
            grid.density[static_cast<std::size_t>(step)] += tone.density / (step == at ? 1 : 2);
        }
    }
}

double averages_in(std::uint64_t from_ns, std::uint64_t to_ns, bool wide) {
    const double most = static_cast<double>(SpectrumEngine::averaging_ns(wide)) / grid_spectrum_ns;
    const double elapsed_ns = to_ns > from_ns ? static_cast<double>(to_ns - from_ns) : 0;
    return std::clamp(elapsed_ns / grid_spectrum_ns, 1.0, most);
}

}  // namespace

std::vector<double> densities(std::span<const SpectralLine> lines, double low_khz,
                              double spacing_khz, std::size_t count) {
    std::vector<double> densities(count, 1.0);
    for (const SpectralLine &line : lines) {
        const double reach_khz = (1 + line.roll_off) * line.symbol_rate_khz / 2;
        const double first = std::ceil((line.offset_khz - reach_khz - low_khz) / spacing_khz);
        const double last = std::floor((line.offset_khz + reach_khz - low_khz) / spacing_khz);
        const auto from = std::max(static_cast<std::ptrdiff_t>(first), std::ptrdiff_t{0});
        const auto to =
            std::min(static_cast<std::ptrdiff_t>(last), static_cast<std::ptrdiff_t>(count) - 1);
        for (std::ptrdiff_t i = from; i <= to; ++i) {
            const double khz = low_khz + static_cast<double>(i) * spacing_khz;
            densities[static_cast<std::size_t>(i)] +=
                line.density * density_at(line, std::abs(khz - line.offset_khz));
        }
    }
    return densities;
}

double share_between(const SpectralLine &line, double low_khz, double high_khz) {
    return share_below(line, high_khz - line.offset_khz) -
           share_below(line, low_khz - line.offset_khz);
}

std::uint64_t SpectrumEngine::averaging_ns(bool wide) {
    return wide ? wide_averaging_ns : narrow_averaging_ns;
}

void SpectrumEngine::power_on() {
    peaks_.clear();
    next_ = 0;
    byte_ = 0;
    occupied_bins_ = 0;
    done_ns_ = 0;
}

// What an average of so many spectra shows.
SpectrumGrid SpectrumEngine::average(const Spectrum &spectrum, double averages) {
    const auto half = static_cast<std::size_t>(spectrum.half_span_khz / search_step_khz);
    SpectrumGrid grid;
    grid.low_khz = -static_cast<double>(half) * search_step_khz;
    grid.density = densities(spectrum.lines, grid.low_khz, search_step_khz, 2 * half + 1);
    add_tone(grid, dc_line);
    for (const SpectralTone &tone : spectrum.tones) {
        add_tone(grid, tone);
    }
    const double deviation = 1 / std::sqrt(averages);
    for (double &density : grid.density) {
        density *= std::max(0.0, 1 + deviation * chance_.normal());
    }
    return grid;
}

void SpectrumEngine::add_peaks(const Carriers &carriers, const SearchSetting &setting) {
    const double least_khz = setting.wide ? least_wide_width_khz : 0;
    for (const Extent &extent : carriers.complete) {
        const double width_khz = extent.high_khz - extent.low_khz;
        if (width_khz >= least_khz) {
            const double centre_khz = (extent.low_khz + extent.high_khz) / 2;
            peaks_.push_back({bins_of(centre_khz + setting.expected_khz),
                              bins_of(width_khz + widening_khz), extent.density});
        }
    }
}

void SpectrumEngine::add_spurious_peak(double low_khz, double high_khz) {
    constexpr double narrowest_khz = 2000;
    constexpr double widest_khz = 12000;
    constexpr double burst_density = 5;
    const double width_khz = narrowest_khz + chance_.uniform() * (widest_khz - narrowest_khz);
    const double centre_khz = low_khz + chance_.uniform() * (high_khz - low_khz);
    const SearchPeak spurious{bins_of(centre_khz), bins_of(width_khz + widening_khz),
                              burst_density};
    const auto place = std::find_if(peaks_.begin(), peaks_.end(), [&](const SearchPeak &peak) {
        return peak.offset_bins > spurious.offset_bins;
    });
    peaks_.insert(place, spurious);
}

// Keep as many peaks as there is room for, and tell where the first of the others begins.
std::optional<double> SpectrumEngine::leave_out_peaks() {
    if (peaks_.size() <= most_peaks) {
        return {};
    }
    const SearchPeak &first = peaks_[most_peaks];
    const double begin_khz = (first.offset_bins - first.width_bins / 2.0) * search_bin_khz;
    peaks_.resize(most_peaks);
    return begin_khz;
}

std::uint16_t SpectrumEngine::occupied(const Carriers &carriers, double expected_khz,
                                       double end_khz) {
    const double begin_khz = carriers.unfinished_khz.value_or(end_khz - expected_khz);
    const double explained_khz = begin_khz + expected_khz;
    if (const std::optional<double> left_out_khz = leave_out_peaks()) {
        return span_bins(
            std::clamp(*left_out_khz, least_span_khz, std::max(explained_khz, least_span_khz)));
    }
    if (carriers.unfinished_khz && explained_khz < near_centre_khz) {
        return endless_bins;
    }
    return carriers.unfinished_khz || shows_carrier(carriers) ? span_bins(explained_khz) : 0;
}

void SpectrumEngine::search(const Spectrum &spectrum, const SearchSetting &setting,
                            std::uint64_t now_ns, std::uint64_t since_ns) {
    power_on();
    done_ns_ = now_ns + search_ns;
    if (spectrum.half_span_khz <= 0) {
        return;
    }
    const double averages = averages_in(since_ns, now_ns, setting.wide);
    SpectrumGrid grid = average(spectrum, averages);
    smooth(grid.density, setting.smoothing);
    const double low_khz = grid.low_khz + setting.expected_khz;
    const double end_khz = grid.high_khz() + setting.expected_khz;
    const Carriers carriers = find_carriers(
        std::move(grid), {setting.smoothing, 1 / std::sqrt(averages * setting.smoothing)});
    done_ns_ += carriers.slopes * slope_ns;
    add_peaks(carriers, setting);
    if (chance_.uniform() < spurious_share_) {
        add_spurious_peak(low_khz, end_khz);
    }
    occupied_bins_ = occupied(carriers, setting.expected_khz, end_khz);
}

void SpectrumEngine::stall() {
    power_on();
    done_ns_ = std::numeric_limits<std::uint64_t>::max();
}

std::uint8_t SpectrumEngine::control(std::uint64_t now_ns) const {
    return now_ns < done_ns_ ? reg::search_start : static_cast<std::uint8_t>(peaks_.size());
}

void SpectrumEngine::next_peak() {
    next_ = std::min(next_ + 1, peaks_.size() + 1);
    byte_ = 0;
}

std::uint8_t SpectrumEngine::result() {
    if (next_ == 0 || next_ > peaks_.size()) {
        return 0;
    }
    const SearchPeak &peak = peaks_[next_ - 1];
    const auto offset = static_cast<unsigned>(peak.offset_bins);
    const auto width = static_cast<unsigned>(peak.width_bins);
    const auto level = static_cast<unsigned>(broadcast::to_db(std::max(peak.density, 1.0)) * 64);
    switch (byte_++ & 3U) {
        case 0:
            return static_cast<std::uint8_t>(offset);
        case 1:
            return static_cast<std::uint8_t>((offset >> 8U & 0x03U) | (level >> 6U << 2U));
        case 2:
            return static_cast<std::uint8_t>((width >> 8U & 0x03U) | (level << 2U));
        default:
            return static_cast<std::uint8_t>(width);
    }
}

std::uint16_t SpectrumEngine::occupied_bins(std::uint64_t now_ns) const {
    return now_ns < done_ns_ ? 0 : occupied_bins_;
}

}  // namespace sim
