// SPDX-License-Identifier: MIT
#include "sim/spectral_slopes.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <deque>
#include <numbers>

namespace sim {

namespace {

constexpr double skirt_density = 1.5;      // noise included
constexpr double detection_density = 2.5;  // likewise
constexpr double least_height = 0.3;       // of a slope, over the noise
constexpr double least_dip = 0.045;        // 0.2 dB
constexpr double certainty = 5;            // deviations

// A slope of the spectrum: from one level stretch, peak or valley to the next.
struct Edge {
    bool rises = false;
    std::size_t first = 0;  // grid points at its ends
    std::size_t last = 0;
    double foot = 0;  // densities there
    double top = 0;
    double khz = 0;
};

double height_of(const Edge &edge) { return edge.top - edge.foot; }

// Means over stretches of a grid.
class Means {
 public:
    explicit Means(const std::vector<double> &density) : sums_(density.size() + 1, 0) {
        for (std::size_t i = 0; i < density.size(); ++i) {
            sums_[i + 1] = sums_[i] + density[i];
        }
    }

    [[nodiscard]] std::size_t size() const { return sums_.size() - 1; }
    // Of the points from `first` on up to, and without, `end`.
    [[nodiscard]] double of(std::size_t first, std::size_t end) const {
        return (sums_[end] - sums_[first]) / static_cast<double>(end - first);
    }

 private:
    std::vector<double> sums_;
};

// Points from `first` on up to, and without, `end`.
struct Stretch {
    std::size_t first = 0;
    std::size_t end = 0;
};

// Which way the spectrum goes at a point of a stretch, by the means on either side of it within the
// stretch: 1 up, -1 down, 0 where noise may be all there is.
int direction_at(const Means &means, const GridQuality &quality, const Stretch &stretch,
                 std::size_t at, std::size_t reach) {
    const std::size_t first = at - std::min(at - stretch.first, reach);
    const std::size_t last = std::min(at + reach, stretch.end - 1);
    const double before = means.of(first, at + 1);
    const double behind = means.of(at, last + 1);
    const double doubt = certainty * quality.deviation *
                         std::sqrt(before * before / quality.independent(at - first) +
                                   behind * behind / quality.independent(last - at));
    if (std::abs(behind - before) <= doubt) {
        return 0;
    }
    return behind > before ? 1 : -1;
}

// The next stretch from `from` on where nothing is known; empty at the end.
Stretch next_unknown(const std::vector<int> &directions, std::size_t from) {
    const auto begin = directions.begin();
    const auto first = std::find(begin + static_cast<std::ptrdiff_t>(from), directions.end(), 0);
    const auto end = std::find_if(first, directions.end(), [](int known) { return known != 0; });
    return {static_cast<std::size_t>(first - begin), static_cast<std::size_t>(end - begin)};
}

// The direction at every point. Short slopes show in the means over a few points on either side;
// what is level by these may be part of a wide carrier's slope, which shows over more of them.
std::vector<int> directions_of(const std::vector<double> &density, const GridQuality &quality) {
    constexpr std::size_t short_reach = 12;
    constexpr std::size_t farthest = 96;
    const Means means(density);
    std::vector<int> directions(density.size(), 0);
    const Stretch all{0, density.size()};
    for (std::size_t reach = std::max<std::size_t>(1, quality.smoothing / 2); reach <= farthest;
         reach *= 2) {
        for (Stretch gap = next_unknown(directions, 0); gap.first < gap.end;
             gap = next_unknown(directions, gap.end)) {
            for (std::size_t i = gap.first; i < gap.end; ++i) {
                directions[i] =
                    direction_at(means, quality, reach <= short_reach ? all : gap, i, reach);
            }
        }
    }
    return directions;
}

// Take out what is too narrow for any carrier and rises from its surroundings on both sides, and
// tell where it was.
std::vector<Extent> take_lines(SpectrumGrid &grid, const GridQuality &quality) {
    constexpr double line_certainty = 6;
    constexpr double least_excess = 0.5;
    constexpr std::size_t beside = 3;
    const std::size_t reach = quality.smoothing / 2 + 1;
    std::vector<double> &density = grid.density;
    const Means means(density);
    std::vector<Extent> lines;
    for (std::size_t i = reach + beside; i + reach + beside < density.size(); ++i) {
        const double before = means.of(i - reach - beside, i - reach);
        const double behind = means.of(i + reach + 1, i + reach + beside + 1);
        const double higher = std::max(before, behind);
        if (density[i] - higher <
            std::max(least_excess, line_certainty * quality.deviation * higher)) {
            continue;
        }
        const auto index = static_cast<double>(i);
        const double half = static_cast<double>(quality.smoothing + 1) / 2;
        if (lines.empty() || grid.khz(index - half) > lines.back().high_khz) {
            lines.push_back({grid.khz(index - half), grid.khz(index + half), density[i]});
        }
        const double step = (behind - before) / static_cast<double>(2 * reach + 2);
        for (std::size_t j = 0; j <= 2 * reach; ++j) {
            density[i - reach + j] = before + step * static_cast<double>(j + 1);
        }
    }
    return lines;
}

// Stretches of one direction, with the mean densities of the level stretches between them.
std::vector<Edge> stretches_of(const std::vector<double> &density, const GridQuality &quality) {
    const Means means(density);
    const std::vector<int> directions = directions_of(density, quality);
    std::vector<Edge> edges;
    std::size_t level_from = 0;
    int before = 0;
    const auto reach_level = [&](std::size_t at) {
        const double level = means.of(level_from, at + 1);
        if (!edges.empty()) {
            (edges.back().rises ? edges.back().top : edges.back().foot) = level;
        }
        return level;
    };
    for (std::size_t i = 0; i < density.size(); ++i) {
        const int direction = directions[i];
        if (direction == before) {
            continue;
        }
        if (before != 0) {
            edges.back().last = i;
            level_from = i;
        }
        if (direction != 0) {
            const double level = reach_level(i);
            edges.push_back({direction > 0, i, density.size() - 1, level, level, 0});
        }
        before = direction;
    }
    level_from = before != 0 ? density.size() - 1 : level_from;
    reach_level(density.size() - 1);
    return edges;
}

// Noise breaks a slope where it is least steep: what goes on in the same direction within 0.75 MHz,
// or is a small rest of it within 4 MHz, is the same slope.
bool belongs_to(const Edge &edge, const Edge &next) {
    constexpr std::size_t near = 16;
    constexpr std::size_t far = 40;
    constexpr double rest = 0.25;
    const std::size_t apart = next.first - edge.last;
    const double lower = std::min(height_of(edge), height_of(next));
    const double higher = std::max(height_of(edge), height_of(next));
    return edge.rises == next.rises && (apart <= near || (apart <= far && lower < rest * higher));
}

void join_pieces(std::vector<Edge> &edges) {
    for (std::size_t i = 0; i + 1 < edges.size();) {
        Edge &edge = edges[i];
        const Edge &next = edges[i + 1];
        if (!belongs_to(edge, next)) {
            ++i;
            continue;
        }
        edge.last = next.last;
        edge.foot = std::min(edge.foot, next.foot);
        edge.top = std::max(edge.top, next.top);
        edges.erase(edges.begin() + static_cast<std::ptrdiff_t>(i) + 1);
    }
}

bool stands_out(const Edge &edge) {
    return height_of(edge) >= std::max(least_height, edge.top * least_dip);
}

// The slopes that stand out of what averaging leaves of the noise.
std::vector<Edge> edges_of(const std::vector<double> &density, const GridQuality &quality) {
    std::vector<Edge> edges = stretches_of(density, quality);
    join_pieces(edges);
    std::erase_if(edges, [](const Edge &edge) { return !stands_out(edge); });
    join_pieces(edges);
    return edges;
}

// Where a narrow carrier stands on the skirt of a wide one, the skirt shows as two slopes with an
// edge of the narrow carrier between them: rise, rise, fall, rise or the mirror image. Keep the
// greater part. Three carriers that overlap in a row look alike, but have nearly equal parts.
void join_skirts(std::vector<Edge> &edges) {
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
        const std::size_t smaller = height_of(edges[a]) < height_of(edges[a + 2]) ? a : a + 2;
        const std::size_t greater = smaller == a ? a + 2 : a;
        if (height_of(edges[smaller]) < height_of(edges[greater]) * 0.7) {
            edges.erase(edges.begin() + static_cast<std::ptrdiff_t>(smaller));
        }
    }
}

double half_power(const Edge &edge) { return 1 + (edge.top - 1) / 2; }

// A slope that goes on beyond the passband shows a carrier's edge when its middle is inside.
bool is_cut_off(const SpectrumGrid &grid, const Edge &edge) {
    constexpr std::size_t border = 24;  // less than this shows no direction
    const bool at_the_end =
        edge.rises ? edge.first < border : edge.last + border >= grid.density.size();
    return at_the_end && edge.foot >= skirt_density;
}
bool hides_its_middle(const SpectrumGrid &grid, const Edge &edge) {
    return is_cut_off(grid, edge) && edge.foot > half_power(edge);
}

// Where a slope passes a level.
double crossing_khz(const SpectrumGrid &grid, const Edge &edge, double level) {
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
double place_khz(const SpectrumGrid &grid, const Edge &edge, const Edge *beyond) {
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
    const double length_khz = static_cast<double>(edge.last - edge.first) * search_step_khz;
    const double inside_khz = length_khz * share / (1 + share);
    return grid.khz(static_cast<double>(edge.rises ? edge.first : edge.last)) +
           (edge.rises ? inside_khz : -inside_khz);
}

void place_edges(const SpectrumGrid &grid, std::vector<Edge> &edges) {
    for (std::size_t i = 0; i < edges.size(); ++i) {
        const std::size_t outer = edges[i].rises ? i - 1 : i + 1;
        edges[i].khz = place_khz(grid, edges[i], outer < edges.size() ? &edges[outer] : nullptr);
    }
}

// Edges make carriers in their order: the lower edges are those of the carriers in turn, and so are
// the upper ones, as no carrier lies within another.
class Pairing {
 public:
    explicit Pairing(const SpectrumGrid &grid) : grid_(grid) {}

    Carriers pair(const std::vector<Edge> &edges) {
        const bool begins_inside =
            !edges.empty() && edges.front().rises && is_cut_off(grid_, edges.front());
        if (grid_.density.front() >= skirt_density && !begins_inside) {
            begun_.emplace_back();
        }
        for (const Edge &edge : edges) {
            if (edge.rises) {
                begin(edge);
            } else if (!hides_its_middle(grid_, edge)) {
                end(edge);
            }
        }
        if (!begun_.empty()) {
            carriers_.unfinished_khz = begun_.front().value_or(grid_.low_khz);
        }
        return std::move(carriers_);
    }

 private:
    void begin(const Edge &edge) {
        if (edge.foot < skirt_density) {
            begun_.clear();
        }
        begun_.push_back(hides_its_middle(grid_, edge) ? std::nullopt : std::optional(edge.khz));
    }

    void end(const Edge &edge) {
        // Where no lower edge is to be seen the neighbour's upper edge has hidden it.
        std::optional<double> low = last_end_;
        if (!begun_.empty()) {
            low = begun_.front();
            begun_.pop_front();
        }
        const bool to_noise = edge.foot < skirt_density;
        // And the other way round: what ends in the noise begins at the last lower edge.
        while (to_noise && !begun_.empty()) {
            add(low, begun_.front(), edge);
            low = begun_.front();
            begun_.pop_front();
        }
        add(low, edge.khz, edge);
        last_end_ = to_noise ? std::nullopt : std::optional(edge.khz);
    }

    void add(std::optional<double> low_khz, std::optional<double> high_khz, const Edge &edge) {
        if (low_khz && high_khz && edge.top >= detection_density) {
            carriers_.complete.push_back({*low_khz, *high_khz, edge.top});
        }
    }

    const SpectrumGrid &grid_;
    Carriers carriers_;
    std::deque<std::optional<double>> begun_;  // without a value: below the passband
    std::optional<double> last_end_;
};

}  // namespace

void smooth(std::vector<double> &density, std::size_t length) {
    const Means means(density);
    for (std::size_t i = 0; i < density.size(); ++i) {
        density[i] =
            means.of(i - std::min(i, length / 2), std::min(density.size(), i + (length + 1) / 2));
    }
}

Carriers find_carriers(SpectrumGrid grid, const GridQuality &quality) {
    const std::vector<Extent> lines = take_lines(grid, quality);
    std::vector<Edge> edges = edges_of(grid.density, quality);
    const std::size_t slopes = edges.size();
    join_skirts(edges);
    place_edges(grid, edges);
    Carriers carriers = Pairing(grid).pair(edges);
    carriers.slopes = slopes + 2 * lines.size();
    for (const Extent &line : lines) {
        const auto place = std::find_if(
            carriers.complete.begin(), carriers.complete.end(),
            [&line](const Extent &carrier) { return carrier.high_khz > line.high_khz; });
        carriers.complete.insert(place, line);
    }
    return carriers;
}

}  // namespace sim
