// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <iosfwd>
#include <string>
#include <string_view>
#include <vector>

#include "ds3000/chip/ds3000_context.h"
#include "ds3000/scan/scan_request.h"

namespace tests {

// A scan_candidate as the tests write it down. The reserved half-word is not part of it.
struct Record {
    std::int32_t frequency_khz;
    std::uint16_t symbol_rate;
    std::uint32_t status;
    std::uint32_t code_rate = 0;

    bool operator==(const Record &) const = default;
};

using Records = std::vector<Record>;

// Values to go through, in the width of their parameter.
using Bytes = std::initializer_list<std::uint8_t>;
using Words = std::initializer_list<std::uint16_t>;

// What a record holds that no candidate was written to yet: recognisable by its index.
Record scratch(std::size_t index);

// A candidate array and what the scan keeps of it. Tests write it in MHz and Msym/s:
//
//   dvbs 1200 30, >pending 1250.5 22, rejected 1300 27.5 | ~3, ~4; count 5, at end
//
// A record is its status, frequency and symbol rate: dvbs (code rate 3/4), dvbs2 (9/10), pending,
// rejected (both without a code rate), or the number of another status; "code 9" behind it gives
// another code rate. ~3 is the scratch of record 3. Counted are the records in front of "|", where
// that is missing those in front of the first scratch, or as many as "count" says. ">" marks the
// cursor, which is else at record 0; "at end" says that the search ran past the last entry.
struct ListState {
    Records records;
    std::uint16_t count = 0;
    std::uint16_t cursor = 0;
    std::uint8_t at_end = 0;

    bool operator==(const ListState &) const = default;
};

// Throws for a text that is none.
ListState list_state(std::string_view text);

// One record, without a mark.
Record record(std::string_view text);

// A peak in the same units, with what becomes of it where that is worth a word: "1250 22 overlap".
struct ListedPeak {
    std::int32_t frequency_khz;
    std::int32_t symbol_rate_ksps;
    std::string fate{};
};

// "1250 22, 1300.1 27.5 overlap"
std::vector<ListedPeak> listed_peaks(std::string_view text);

// In failure messages: as the tests write it.
std::ostream &operator<<(std::ostream &out, const Record &record);
std::ostream &operator<<(std::ostream &out, const ListState &state);
std::ostream &operator<<(std::ostream &out, const ListedPeak &peak);

// Memory whose last byte lies in front of a page that can neither be read nor written.
class GuardedMemory {
 public:
    explicit GuardedMemory(std::size_t size);
    ~GuardedMemory();
    GuardedMemory(const GuardedMemory &) = delete;
    GuardedMemory &operator=(const GuardedMemory &) = delete;

    [[nodiscard]] void *data() const { return data_; }

 private:
    void *base_ = nullptr;
    std::size_t length_ = 0;
    std::byte *data_ = nullptr;
};

// A caller's candidate array: capacity + 1 records and not one byte more. The records that are not
// given are scratch. What the state says of count, cursor and end is put into the context.
class CandidateList {
 public:
    CandidateList(std::uint16_t capacity, const ListState &state);
    CandidateList(std::uint16_t capacity, std::string_view state)
        : CandidateList(capacity, list_state(state)) {}

    // All of the records are candidates.
    CandidateList(std::uint16_t capacity, const Records &candidates)
        : CandidateList(capacity, {candidates, static_cast<std::uint16_t>(candidates.size())}) {}

    // Insert a peak as the peak reader does it: count first.
    std::int32_t insert(const ListedPeak &peak, int pass = 1);

    // What the driver prints when a peak goes through the filter of the later passes.
    std::string filter(const ListedPeak &peak, int pass = 1);

    [[nodiscard]] Record at(std::size_t index) const;

    // All of the array, the spare record included.
    [[nodiscard]] Records records() const;

    // The same with what the context says of it.
    [[nodiscard]] ListState state() const;

    // Whether the reserved half-words are as they were, record by record.
    [[nodiscard]] bool reserved_is_untouched() const;

    blind_scan_request request{};

 private:
    GuardedMemory memory_;
};

}  // namespace tests
