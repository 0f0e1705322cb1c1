// SPDX-License-Identifier: MIT
#include "host/scan/expected_list.h"

#include <algorithm>
#include <array>
#include <cstdlib>

#include "ds3000/chip/ds3000_context.h"
#include "host/session/judge.h"

namespace host {

namespace {

// A tolerance for peaks up to a symbol rate.
struct Tolerance {
    std::int32_t up_to_ksps;
    std::int32_t frequency_khz;
    std::int32_t rate_ksps;
};

// How far a peak's centre may lie from a locked transponder that it covers.
constexpr std::array<Tolerance, 5> covering{{{3'000, 1'000, 0},
                                             {5'000, 2'000, 0},
                                             {10'000, 3'000, 0},
                                             {25'000, 4'000, 0},
                                             {65'535, 7'000, 0}}};

// How much a peak may differ from an undecided or rejected entry that it resembles.
constexpr std::array<Tolerance, 4> resembling{
    {{3'000, 500, 100}, {10'000, 500, 200}, {25'000, 800, 250}, {65'535, 1'000, 400}}};

template <std::size_t count>
const Tolerance &tolerance(const std::array<Tolerance, count> &table, const ReportedPeak &peak) {
    return *std::find_if(table.begin(), table.end() - 1, [&peak](const Tolerance &row) {
        return peak.symbol_rate_ksps <= row.up_to_ksps;
    });
}

std::int32_t if_khz(const scan_candidate &entry) {
    return static_cast<std::int32_t>(entry.frequency_khz);
}

std::int32_t apart_khz(const ReportedPeak &peak, const scan_candidate &entry) {
    return std::abs(peak.if_khz - if_khz(entry));
}

std::int32_t rates_apart(const ReportedPeak &peak, const scan_candidate &entry) {
    return std::abs(peak.symbol_rate_ksps - entry.symbol_rate);
}

scan_candidate undecided(const ReportedPeak &peak) {
    return {static_cast<std::uint32_t>(peak.if_khz),
            static_cast<std::uint16_t>(peak.symbol_rate_ksps), 0, CANDIDATE_PENDING, 0};
}

bool lies_wholly_below(const ReportedPeak &peak, const scan_candidate &entry) {
    return peak.if_khz + peak.symbol_rate_ksps / 2 <= if_khz(entry) - entry.symbol_rate / 2;
}

// A third of a narrow peak, half of a wide one.
bool covers(const ReportedPeak &peak, const scan_candidate &entry) {
    constexpr std::int32_t widest_narrow_ksps = 6'000;
    const std::int32_t common_khz =
        peak.symbol_rate_ksps / 2 + entry.symbol_rate / 2 - apart_khz(peak, entry);
    const std::int32_t parts = peak.symbol_rate_ksps <= widest_narrow_ksps ? 3 : 2;
    return common_khz >= peak.symbol_rate_ksps / parts &&
           apart_khz(peak, entry) <= tolerance(covering, peak).frequency_khz;
}

bool resembles(const ReportedPeak &peak, const scan_candidate &entry) {
    const Tolerance &allowed = tolerance(resembling, peak);
    return apart_khz(peak, entry) <= allowed.frequency_khz &&
           rates_apart(peak, entry) <= allowed.rate_ksps;
}

bool is_known(const ReportedPeak &peak, const scan_candidate &entry) {
    const bool locked = entry.status == STANDARD_DVBS || entry.status == STANDARD_DVBS2;
    return locked ? covers(peak, entry) : resembles(peak, entry);
}

// One transponder seen twice through a unit's steps: an undecided entry follows the newer peak, a
// rejected one gets another trial when that is wider.
bool merge(scan_candidate &entry, const ReportedPeak &peak) {
    constexpr std::int32_t farthest = 999;  // kHz and ksym/s
    if (apart_khz(peak, entry) > farthest || rates_apart(peak, entry) > farthest) {
        return false;
    }
    const bool wider = peak.symbol_rate_ksps > entry.symbol_rate;
    if (entry.status == CANDIDATE_PENDING || (entry.status == CANDIDATE_REJECTED && wider)) {
        const std::uint16_t rate =
            wider ? static_cast<std::uint16_t>(peak.symbol_rate_ksps) : entry.symbol_rate;
        entry.frequency_khz = static_cast<std::uint32_t>(peak.if_khz);
        entry.symbol_rate = rate;
        entry.status = CANDIDATE_PENDING;
    }
    return true;
}

}  // namespace

void ExpectedList::begin_step() {
    cursor_ = 0;
    is_past_end_ = false;
}

std::size_t ExpectedList::held() const { return std::min<std::size_t>(count_, records_.size()); }

const scan_candidate &ExpectedList::at_cursor() const {
    return records_[std::min(cursor_, records_.size() - 1)];
}

void ExpectedList::take(const ReportedPeak &peak, unsigned pass) {
    if (pass == 0 || manner_.passes == 1) {
        insert(peak, pass);
    } else {
        filter(peak, pass);
    }
}

// Returns whether there was room.
bool ExpectedList::insert(const ReportedPeak &peak, unsigned pass) {
    ++count_;
    if (count_ > manner_.capacity) {
        return false;
    }
    if ((pass == 0 || manner_.passes == 1) && !manner_.always_sorted) {
        records_[count_ - 1] = undecided(peak);
    } else {
        insert_sorted(peak);
    }
    return true;
}

void ExpectedList::insert_sorted(const ReportedPeak &peak) {
    const auto new_place = records_.begin() + static_cast<std::ptrdiff_t>(count_ - 1);
    for (auto entry = records_.begin(); entry != new_place; ++entry) {
        if (manner_.merges && merge(*entry, peak)) {
            return;
        }
        if (if_khz(*entry) >= peak.if_khz) {
            std::copy_backward(entry, new_place + 1, new_place + 2);
            *entry = undecided(peak);
            return;
        }
    }
    *new_place = undecided(peak);
}

// The next entry that has been decided. Returns false behind the last one.
bool ExpectedList::move_cursor() {
    do {
        ++cursor_;
    } while (cursor_ < held() && records_[cursor_].status == CANDIDATE_PENDING);
    is_past_end_ = is_past_end_ || cursor_ >= held();
    return cursor_ < held();
}

// Once a step's cursor has passed the list's end, a peak is compared with one entry only.
void ExpectedList::filter(const ReportedPeak &peak, unsigned pass) {
    const bool was_past_end = is_past_end_;
    while (!lies_wholly_below(peak, at_cursor())) {
        if (is_known(peak, at_cursor())) {
            return;
        }
        const std::size_t compared = cursor_;
        if (!move_cursor() || was_past_end) {
            cursor_ = compared;
            insert(peak, pass);
            return;
        }
    }
    insert_below(peak, pass);
}

// The cursor stays with the entry that it goes back to, wherever the insertion has moved that.
void ExpectedList::insert_below(const ReportedPeak &peak, unsigned pass) {
    cursor_ -= cursor_ != 0 ? 1 : 0;
    const std::uint32_t kept_khz = at_cursor().frequency_khz;
    if (!insert(peak, pass)) {
        return;
    }
    const auto end = records_.begin() + static_cast<std::ptrdiff_t>(held());
    const auto kept = std::find_if(records_.begin(), end, [kept_khz](const scan_candidate &entry) {
        return entry.frequency_khz == kept_khz;
    });
    if (kept != end) {
        cursor_ = static_cast<std::size_t>(kept - records_.begin());
    }
}

void ExpectedList::compact() {
    const std::size_t last =
        std::min<std::size_t>(static_cast<std::uint8_t>(count_), manner_.capacity);
    std::stable_partition(
        records_.begin(), records_.begin() + static_cast<std::ptrdiff_t>(last + 1),
        [](const scan_candidate &entry) { return entry.status != CANDIDATE_REJECTED; });
}

bool ExpectedList::repeats_another(std::size_t index, const scan_candidate &locked) const {
    constexpr std::int64_t rate_tolerance_ksps = 50;
    if (locked.symbol_rate >= first_wrapped_rate / 1000) {
        return false;
    }
    for (std::size_t i = 0; i < held(); ++i) {
        const scan_candidate &entry = records_[i];
        const std::int64_t apart = std::int64_t{entry.frequency_khz} - locked.frequency_khz;
        const std::int64_t rates = std::int64_t{entry.symbol_rate} - locked.symbol_rate;
        if (i != index && entry.status == locked.status &&
            std::abs(apart) < entry.symbol_rate / 2 && std::abs(rates) < rate_tolerance_ksps) {
            return true;
        }
    }
    return false;
}

}  // namespace host
