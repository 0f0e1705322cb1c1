// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "broadcast/transponder.h"
#include "host/cable/signal_info.h"

namespace host {

// A transponder that a blind scan locked to, as the driver measured it.
struct FoundTransponder {
    std::size_t leg = 0;  // index into the scan's legs
    unsigned port = 0;
    std::uint32_t if_khz = 0;
    std::uint32_t frequency_khz = 0;  // downlink
    broadcast::Polarisation polarisation = broadcast::Polarisation::vertical;
    std::uint32_t symbol_rate = 0;  // sym/s; the driver measures whole ksym/s
    SignalInfo signal;
    std::optional<int> quality_db;
    std::optional<unsigned> strength_percent;
    std::string without_data = {};  // why none come behind the lock, where somebody knows

    bool operator==(const FoundTransponder &) const = default;
};

// One entry for each transponder, by port, frequency and polarisation.
// The same port, polarisation, system, symbol rate (within 1 %) and frequency (within half the
// symbol rate) is the same transponder, found through two bands; the better one stays. So is one
// of the other polarisation that has the same parameters and a quality 8 dB lower: leakage.
std::vector<FoundTransponder> merge_found(std::vector<FoundTransponder> found);

// Whether the newer one is listed instead of the older one, by the rule above.
bool takes_the_place_of(const FoundTransponder &newer, const FoundTransponder &older);

}  // namespace host
