// SPDX-License-Identifier: MIT
#include "host/scan/compare.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <iterator>
#include <tuple>
#include <utility>

#include "host/cable/frequency.h"

namespace host {

namespace {

std::uint32_t tolerance_khz(std::uint32_t symbol_rate) {
    constexpr std::uint32_t least_khz = 3000;
    return std::max(least_khz, symbol_rate / 4000U);
}

// How far a transponder lies above a row's place.
std::int64_t above_khz(const broadcast::Transponder &row, const FoundTransponder &found) {
    return std::int64_t{found.frequency_khz} - row.frequency_khz;
}

// Whether they may be the same but for their places.
bool suit(const broadcast::Transponder &row, const FoundTransponder &found) {
    const std::uint64_t rates_apart = apart(row.symbol_rate, found.symbol_rate);
    return is_selected_by_18v(row.polarisation) == is_selected_by_18v(found.polarisation) &&
           rates_apart * 50 <= row.symbol_rate;
}

// The differences of those that may be the same, a list for each row that has any.
std::vector<std::vector<std::int64_t>> differences(const std::vector<TableRow> &rows,
                                                   const std::vector<FoundTransponder> &found) {
    constexpr std::int64_t farthest_khz = 12'000;
    std::vector<std::vector<std::int64_t>> of_rows;
    for (const TableRow &row : rows) {
        std::vector<std::int64_t> of_row;
        for (const FoundTransponder &transponder : found) {
            const std::int64_t khz = above_khz(row.transponder, transponder);
            if (suit(row.transponder, transponder) && std::abs(khz) <= farthest_khz) {
                of_row.push_back(khz);
            }
        }
        if (!of_row.empty()) {
            of_rows.push_back(std::move(of_row));
        }
    }
    return of_rows;
}

// The difference of each row that is nearest to a value, where it agrees with that.
std::vector<std::int64_t> agreeing(const std::vector<std::vector<std::int64_t>> &of_rows,
                                   std::int64_t value_khz) {
    constexpr std::int64_t agreement_khz = 1'500;
    std::vector<std::int64_t> agreeing;
    for (const std::vector<std::int64_t> &of_row : of_rows) {
        const std::int64_t nearest =
            *std::min_element(of_row.begin(), of_row.end(), [&](std::int64_t a, std::int64_t b) {
                return std::abs(a - value_khz) < std::abs(b - value_khz);
            });
        if (std::abs(nearest - value_khz) <= agreement_khz) {
            agreeing.push_back(nearest);
        }
    }
    return agreeing;
}

std::optional<std::int64_t> common_offset(const std::vector<TableRow> &rows,
                                          const std::vector<FoundTransponder> &found) {
    constexpr std::size_t least = 3;
    const std::vector<std::vector<std::int64_t>> of_rows = differences(rows, found);
    std::vector<std::int64_t> best;
    for (const std::vector<std::int64_t> &of_row : of_rows) {
        for (const std::int64_t value_khz : of_row) {
            std::vector<std::int64_t> some = agreeing(of_rows, value_khz);
            if (some.size() > best.size()) {
                best = std::move(some);
            }
        }
    }
    if (best.size() < least || 2 * best.size() < std::min(rows.size(), found.size())) {
        return std::nullopt;
    }
    const auto middle = best.begin() + static_cast<std::ptrdiff_t>(best.size() / 2);
    std::nth_element(best.begin(), middle, best.end());
    return *middle;
}

bool describe_the_same(const broadcast::Transponder &a, const broadcast::Transponder &b) {
    return a.frequency_khz == b.frequency_khz &&
           is_selected_by_18v(a.polarisation) == is_selected_by_18v(b.polarisation) &&
           a.symbol_rate == b.symbol_rate && a.system == b.system;
}

bool lies_within(const broadcast::Transponder &row, const std::vector<ScanLeg> &legs) {
    return std::any_of(legs.begin(), legs.end(),
                       [&row](const ScanLeg &leg) { return leg.covers(row); });
}

// How well a row and a transponder go together; the least is the best.
struct Pair {
    std::tuple<std::int64_t, bool, std::size_t> order;  // distance, other system, row
    std::size_t row;
    std::size_t found;
};

std::vector<Pair> possible_pairs(const std::vector<TableRow> &rows,
                                 const std::vector<FoundTransponder> &found,
                                 std::int64_t offset_khz) {
    std::vector<Pair> pairs;
    for (std::size_t r = 0; r < rows.size(); ++r) {
        const broadcast::Transponder &row = rows[r].transponder;
        for (std::size_t f = 0; f < found.size(); ++f) {
            const std::int64_t away_khz = std::abs(above_khz(row, found[f]) - offset_khz);
            if (suit(row, found[f]) && away_khz <= tolerance_khz(row.symbol_rate)) {
                pairs.push_back({{away_khz, row.system != found[f].signal.system, r}, r, f});
            }
        }
    }
    std::sort(pairs.begin(), pairs.end(),
              [](const Pair &a, const Pair &b) { return a.order < b.order; });
    return pairs;
}

std::vector<std::optional<std::size_t>> match(const std::vector<TableRow> &rows,
                                              const std::vector<FoundTransponder> &found,
                                              std::int64_t offset_khz) {
    std::vector<std::optional<std::size_t>> of_row(rows.size());
    std::vector<bool> taken(found.size(), false);
    for (const Pair &pair : possible_pairs(rows, found, offset_khz)) {
        if (!of_row[pair.row] && !taken[pair.found]) {
            of_row[pair.row] = pair.found;
            taken[pair.found] = true;
        }
    }
    return of_row;
}

std::vector<TableRow> without_repeats(const std::vector<TableRow> &rows) {
    std::vector<TableRow> kept;
    for (const TableRow &row : rows) {
        if (std::none_of(kept.begin(), kept.end(), [&row](const TableRow &earlier) {
                return describe_the_same(earlier.transponder, row.transponder);
            })) {
            kept.push_back(row);
        }
    }
    return kept;
}

std::vector<TableRow> rows_within(const std::vector<TableRow> &rows,
                                  const std::vector<ScanLeg> &legs) {
    std::vector<TableRow> within;
    std::copy_if(rows.begin(), rows.end(), std::back_inserter(within),
                 [&legs](const TableRow &row) { return lies_within(row.transponder, legs); });
    return within;
}

// Why the driver's rules are likely to leave out a carrier of this symbol rate, if they are: a peak
// shows 400 kHz wider than the carrier, in bins of a 512th of 96 MHz, and counts from 2001 kHz on.
// Noise moves a width by a bin now and then, in either direction.
std::string against_the_rules(const broadcast::Transponder &row) {
    constexpr double bin_khz = 96'000.0 / 512;
    constexpr double widening_khz = 400;
    constexpr long least_bins = 11;
    const long bins = std::lround((row.symbol_rate / 1000.0 + widening_khz) / bin_khz);
    return bins >= least_bins
               ? ""
               : fmt::format("too narrow: it shows {} bins wide, and the scan drops peaks below {}",
                             bins, least_bins);
}

// What the scan saw where a carrier is that it could have found.
std::string sight_of(const broadcast::Transponder &row, const std::vector<SeenLeg> &legs,
                     const std::vector<FoundTransponder> &found) {
    // Within the half width of either.
    const auto is_near = [&row](std::uint32_t khz, std::uint32_t ksps) {
        return apart(row.frequency_khz, khz) * 2 <= std::max(row.symbol_rate / 1000U, ksps);
    };
    for (const FoundTransponder &other : found) {
        if (is_selected_by_18v(other.polarisation) == is_selected_by_18v(row.polarisation) &&
            is_near(other.frequency_khz, other.symbol_rate / 1000U)) {
            return fmt::format("in its place {}, {} was found", format_mhz(other.frequency_khz),
                               format_ksps(other.symbol_rate));
        }
    }
    const SeenPeak *nearest = nullptr;
    for (const SeenLeg &seen : legs) {
        for (const SeenPeak &peak : seen.peaks) {
            if (seen.leg.cable.voltage_18v == is_selected_by_18v(row.polarisation) &&
                is_near(peak.frequency_khz, peak.symbol_rate_ksps) &&
                (nearest == nullptr ||
                 apart(peak.symbol_rate_ksps, row.symbol_rate / 1000U) <
                     apart(nearest->symbol_rate_ksps, row.symbol_rate / 1000U))) {
                nearest = &peak;
            }
        }
    }
    return nearest == nullptr
               ? "no peak of the spectrum was taken for it"
               : fmt::format("its peak was taken for {}, {} ksym/s, which did not lock",
                             format_mhz(nearest->frequency_khz), nearest->symbol_rate_ksps);
}

// From the port that receives it, if there is one.
sim::Reception best_reception(const broadcast::Transponder &row, const sim::Receiver &receiver,
                              const std::vector<SeenLeg> &legs) {
    std::optional<sim::Reception> first;
    for (const SeenLeg &seen : legs) {
        sim::Reception reception = receiver.reception(row, seen.leg.cable.switch_port);
        if (reception.receivable()) {
            return reception;
        }
        if (!first) {
            first = reception;
        }
    }
    return first.value_or(sim::Reception{sim::Reception::Obstacle::no_dish, "no dish", 0, 0, 0});
}

}  // namespace

std::size_t Comparison::found() const {
    return static_cast<std::size_t>(std::count_if(
        rows.begin(), rows.end(), [](const ComparedRow &row) { return row.found.has_value(); }));
}

Comparison compare(const Table &table, const std::vector<ScanLeg> &legs,
                   const std::vector<FoundTransponder> &found) {
    const std::vector<TableRow> rows = without_repeats(table.rows);
    Comparison comparison;
    comparison.common_offset_khz = common_offset(rows_within(rows, legs), found);
    const auto of_row = match(rows, found, comparison.common_offset_khz.value_or(0));
    comparison.table = table.name;
    comparison.rows_repeated = table.rows.size() - rows.size();
    std::vector<bool> expected(found.size(), false);
    for (std::size_t i = 0; i < rows.size(); ++i) {
        if (of_row[i]) {
            expected[*of_row[i]] = true;
        }
        if (of_row[i] || lies_within(rows[i].transponder, legs)) {
            comparison.rows.push_back({rows[i], of_row[i], {}, {}, {}});
        } else {
            ++comparison.rows_outside;
        }
    }
    for (std::size_t i = 0; i < found.size(); ++i) {
        if (!expected[i]) {
            comparison.unexpected.push_back(i);
        }
    }
    return comparison;
}

void explain(Comparison &comparison, const sim::Receiver &receiver,
             const std::vector<SeenLeg> &legs, const std::vector<FoundTransponder> &found) {
    for (ComparedRow &row : comparison.rows) {
        const broadcast::Transponder &transponder = row.row.transponder;
        const sim::Reception reception = best_reception(transponder, receiver, legs);
        const std::string rule = against_the_rules(transponder);
        row.receivable = reception.receivable();
        row.findable = reception.receivable() && (rule.empty() || row.found);
        if (!*row.receivable) {
            row.cause = reception.text;
        } else if (!row.found) {
            broadcast::Transponder drifted = transponder;
            drifted.frequency_khz = static_cast<std::uint32_t>(
                transponder.frequency_khz + comparison.common_offset_khz.value_or(0));
            row.cause = rule.empty() ? sight_of(drifted, legs, found) : rule;
        }
    }
}

}  // namespace host
