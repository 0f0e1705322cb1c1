// SPDX-License-Identifier: MIT
#include "host/scan/found.h"

#include <algorithm>
#include <cstdlib>
#include <tuple>

namespace host {

namespace {

// Two transponders of a satellite may share frequency and rate on both polarisations, at about the
// same quality. What leaks through a feed that is aligned at all is weaker than this.
constexpr int leakage_db = 8;

bool has_same_carrier(const FoundTransponder &a, const FoundTransponder &b) {
    const std::int64_t apart_khz = std::int64_t{a.frequency_khz} - b.frequency_khz;
    const std::int64_t rates_apart = std::int64_t{a.symbol_rate} - b.symbol_rate;
    const std::int64_t rate = std::min(a.symbol_rate, b.symbol_rate);
    return a.port == b.port && a.signal.system == b.signal.system &&
           std::abs(apart_khz) * 2000 < rate && std::abs(rates_apart) * 100 <= rate;
}

int quality_of(const FoundTransponder &found) { return found.quality_db.value_or(-20); }

bool is_better(const FoundTransponder &a, const FoundTransponder &b) {
    return std::tuple(quality_of(a), a.strength_percent.value_or(0)) >
           std::tuple(quality_of(b), b.strength_percent.value_or(0));
}

// Whether `weaker` says nothing that `better` does not say.
bool repeats(const FoundTransponder &weaker, const FoundTransponder &better) {
    if (!has_same_carrier(weaker, better)) {
        return false;
    }
    return weaker.polarisation == better.polarisation ||
           (weaker.signal.modulation == better.signal.modulation &&
            weaker.signal.code_rate == better.signal.code_rate && weaker.quality_db &&
            better.quality_db && *better.quality_db - *weaker.quality_db >= leakage_db);
}

}  // namespace

bool takes_the_place_of(const FoundTransponder &newer, const FoundTransponder &older) {
    return is_better(newer, older) && repeats(older, newer);
}

std::vector<FoundTransponder> merge_found(std::vector<FoundTransponder> found) {
    std::stable_sort(found.begin(), found.end(), is_better);
    std::vector<FoundTransponder> merged;
    for (const FoundTransponder &next : found) {
        if (std::none_of(merged.begin(), merged.end(),
                         [&next](const auto &better) { return repeats(next, better); })) {
            merged.push_back(next);
        }
    }
    std::stable_sort(merged.begin(), merged.end(), [](const auto &a, const auto &b) {
        return std::tuple(a.port, a.frequency_khz, a.polarisation) <
               std::tuple(b.port, b.frequency_khz, b.polarisation);
    });
    return merged;
}

}  // namespace host
