// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "ds3000/scan/scan_request.h"

namespace ds3000 {

// Take a peak of a later pass into the list, or drop it because an entry already stands for it:
// a locked transponder that it overlaps, or a candidate that it resembles. The peaks of a step come
// in one direction, so each search goes on where the last one ended (scan_cursor).
void filter_peak(blind_scan_request &request, std::int32_t frequency_khz,
                 std::int32_t symbol_rate_ksps, std::uint8_t pass);

// Put the cursor on the entry that was met last, when the list still has it.
void return_cursor_to_last_match(const blind_scan_request &request);

}  // namespace ds3000
