// SPDX-License-Identifier: MIT
#include "tests/support/candidate_list.h"

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <ostream>
#include <sstream>
#include <stdexcept>

#include "ds3000/scan/peak_filter.h"
#include "ds3000/scan/scan_list.h"
#include "tests/support/transcript_text.h"

namespace tests {

namespace {

struct Status {
    std::string word;
    std::uint32_t status;
    std::uint32_t code_rate;
};

const Status statuses[] = {{"dvbs", STANDARD_DVBS, CODE_RATE_3_4},
                           {"dvbs2", STANDARD_DVBS2, CODE_RATE_9_10},
                           {"pending", CANDIDATE_PENDING, CODE_RATE_UNKNOWN},
                           {"rejected", CANDIDATE_REJECTED, CODE_RATE_UNKNOWN}};

// The whole units of a number that is written in thousands of them.
std::int32_t units(const std::string &thousands) {
    return static_cast<std::int32_t>(std::lround(std::stod(thousands) * 1000));
}

// The comma-separated parts of a text, each in its words.
std::vector<std::vector<std::string>> parts_of(const std::string &text) {
    std::vector<std::vector<std::string>> parts;
    std::istringstream stream(text);
    for (std::string part; std::getline(stream, part, ',');) {
        parts.push_back(words(part));
    }
    return parts;
}

Record record_of(const std::vector<std::string> &word) {
    if (word.at(0).front() == '~') {
        return scratch(std::stoul(word[0].substr(1)));
    }
    const auto *status = std::find_if(std::begin(statuses), std::end(statuses),
                                      [&word](const Status &s) { return s.word == word[0]; });
    Record record{units(word.at(1)), static_cast<std::uint16_t>(units(word.at(2))), 0, 0};
    if (status == std::end(statuses)) {
        record.status = static_cast<std::uint32_t>(std::stoul(word[0]));
    } else {
        record.status = status->status;
        record.code_rate = status->code_rate;
    }
    if (word.size() > 3) {
        record.code_rate = static_cast<std::uint32_t>(std::stoul(word.at(4)));
    }
    return record;
}

void add_records(ListState &state, const std::string &text) {
    for (std::vector<std::string> word : parts_of(text)) {
        if (word.empty()) {
            continue;
        }
        if (word[0].front() == '>') {
            state.cursor = static_cast<std::uint16_t>(state.records.size());
            word[0].erase(0, 1);
        }
        state.records.push_back(record_of(word));
    }
}

bool is_scratch(const Record &record) { return record == scratch(record.code_rate); }

void add_remarks(ListState &state, const std::string &text) {
    for (const std::vector<std::string> &word : parts_of(text)) {
        if (word.at(0) == "count") {
            state.count = static_cast<std::uint16_t>(std::stoul(word.at(1)));
        } else if (word == words("at end")) {
            state.at_end = 1;
        } else {
            throw std::invalid_argument("no remark about a list: " + text);
        }
    }
}

std::uint16_t reserved_of(std::size_t index) { return static_cast<std::uint16_t>(0xA500 + index); }

}  // namespace

Record scratch(std::size_t index) {
    return {static_cast<std::int32_t>(index), static_cast<std::uint16_t>(index), 0,
            static_cast<std::uint32_t>(index)};
}

ListState list_state(std::string_view text) {
    const std::string whole(text);
    const std::string list = whole.substr(0, whole.find(';'));
    const std::size_t bar = list.find('|');
    ListState state;
    add_records(state, list.substr(0, bar));
    auto counted = state.records.end();
    if (bar == std::string::npos) {
        counted = std::find_if(state.records.begin(), state.records.end(), is_scratch);
    }
    state.count = static_cast<std::uint16_t>(counted - state.records.begin());
    if (bar != std::string::npos) {
        add_records(state, list.substr(bar + 1));
    }
    add_remarks(state, whole.substr(std::min(list.size() + 1, whole.size())));
    return state;
}

Record record(std::string_view text) { return record_of(words(text)); }

std::ostream &operator<<(std::ostream &out, const Record &record) {
    if (is_scratch(record)) {
        return out << '~' << record.code_rate;
    }
    const auto *status =
        std::find_if(std::begin(statuses), std::end(statuses),
                     [&record](const Status &s) { return s.status == record.status; });
    out << (status == std::end(statuses) ? std::to_string(record.status) : status->word)
        << fmt::format(" {} {}", record.frequency_khz / 1000.0, record.symbol_rate / 1000.0);
    if (status == std::end(statuses) || status->code_rate != record.code_rate) {
        out << " code " << record.code_rate;
    }
    return out;
}

std::ostream &operator<<(std::ostream &out, const ListState &state) {
    for (std::size_t i = 0; i < state.records.size(); ++i) {
        out << (i == 0             ? ""
                : i == state.count ? " | "
                                   : ", ")
            << (i == state.cursor ? ">" : "") << state.records[i];
    }
    return out << "; count " << state.count << (state.at_end != 0 ? ", at end" : "");
}

std::ostream &operator<<(std::ostream &out, const ListedPeak &peak) {
    return out << fmt::format("{} {} {}", peak.frequency_khz / 1000.0,
                              peak.symbol_rate_ksps / 1000.0, peak.fate);
}

std::vector<ListedPeak> listed_peaks(std::string_view text) {
    std::vector<ListedPeak> peaks;
    for (const std::vector<std::string> &word : parts_of(std::string(text))) {
        peaks.push_back({units(word.at(0)), units(word.at(1)), word.size() > 2 ? word[2] : ""});
    }
    return peaks;
}

GuardedMemory::GuardedMemory(std::size_t size) {
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

GuardedMemory::~GuardedMemory() { munmap(base_, length_); }

CandidateList::CandidateList(std::uint16_t capacity, const ListState &state)
    : memory_((capacity + std::size_t{1}) * sizeof(scan_candidate)) {
    request.capacity = capacity;
    request.candidates = static_cast<scan_candidate *>(memory_.data());
    for (std::size_t i = 0; i <= capacity; ++i) {
        const Record record = i < state.records.size() ? state.records[i] : scratch(i);
        request.candidates[i] = {static_cast<std::uint32_t>(record.frequency_khz),
                                 record.symbol_rate, reserved_of(i), record.status,
                                 record.code_rate};
    }
    ds3000_context.scan_count = state.count;
    ds3000_context.scan_cursor = state.cursor;
    ds3000_context.scan_cursor_at_end = state.at_end;
}

std::int32_t CandidateList::insert(const ListedPeak &peak, int pass) {
    ++ds3000_context.scan_count;
    return scan_list_insert(&request, peak.frequency_khz,
                            static_cast<std::uint32_t>(peak.symbol_rate_ksps),
                            static_cast<std::uint8_t>(pass));
}

std::string CandidateList::filter(const ListedPeak &peak, int pass) {
    testing::internal::CaptureStderr();
    ds3000::filter_peak(request, peak.frequency_khz, peak.symbol_rate_ksps,
                        static_cast<std::uint8_t>(pass));
    return testing::internal::GetCapturedStderr();
}

Record CandidateList::at(std::size_t index) const {
    const scan_candidate &candidate = request.candidates[index];
    return {static_cast<std::int32_t>(candidate.frequency_khz), candidate.symbol_rate,
            candidate.status, candidate.code_rate};
}

Records CandidateList::records() const {
    Records all;
    for (std::size_t i = 0; i <= request.capacity; ++i) {
        all.push_back(at(i));
    }
    return all;
}

ListState CandidateList::state() const {
    return {records(), ds3000_context.scan_count, ds3000_context.scan_cursor,
            ds3000_context.scan_cursor_at_end};
}

bool CandidateList::reserved_is_untouched() const {
    std::size_t index = 0;
    return std::all_of(request.candidates, request.candidates + request.capacity + 1,
                       [&index](const scan_candidate &candidate) {
                           return candidate.reserved == reserved_of(index++);
                       });
}

}  // namespace tests
