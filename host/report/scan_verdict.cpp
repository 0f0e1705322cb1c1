// SPDX-License-Identifier: MIT
#include "host/report/scan_verdict.h"
#include "host/terminal/counted.h"

#include <fmt/format.h>

#include <cstdint>
#include <cstdlib>

namespace host {

namespace {

std::string rows_in_words(const Comparison &comparison) {
    const std::size_t rows = comparison.rows.size();
    const bool all = comparison.missed() == 0 && rows != 0;
    std::string words =
        !all        ? fmt::format("{} of {} found", comparison.found(), counted(rows, "row"))
        : rows == 1 ? "the one row found"
                    : fmt::format("all {} found", counted(rows, "row"));
    if (comparison.found() != 0 && comparison.missed() != 0) {
        words += fmt::format(", {} missed", comparison.missed());
    }
    if (!comparison.unexpected.empty()) {
        words += fmt::format(", {} unexpected", comparison.unexpected.size());
    }
    return words;
}

// Few rows where there is plenty of what no row describes.
bool looks_like_another_satellite(const Comparison &comparison) {
    constexpr std::size_t plenty = 5;
    return comparison.unexpected.size() >= plenty &&
           comparison.found() * 4 < comparison.rows.size() &&
           comparison.unexpected.size() > 2 * comparison.found();
}

// An oscillator that is too high puts everything too low, on which side of the carriers it may be.
std::string drift_in_words(const Comparison &comparison) {
    constexpr std::int64_t least_khz = 500;
    const std::int64_t offset_khz = comparison.common_offset_khz.value_or(0);
    return std::abs(offset_khz) < least_khz
               ? ""
               : fmt::format(", LNB {:+.1f} MHz {}", -static_cast<double>(offset_khz) / 1000,
                             offset_khz < 0 ? "high" : "low");
}

std::string what_was_found(const ScanResult &result) {
    if (result.comparison) {
        const Comparison &comparison = *result.comparison;
        return rows_in_words(comparison) + drift_in_words(comparison) +
               (looks_like_another_satellite(comparison) ? ": probably another satellite" : "");
    }
    return result.transponders.empty()
               ? "nothing found"
               : counted(result.transponders.size(), "transponder") + " found";
}

}  // namespace

std::string verdict_of(const ScanResult &result) {
    return (result.complete() ? "" : "not complete; so far ") + what_was_found(result);
}

}  // namespace host
