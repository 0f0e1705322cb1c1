// SPDX-License-Identifier: MIT
#include "host/session/expected_figures.h"

#include <algorithm>
#include <cmath>

#include "broadcast/modcod.h"

namespace host {

namespace {

// Whole decibels of a ratio's whole part; exact for powers of ten.
double whole_db(double ratio, double largest) {
    constexpr double rounding = 1e-6;
    const double whole = std::floor(std::min(ratio, largest) + rounding);
    return whole < 1 ? 0 : std::floor(10 * std::log10(whole) + rounding);
}

double quality_of(broadcast::System system, double cn_db) {
    constexpr double largest_dvbs = 31;
    constexpr double largest_dvbs2 = 80;
    const double ratio = broadcast::from_db(cn_db);
    if (system == broadcast::System::dvbs) {
        return whole_db(ratio, largest_dvbs);
    }
    return ratio > 1 ? whole_db(ratio, largest_dvbs2) : -whole_db(1 / ratio, largest_dvbs2);
}

double percent_of(double gain) {
    if (gain > 8500) {
        return 0;
    }
    if (gain > 6500) {
        return (8500 - gain) * 3 / 100;
    }
    return gain > 4500 ? (6500 - gain) * 3 / 200 + 60 : (4500 - gain) / 500 + 90;
}

}  // namespace

Span quality_span(broadcast::System system, double cn_db, double stray_db) {
    return {quality_of(system, cn_db - stray_db), quality_of(system, cn_db + stray_db)};
}

Span strength_span(double gain_centidb, bool locked) {
    // A step of the demodulator's AGC and what the driver truncates of the figure.
    constexpr double steps_centidb = 20;
    const auto shown = [locked](double percent) {
        return std::min(locked && percent < 40 ? percent / 2 + 20 : percent, 100.0);
    };
    const double low = shown(std::max(percent_of(gain_centidb + steps_centidb) - 1, 0.0));
    return {std::floor(low), shown(percent_of(gain_centidb - steps_centidb))};
}

}  // namespace host
