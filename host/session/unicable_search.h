// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include "host/boards/board_watch.h"

namespace host {

// A user band that the driver's search found, in the order of the sweep.
struct FoundBand {
    std::uint32_t frequency_mhz = 0;
    bool valid = false;  // accepted by the driver's gain check
    std::int32_t gain = 0;
    std::optional<std::uint8_t> index;  // the unit's own, once identified
};

struct UserBandSearch {
    std::vector<FoundBand> bands;
    std::uint16_t counted = 0;  // the driver's own count of the valid ones
};

struct SearchRange {
    std::uint16_t from_mhz = 950;
    std::uint16_t to_mhz = 2150;
};

// The chip layer must be up, and the unit supplied with 18 V. A search uses the driver with
// unicable_enabled off, for a test tone is not mirrored, and leaves it so; connect before
// receiving.

// Sweep the range for the unit's test tones; ask for them first unless they are on already. That
// takes every user band, those of other receivers too, off its channel. When the watch sees the
// work end before its time, what had been found until then.
UserBandSearch search_user_bands(const SearchRange &range, bool send_command, BoardWatch &watch);

// Find out which index a found band has in the unit, which a tone does not tell: ask the bands in
// turn for a channel and see whose tone goes. `bank` must be one that the unit can deliver. The
// bands asked lose their tones. When the watch sees the work end before its time, the rest stay
// without. settled: hears of each band as soon as nothing more will be known of it.
void identify_user_bands(std::vector<FoundBand> &bands, std::uint16_t bank, BoardWatch &watch,
                         const std::function<void(const FoundBand &)> &settled);

}  // namespace host
