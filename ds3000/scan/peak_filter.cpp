// SPDX-License-Identifier: MIT
#include "ds3000/scan/peak_filter.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>

#include "ds3000/chip/ds3000_context.h"
#include "ds3000/hw/bits.h"
#include "ds3000/hw/message.h"
#include "ds3000/scan/peak.h"
#include "ds3000/scan/scan_list.h"
#include "ds3000/scan/scan_state.h"

namespace ds3000 {

namespace {

std::int32_t lower_edge_khz(const scan_candidate &entry) {
    return wrap_subtract(frequency_of(entry), entry.symbol_rate / 2);
}

std::int32_t upper_edge_khz(const peak &p) { return p.frequency_khz + p.symbol_rate_ksps / 2; }

std::int32_t distance_khz(const peak &p, const scan_candidate &entry) {
    const std::uint32_t distance =
        wrap_distance(static_cast<std::uint32_t>(p.frequency_khz), entry.frequency_khz);
    return static_cast<std::int32_t>(std::min<std::uint32_t>(distance, INT32_MAX));
}

// The entry at the cursor; the last record that the caller promised when the cursor is past it.
const scan_candidate &entry_at_cursor(const blind_scan_request &request) {
    return request.candidates[std::min(ds3000_context.scan_cursor, request.capacity)];
}

// How far a peak may lie from a locked transponder and still be it, by the peak's rate.
std::int32_t overlap_distance_khz(std::int32_t symbol_rate_ksps) {
    if (symbol_rate_ksps <= 3000) {
        return 1000;
    }
    if (symbol_rate_ksps <= 5000) {
        return 2000;
    }
    if (symbol_rate_ksps <= 10000) {
        return 3000;
    }
    return symbol_rate_ksps <= 25000 ? 4000 : 7000;
}

bool overlaps(const peak &p, const scan_candidate &entry) {
    const std::int32_t distance = distance_khz(p, entry);
    const std::int32_t overlap =
        wrap_subtract(p.symbol_rate_ksps / 2 + entry.symbol_rate / 2, distance);
    const std::int32_t least_overlap = p.symbol_rate_ksps / (p.symbol_rate_ksps <= 6000 ? 3 : 2);
    return overlap >= least_overlap && distance <= overlap_distance_khz(p.symbol_rate_ksps);
}

// How far a peak may differ from an undecided or rejected entry and still be it.
struct similarity {
    std::int32_t rate_ksps;
    std::int32_t frequency_khz;
};

similarity similarity_of(std::int32_t symbol_rate_ksps) {
    if (symbol_rate_ksps <= 3000) {
        return {100, 500};
    }
    if (symbol_rate_ksps <= 10000) {
        return {200, 500};
    }
    return symbol_rate_ksps <= 25000 ? similarity{250, 800} : similarity{400, 1000};
}

bool resembles(const peak &p, const scan_candidate &entry) {
    const similarity allowed = similarity_of(p.symbol_rate_ksps);
    return std::abs(p.symbol_rate_ksps - entry.symbol_rate) <= allowed.rate_ksps &&
           distance_khz(p, entry) <= allowed.frequency_khz;
}

bool stands_for(const scan_candidate &entry, const peak &p) {
    if (is_locked(entry)) {
        if (!overlaps(p, entry)) {
            return false;
        }
        message("\n\tOverlap Skip TP!!!!!!!   Freq. == %d\n", p.frequency_khz);
        return true;
    }
    if (!resembles(p, entry)) {
        return false;
    }
    message("\n\tSimilar Skip TP!!!!!!!  Freq. == %d\n", p.frequency_khz);
    return true;
}

std::int32_t insert(blind_scan_request &request, const peak &p, std::uint8_t pass) {
    ds3000_context.scan_count += 1;
    return scan_list_insert(&request, p.frequency_khz,
                            static_cast<std::uint32_t>(p.symbol_rate_ksps), pass);
}

// Put the cursor on the first of `count` entries with a frequency; leave it when none has it.
void find_cursor(const blind_scan_request &request, std::uint32_t count,
                 std::uint32_t frequency_khz) {
    for (std::uint32_t i = 0; i < count; ++i) {
        if (request.candidates[i].frequency_khz == frequency_khz) {
            ds3000_context.scan_cursor = static_cast<std::uint16_t>(i);
            return;
        }
    }
}

void insert_before_cursor(blind_scan_request &request, const peak &p, std::uint8_t pass) {
    if (ds3000_context.scan_cursor != 0) {
        ds3000_context.scan_cursor -= 1;
    }
    const std::uint32_t anchor_khz = entry_at_cursor(request).frequency_khz;
    const bool inserted = insert(request, p, pass) == DS3000_OK;
    if (inserted && !scan_cancelled()) {
        find_cursor(request, records_within(request, ds3000_context.scan_count), anchor_khz);
    }
    ds3000_context.scan_last_match_khz = anchor_khz;
}

void insert_after(blind_scan_request &request, std::uint16_t compared, const peak &p,
                  std::uint8_t pass) {
    ds3000_context.scan_cursor = compared;
    const std::uint32_t anchor_khz = entry_at_cursor(request).frequency_khz;
    if (insert(request, p, pass) == DS3000_OK) {
        ds3000_context.scan_last_match_khz = anchor_khz;
    }
}

// Go on to the next entry worth comparing. Returns false at the list's end.
bool advance_cursor(const blind_scan_request &request) {
    const std::uint32_t end = records_within(request, ds3000_context.scan_count);
    std::uint32_t next = ds3000_context.scan_cursor + 1U;
    while (next < end && request.candidates[next].status == CANDIDATE_PENDING) {
        ++next;
    }
    ds3000_context.scan_cursor = static_cast<std::uint16_t>(next);
    if (next >= end) {
        ds3000_context.scan_cursor_at_end = 1;
        return false;
    }
    return true;
}

}  // namespace

void filter_peak(blind_scan_request &request, std::int32_t frequency_khz,
                 std::int32_t symbol_rate_ksps, std::uint8_t pass) {
    const peak p{frequency_khz, symbol_rate_ksps};
    if (scan_cancelled()) {
        ds3000_context.scan_last_match_khz = entry_at_cursor(request).frequency_khz;
        return;
    }
    const bool was_at_end = ds3000_context.scan_cursor_at_end != 0;
    while (upper_edge_khz(p) > lower_edge_khz(entry_at_cursor(request))) {
        if (stands_for(entry_at_cursor(request), p)) {
            ds3000_context.scan_last_match_khz = entry_at_cursor(request).frequency_khz;
            return;
        }
        const std::uint16_t compared = ds3000_context.scan_cursor;
        if (!advance_cursor(request) || was_at_end) {
            insert_after(request, compared, p, pass);
            return;
        }
    }
    insert_before_cursor(request, p, pass);
}

void return_cursor_to_last_match(const blind_scan_request &request) {
    find_cursor(request, request.capacity, ds3000_context.scan_last_match_khz);
}

}  // namespace ds3000
