// SPDX-License-Identifier: MIT
#include "sim/false_lock.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>

#include "broadcast/modcod.h"

namespace sim {

namespace {

// The rate at which the timing loop may also come to rest, where the samples that it takes fall on
// symbols at regular intervals: a simple fraction or multiple of the carrier's. 0 if none is near.
double alias_ksps(const CarrierSearch &search, const Carrier &carrier) {
    constexpr double nearness = 0.02;
    const double actual_ksps = carrier.transponder.symbol_rate / 1000.0;
    for (const double ratio : {0.5, 2.0 / 3, 1.5, 2.0}) {
        const double rate_ksps = ratio * actual_ksps;
        if (std::abs(search.symbol_rate_ksps - rate_ksps) <= nearness * rate_ksps) {
            return rate_ksps;
        }
    }
    return 0;
}

// No frame can be decoded at a false rate; the loops rest all the same.
void rest_on_alias(FoundCarrier &found, const CarrierSearch &search) {
    if (found.carrier == nullptr || found.reason != Reason::symbol_rate || found.margin_db < 0 ||
        found.carrier->transponder.system != search.system) {
        return;
    }
    const double rate_ksps = alias_ksps(search, *found.carrier);
    if (rate_ksps == 0) {
        return;
    }
    found.alias = true;
    found.symbol_rate_ksps = rate_ksps;
    found.text += ", of which that is an alias";
    found.reason = search.takes_aliases ? Reason::locked : found.reason;
}

// What a decoder sees in a line without modulation, of either standard.
const Carrier &line_seen_as(broadcast::System system) {
    static const std::array<Carrier, 2> lines = [] {
        std::array<Carrier, 2> seen;
        seen[0].transponder.system = broadcast::System::dvbs;
        seen[1].transponder.system = broadcast::System::dvbs2;
        return seen;
    }();
    return lines.at(system == broadcast::System::dvbs ? 0 : 1);
}

// A line holds the carrier loop; the timing loop, which nothing moves, keeps the programmed rate.
void rest_on_line(FoundCarrier &found, const CarrierSearch &search, const TunerOutput &tuner,
                  bool mirrored) {
    constexpr double line_cn_ratio = 10;
    const double direction = mirrored ? -1 : 1;
    const double expected_khz = tuner.lo_khz - direction * search.expected_khz;
    const double line_khz = std::round(expected_khz / tuner_reference_khz) * tuner_reference_khz;
    const double measured_khz = direction * (tuner.lo_khz - line_khz);
    const double offset_khz = search.expected_khz - measured_khz;
    if (std::abs(offset_khz) > std::min(capture_range_khz, search.symbol_rate_ksps)) {
        return;
    }
    found = {};
    found.reason = Reason::locked;
    found.carrier = &line_seen_as(search.system);
    found.text = fmt::format("takes the tuner's line at {:.0f} MHz for lock", line_khz / 1000);
    found.cn_ratio = line_cn_ratio;
    found.cn_db = broadcast::to_db(line_cn_ratio);
    found.margin_db = found.cn_db;
    found.cable_khz = line_khz;
    found.measured_khz = measured_khz;
    found.offset_khz = offset_khz;
    found.symbol_rate_ksps = search.symbol_rate_ksps;
}

}  // namespace

void lock_falsely(FoundCarrier &found, const CarrierSearch &search, const TunerOutput &tuner,
                  bool mirrored) {
    rest_on_alias(found, search);
    if (search.takes_spurs && !found.locks()) {
        rest_on_line(found, search, tuner, mirrored);
    }
}

}  // namespace sim
