// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <atomic>
#include <cstdint>

#include "ds3000/chip/ds3000_context.h"
#include "ds3000/scan/scan_request.h"

namespace ds3000 {

// The tuner's filter at its widest, for looking at the spectrum.
inline constexpr std::uint32_t search_filter_ksps = 40000;

// The one field of the scan that another thread writes.
inline bool scan_cancelled() {
    return std::atomic_ref(ds3000_context.scan_cancel).load(std::memory_order_relaxed) != 0;
}

inline void clear_scan_cancel() {
    std::atomic_ref(ds3000_context.scan_cancel).store(0, std::memory_order_relaxed);
}

inline void notify(scan_event event, void *argument) {
    ds3000_context.scan_callback(event, argument);
}

// Where a walk over counted records has to end: the caller promised capacity + 1 records, and a
// count may exceed the capacity after a peak was refused.
inline std::uint32_t records_within(const blind_scan_request &request, std::uint32_t count) {
    return std::min(count, std::uint32_t{request.capacity} + 1U);
}

inline std::int32_t frequency_of(const scan_candidate &candidate) {
    return static_cast<std::int32_t>(candidate.frequency_khz);
}

inline bool is_locked(const scan_candidate &candidate) {
    return candidate.status == STANDARD_DVBS || candidate.status == STANDARD_DVBS2;
}

// Bins of the spectrum engine, 96000/512 kHz each, in whole kHz.
constexpr std::int32_t khz_of_bins(std::int32_t bins) { return bins * 96000 / 512; }

}  // namespace ds3000
