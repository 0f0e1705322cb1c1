// SPDX-License-Identifier: MIT
#include "sim/spectrum_engine.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <deque>
#include <limits>
#include <numbers>
#include <optional>

#include "broadcast/arithmetic.h"
#include "sim/demodulator_regs.h"
#include "sim/spectral_shape.h"

namespace sim {

namespace {

constexpr double bin_khz = 96000.0 / 512;
constexpr double step_khz = bin_khz / 4;
constexpr double skirt_density = 1.5;      // noise included
constexpr double detection_density = 2.5;  // likewise
constexpr double least_height = 0.3;       // of a slope, over the noise
constexpr double least_dip = 0.045;        // 0.2 dB
constexpr double widening_khz = 400;
constexpr double least_width_khz = 600;
constexpr double least_wide_width_khz = 8000;
// A carrier that begins nearer to the centre than this is crossed in small steps.
constexpr double near_centre_khz = 4000;
constexpr double small_span_khz = 8000;
constexpr double most_bins = 1023;
constexpr std::uint64_t wide_averaging_ns = 10'000'000;
constexpr std::uint64_t narrow_averaging_ns = 25'000'000;
constexpr std::uint64_t search_ns = 12'000'000;

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

// Densities over the noise on the engine's grid, from one end of the passband to the other.
struct Grid {
    double low_khz = 0;
    std::vector<double> density;

    [[nodiscard]] double khz(double index) const { return low_khz + index * step_khz; }
};

Grid grid_of(const Spectrum &spectrum) {
    const auto half = static_cast<std::size_t>(spectrum.half_span_khz / step_khz);
    const double low_khz = -static_cast<double>(half) * step_khz;
    return {low_khz, densities(spectrum.lines, low_khz, step_khz, 2 * half + 1)};
}

// The mean over `length` neighbours of each point, fewer at the ends.
void smooth(std::vector<double> &density, std::size_t length) {
    std::vector<double> sums(density.size() + 1, 0);
    for (std::size_t i = 0; i < density.size(); ++i) {
        sums[i + 1] = sums[i] + density[i];
    }
    for (std::size_t i = 0; i < density.size(); ++i) {
        const std::size_t low = i > length / 2 ? i - length / 2 : 0;
        const std::size_t high = std::min(density.size(), i + (length + 1) / 2);
        density[i] = (sums[high] - sums[low]) / static_cast<double>(high - low);
    }
}

// A slope of the spectrum: from one level stretch, peak or valley to the next.
struct Edge {
    bool rises = false;
    std::size_t first = 0;  // grid points at its ends
    std::size_t last = 0;
    double foot = 0;  // densities there
    double top = 0;
    double khz = 0;
};

// The slopes that stand out of what averaging leaves of the noise.
std::vector<Edge> edges_of(const std::vector<double> &density) {
    constexpr double level = 0.0005;  // of the density, from one grid point to the next
    std::vector<Edge> edges;
    const auto slope = [&density](std::size_t i) {
        const double change = density[i + 1] - density[i];
        return std::abs(change) < level * density[i] ? 0 : (change > 0 ? 1 : -1);
    };
    std::size_t i = 0;
    while (i + 1 < density.size()) {
        const int direction = slope(i);
        std::size_t end = i + 1;
        while (end + 1 < density.size() && slope(end) == direction) {
            ++end;
        }
        const auto [foot, top] = std::minmax(density[i], density[end]);
        if (direction != 0 && top - foot >= std::max(least_height, top * least_dip)) {
            edges.push_back({direction > 0, i, end, foot, top, 0});
        }
        i = end;
    }
    return edges;
}

// Where a narrow carrier stands on the skirt of a wide one, the skirt shows as two slopes with an
// edge of the narrow carrier between them: rise, rise, fall, rise or the mirror image. Keep the
// greater part. Three carriers that overlap in a row look alike, but have nearly equal parts.
void join_skirts(std::vector<Edge> &edges) {
    const auto height = [](const Edge &edge) { return edge.top - edge.foot; };
    for (std::size_t i = 0; i + 3 < edges.size(); ++i) {
        const std::array<bool, 4> rises{edges[i].rises, edges[i + 1].rises, edges[i + 2].rises,
                                        edges[i + 3].rises};
        std::size_t a = 0;
        if (rises == std::array{true, true, false, true}) {
            a = i + 1;
        } else if (rises == std::array{false, true, false, false}) {
            a = i;
        } else {
            continue;
        }
        const std::size_t smaller = height(edges[a]) < height(edges[a + 2]) ? a : a + 2;
        const std::size_t greater = smaller == a ? a + 2 : a;
        if (height(edges[smaller]) < height(edges[greater]) * 0.7) {
            edges.erase(edges.begin() + static_cast<std::ptrdiff_t>(smaller));
        }
    }
}

double half_power(const Edge &edge) { return 1 + (edge.top - 1) / 2; }

// A slope that goes on beyond the passband shows a carrier's edge when its middle is inside.
bool is_cut_off(const Grid &grid, const Edge &edge) {
    return edge.rises ? edge.first == 0 : edge.last == grid.density.size() - 1;
}
bool hides_its_middle(const Grid &grid, const Edge &edge) {
    return is_cut_off(grid, edge) && edge.foot > half_power(edge);
}

// Where a slope passes a level.
double crossing_khz(const Grid &grid, const Edge &edge, double level) {
    for (std::size_t i = edge.first; i < edge.last; ++i) {
        const double from = grid.density[i];
        const double to = grid.density[i + 1];
        if ((from < level) != (to < level)) {
            return grid.khz(static_cast<double>(i) + (level - from) / (to - from));
        }
    }
    return grid.khz(static_cast<double>(edge.rises ? edge.first : edge.last));
}

// Place the carrier's edge that a slope shows. `beyond` is the slope on its outer side: of the same
// direction when carriers overlap, of the other one across a valley.
double place_khz(const Grid &grid, const Edge &edge, const Edge *beyond) {
    if (is_cut_off(grid, edge)) {
        return crossing_khz(grid, edge, half_power(edge));
    }
    if (beyond == nullptr || beyond->rises == edge.rises) {
        return crossing_khz(grid, edge, (edge.foot + edge.top) / 2);
    }
    if (edge.foot <= half_power(edge)) {
        return crossing_khz(grid, edge, half_power(edge));
    }
    // Both carriers have the same share in the valley: raised cosines, each sin(x) below its half.
    const double depth = (edge.top - edge.foot) / (edge.top - 1);
    const double share = std::asin(depth) * 2 / std::numbers::pi;
    const double length_khz = static_cast<double>(edge.last - edge.first) * step_khz;
    const double inside_khz = length_khz * share / (1 + share);
    return grid.khz(static_cast<double>(edge.rises ? edge.first : edge.last)) +
           (edge.rises ? inside_khz : -inside_khz);
}

std::vector<Edge> placed_edges(const Grid &grid) {
    std::vector<Edge> edges = edges_of(grid.density);
    join_skirts(edges);
    for (std::size_t i = 0; i < edges.size(); ++i) {
        const std::size_t outer = edges[i].rises ? i - 1 : i + 1;
        edges[i].khz = place_khz(grid, edges[i], outer < edges.size() ? &edges[outer] : nullptr);
    }
    return edges;
}

struct Extent {
    double low_khz;
    double high_khz;
};

// The carriers whose edges are both in the passband, and where the first one begins whose upper
// edge is not.
struct Carriers {
    std::vector<Extent> complete;
    std::optional<double> unfinished_khz;
};

// Edges make carriers in their order: the lower edges are those of the carriers in turn, and so are
// the upper ones, as no carrier lies within another.
Carriers carriers_of(const Grid &grid) {
    Carriers carriers;
    const std::vector<Edge> edges = placed_edges(grid);
    std::deque<std::optional<double>> begun;  // without a value: below the passband
    const bool begins_inside =
        !edges.empty() && edges.front().rises && is_cut_off(grid, edges.front());
    if (grid.density.front() >= skirt_density && !begins_inside) {
        begun.emplace_back();
    }
    std::optional<double> last_end;
    for (const Edge &edge : edges) {
        const bool from_noise = edge.foot < skirt_density;
        if (edge.rises) {
            if (from_noise) {
                begun.clear();
            }
            begun.push_back(hides_its_middle(grid, edge) ? std::nullopt : std::optional(edge.khz));
            continue;
        }
        if (hides_its_middle(grid, edge)) {
            continue;
        }
        // Where no lower edge is to be seen the neighbour's upper edge has hidden it.
        const std::optional<double> low = begun.empty() ? last_end : begun.front();
        if (!begun.empty()) {
            begun.pop_front();
        }
        if (low && edge.top >= detection_density) {
            carriers.complete.push_back({*low, edge.khz});
        }
        last_end = from_noise ? std::nullopt : std::optional(edge.khz);
        if (from_noise) {
            begun.clear();
        }
    }
    if (!begun.empty()) {
        carriers.unfinished_khz = begun.front().value_or(grid.low_khz);
    }
    return carriers;
}

std::int32_t bins_of(double khz) { return static_cast<std::int32_t>(std::lround(khz / bin_khz)); }

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

void SpectrumEngine::add_spurious_peak(double low_khz, double high_khz) {
    constexpr double narrowest_khz = 2000;
    constexpr double widest_khz = 12000;
    const double width_khz = narrowest_khz + chance_.uniform() * (widest_khz - narrowest_khz);
    const double centre_khz = low_khz + chance_.uniform() * (high_khz - low_khz);
    const SearchPeak spurious{bins_of(centre_khz), bins_of(width_khz + widening_khz)};
    const auto place = std::find_if(peaks_.begin(), peaks_.end(), [&](const SearchPeak &peak) {
        return peak.offset_bins > spurious.offset_bins;
    });
    peaks_.insert(place, spurious);
}

void SpectrumEngine::search(const Spectrum &spectrum, const SearchSetting &setting,
                            std::uint64_t now_ns, std::uint64_t ready_ns) {
    power_on();
    done_ns_ = std::max(now_ns, ready_ns) + search_ns;
    if (spectrum.half_span_khz <= 0) {
        return;
    }
    Grid grid = grid_of(spectrum);
    smooth(grid.density, setting.smoothing);
    const double least_khz = setting.wide ? least_wide_width_khz : least_width_khz;
    const double end_khz = -grid.low_khz + setting.expected_khz;
    double explained_khz = end_khz;
    const Carriers carriers = carriers_of(grid);
    for (const Extent &extent : carriers.complete) {
        const double width_khz = extent.high_khz - extent.low_khz;
        if (width_khz >= least_khz) {
            const double centre_khz = (extent.low_khz + extent.high_khz) / 2;
            peaks_.push_back(
                {bins_of(centre_khz + setting.expected_khz), bins_of(width_khz + widening_khz)});
        }
    }
    if (carriers.unfinished_khz) {
        const double begin_khz = *carriers.unfinished_khz + setting.expected_khz;
        explained_khz = begin_khz >= near_centre_khz ? begin_khz : small_span_khz;
    }
    if (chance_.uniform() < spurious_share_) {
        add_spurious_peak(grid.low_khz + setting.expected_khz, end_khz);
    }
    if (peaks_.size() > most_peaks) {
        const SearchPeak &left_out = peaks_[most_peaks];
        const double found_khz = (left_out.offset_bins - left_out.width_bins / 2.0) * bin_khz;
        explained_khz = std::clamp(found_khz, small_span_khz, explained_khz);
        peaks_.resize(most_peaks);
    }
    occupied_bins_ =
        static_cast<std::uint16_t>(std::clamp(explained_khz / bin_khz, 0.0, most_bins));
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
    switch (byte_++ & 3U) {
        case 0:
            return static_cast<std::uint8_t>(offset);
        case 1:
            return static_cast<std::uint8_t>((offset >> 8U) & 0x03U);
        case 2:
            return static_cast<std::uint8_t>((width >> 8U) & 0x03U);
        default:
            return static_cast<std::uint8_t>(width);
    }
}

std::uint16_t SpectrumEngine::occupied_bins(std::uint64_t now_ns) const {
    return now_ns < done_ns_ ? 0 : occupied_bins_;
}

}  // namespace sim
