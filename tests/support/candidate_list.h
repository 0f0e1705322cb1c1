// SPDX-License-Identifier: MIT
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <ostream>
#include <stdexcept>
#include <string>
#include <vector>

#include "ds3000/chip/ds3000_context.h"
#include "ds3000/scan/blind_scan.h"

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

inline std::ostream &operator<<(std::ostream &out, const Record &record) {
    return out << '{' << record.frequency_khz << " kHz, " << record.symbol_rate
               << " ksym/s, status " << record.status << ", code " << record.code_rate << '}';
}

inline Record pending(std::int32_t frequency_khz, std::uint16_t symbol_rate) {
    return {frequency_khz, symbol_rate, CANDIDATE_PENDING};
}

inline Record rejected(std::int32_t frequency_khz, std::uint16_t symbol_rate) {
    return {frequency_khz, symbol_rate, CANDIDATE_REJECTED};
}

inline Record dvbs(std::int32_t frequency_khz, std::uint16_t symbol_rate) {
    return {frequency_khz, symbol_rate, STANDARD_DVBS, CODE_RATE_3_4};
}

inline Record dvbs2(std::int32_t frequency_khz, std::uint16_t symbol_rate) {
    return {frequency_khz, symbol_rate, STANDARD_DVBS2, CODE_RATE_9_10};
}

// What a record holds that no candidate was written to yet: recognisable by its index.
inline Record scratch(std::size_t index) {
    return {static_cast<std::int32_t>(index), static_cast<std::uint16_t>(index), 0,
            static_cast<std::uint32_t>(index)};
}

// Memory whose last byte lies in front of a page that can neither be read nor written.
class GuardedMemory {
 public:
    explicit GuardedMemory(std::size_t size) {
        const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
        const std::size_t usable = (size + page - 1) / page * page;
        length_ = usable + page;
        base_ = mmap(nullptr, length_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (base_ == MAP_FAILED) {
            throw std::runtime_error("no memory for a guarded list");
        }
        std::byte *const guard = static_cast<std::byte *>(base_) + usable;
        if (mprotect(guard, page, PROT_NONE) != 0) {
            munmap(base_, length_);
            throw std::runtime_error("no guard behind a list");
        }
        data_ = guard - size;
    }
    ~GuardedMemory() { munmap(base_, length_); }
    GuardedMemory(const GuardedMemory &) = delete;
    GuardedMemory &operator=(const GuardedMemory &) = delete;

    [[nodiscard]] void *data() const { return data_; }

 private:
    void *base_ = nullptr;
    std::size_t length_ = 0;
    std::byte *data_ = nullptr;
};

// A caller's candidate array: capacity + 1 records and not one byte more. The candidates given are
// the first records and are counted in scan_count; the others are scratch.
class CandidateList {
 public:
    CandidateList(std::uint16_t capacity, const Records &candidates)
        : memory_((capacity + std::size_t{1}) * sizeof(scan_candidate)) {
        request.capacity = capacity;
        request.candidates = static_cast<scan_candidate *>(memory_.data());
        for (std::size_t i = 0; i <= capacity; ++i) {
            put(i, i < candidates.size() ? candidates[i] : scratch(i));
            request.candidates[i].reserved = static_cast<std::uint16_t>(0xA500 + i);
        }
        ds3000_context.scan_count = static_cast<std::uint16_t>(candidates.size());
    }

    void put(std::size_t index, const Record &record) const {
        scan_candidate &candidate = request.candidates[index];
        candidate.frequency_khz = static_cast<std::uint32_t>(record.frequency_khz);
        candidate.symbol_rate = record.symbol_rate;
        candidate.status = record.status;
        candidate.code_rate = record.code_rate;
    }

    [[nodiscard]] Record at(std::size_t index) const {
        const scan_candidate &candidate = request.candidates[index];
        return {static_cast<std::int32_t>(candidate.frequency_khz), candidate.symbol_rate,
                candidate.status, candidate.code_rate};
    }

    // All of the array, the spare record included.
    [[nodiscard]] Records records() const {
        Records all;
        for (std::size_t i = 0; i <= request.capacity; ++i) {
            all.push_back(at(i));
        }
        return all;
    }

    blind_scan_request request{};

 private:
    GuardedMemory memory_;
};

}  // namespace tests
