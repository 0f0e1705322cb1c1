// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "ds3000/scan/scan_request.h"

namespace host {

// A plausible peak as a scan reports it.
struct ReportedPeak {
    std::int32_t if_khz = 0;
    std::int32_t symbol_rate_ksps = 0;
};

// What decides how a scan keeps its list.
struct ListManner {
    std::uint16_t capacity = 0;
    std::uint8_t passes = 0;
    bool always_sorted = false;  // peaks come in falling order: DS300X with a mirrored spectrum
    bool merges = false;         // through a Unicable unit, whose steps move a peak a little
};

// The candidate list of a blind scan as it has to be after the peaks and decisions that the scan
// has told of.
//
// The first pass appends. Later ones compare a peak with the entries that the list's cursor has not
// passed yet, in the order of the list: a peak is dropped where it covers a locked transponder or
// resembles an entry that is not locked, and else inserted in ascending frequency.
class ExpectedList {
 public:
    explicit ExpectedList(const ListManner &manner)
        : manner_(manner), records_(manner.capacity + 1U) {}

    void begin_step();
    void take(const ReportedPeak &peak, unsigned pass);
    void put(std::size_t index, const scan_candidate &record) { records_.at(index) = record; }
    void reject(std::size_t index) { records_.at(index).status = CANDIDATE_REJECTED; }

    // The rejected ones go behind the others, as far as an index of 8 bits counts; the record
    // behind the last candidate takes part.
    void compact();

    // Peaks counted in, those that found the list full included.
    [[nodiscard]] std::uint32_t count() const { return count_; }

    // Those of them that have a record.
    [[nodiscard]] std::size_t held() const;

    // All that the list's owner has lent, the spare record included.
    [[nodiscard]] const std::vector<scan_candidate> &records() const { return records_; }

    // Whether an entry other than that one is the same transponder, locked in the same standard.
    // Symbol rates that the driver reads back wrapped, it never knows again.
    [[nodiscard]] bool repeats_another(std::size_t index, const scan_candidate &locked) const;

 private:
    bool insert(const ReportedPeak &peak, unsigned pass);
    void insert_sorted(const ReportedPeak &peak);
    void filter(const ReportedPeak &peak, unsigned pass);
    void insert_below(const ReportedPeak &peak, unsigned pass);
    bool move_cursor();
    [[nodiscard]] const scan_candidate &at_cursor() const;

    ListManner manner_;
    std::vector<scan_candidate> records_;
    std::uint32_t count_ = 0;
    std::size_t cursor_ = 0;
    bool is_past_end_ = false;
};

}  // namespace host
