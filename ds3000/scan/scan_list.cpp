// SPDX-License-Identifier: MIT
#include "ds3000/scan/scan_list.h"

#include <algorithm>
#include <cstdint>

#include "ds3000/chip/ds3000_context.h"
#include "ds3000/demod/mcu.h"
#include "ds3000/hw/bits.h"
#include "ds3000/scan/peak.h"
#include "ds3000/scan/scan_state.h"

namespace ds3000 {

namespace {

constexpr std::int32_t merge_distance = 999;  // kHz, and ksym/s

void write_pending(scan_candidate &record, const peak &p) {
    record.frequency_khz = static_cast<std::uint32_t>(p.frequency_khz);
    record.symbol_rate = static_cast<std::uint16_t>(p.symbol_rate_ksps);
    record.status = CANDIDATE_PENDING;
    record.code_rate = CODE_RATE_UNKNOWN;
}

bool appends(std::uint8_t pass) {
    return (pass == 0 || ds3000_context.scan_passes == 1) &&
           (ds3000_context.spectrum_inverted == 0 || is_ds310x());
}

// Merge a peak into an entry that is the same transponder seen through the Unicable unit's steps.
// Returns whether it is.
bool merge(scan_candidate &entry, const peak &p) {
    const std::int32_t frequency_change = wrap_subtract(p.frequency_khz, frequency_of(entry));
    const std::int32_t rate_change = wrap_subtract(p.symbol_rate_ksps, entry.symbol_rate);
    if (frequency_change < -merge_distance || frequency_change > merge_distance ||
        rate_change < -merge_distance || rate_change > merge_distance) {
        return false;
    }
    if (entry.status == CANDIDATE_REJECTED && rate_change > 0) {
        entry.status = CANDIDATE_PENDING;
    }
    if (entry.status == CANDIDATE_PENDING) {
        entry.frequency_khz = static_cast<std::uint32_t>(p.frequency_khz);
        if (rate_change > 0) {
            entry.symbol_rate = static_cast<std::uint16_t>(p.symbol_rate_ksps);
        }
    }
    return true;
}

// Insert in ascending frequency. The new place, last, is the one that the caller's count made; the
// records from the insertion on move up by one, the scratch in that place into the spare record.
void insert_sorted(scan_candidate *records, std::uint32_t last, const peak &p) {
    for (std::uint32_t i = 0; i < last; ++i) {
        if (ds3000_context.unicable_enabled == 1 && merge(records[i], p)) {
            return;
        }
        if (frequency_of(records[i]) >= p.frequency_khz) {
            for (std::uint32_t to = last + 1; to > i; --to) {
                records[to] = records[to - 1];
            }
            write_pending(records[i], p);
            return;
        }
    }
    write_pending(records[last], p);
}

// A rejected record changes places with a later one.
void move_behind(scan_candidate &rejected, scan_candidate &other) {
    const peak old{frequency_of(rejected), rejected.symbol_rate};
    rejected.frequency_khz = other.frequency_khz;
    rejected.symbol_rate = other.symbol_rate;
    rejected.status = other.status;
    rejected.code_rate = other.code_rate;
    write_pending(other, old);
    other.status = CANDIDATE_REJECTED;
}

// The first entry at or above the limit, or the count when there is none: 8 bits, and within the
// array.
std::uint32_t compaction_bound(const blind_scan_request &request, std::int32_t limit_khz) {
    const std::uint32_t held = records_within(request, ds3000_context.scan_count);
    std::uint32_t bound = 0;
    while (bound < held && frequency_of(request.candidates[bound]) < limit_khz) {
        ++bound;
    }
    if (bound == held) {
        bound = ds3000_context.scan_count;
    }
    return std::min<std::uint32_t>(static_cast<std::uint8_t>(bound), request.capacity);
}

}  // namespace

extern "C" {

int32_t scan_list_insert(struct blind_scan_request *request, int32_t frequency_khz,
                         uint32_t symbol_rate_ksps, uint8_t pass) {
    const std::uint32_t count = ds3000_context.scan_count;
    if (request->capacity < count) {
        return DS3000_LIST_FULL;
    }
    if (count == 0) {
        return DS3000_BAD_ARGUMENT;
    }
    const peak p{frequency_khz, static_cast<std::int32_t>(symbol_rate_ksps)};
    if (appends(pass)) {
        write_pending(request->candidates[count - 1], p);
    } else {
        insert_sorted(request->candidates, count - 1, p);
    }
    return DS3000_OK;
}

int32_t scan_list_compact(struct blind_scan_request *request, int32_t limit_khz) {
    scan_candidate *records = request->candidates;
    const std::uint32_t bound = compaction_bound(*request, limit_khz);
    std::uint32_t next = 0;
    for (std::uint32_t i = 0; i <= bound; ++i) {
        if (records[i].status != CANDIDATE_REJECTED) {
            continue;
        }
        next = std::max(next, i + 1);
        while (next <= bound && records[next].status == CANDIDATE_REJECTED) {
            ++next;
        }
        if (next > bound) {
            break;
        }
        move_behind(records[i], records[next]);
    }
    return DS3000_OK;
}

}  // extern "C"

}  // namespace ds3000
