// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "ds3000/scan/scan_request.h"
#include "host/scan/expected_list.h"

namespace host {

// The driver's side of a scan at an event.
struct ScanBooks {
    std::span<const scan_candidate>
        records;               // what was lent, the spare one included, and those behind
    std::uint32_t count = 0;   // of candidates
    std::uint32_t locked = 0;  // as the request says
};

// A scan as it is asked for.
struct WitnessedScan {
    scan_algorithm algorithm = SCAN_ALGO_SWEEP;
    std::uint32_t start_khz = 0;
    std::uint32_t stop_khz = 0;
    ListManner list;
    std::vector<scan_candidate> behind;  // the list, in its owner's memory
};

// Hears what a blind scan tells and holds its list against that, event by event: each pass goes up
// the band once and reports the peaks that it is for; peaks enter the list by the list's rules;
// every candidate is decided once, in the order of the list, and when the algorithm says; what is
// listed as locked was told, and nothing else; nothing is left undecided. It stops listening at the
// first thing that is wrong, for what follows from that is no news.
class ScanWitness {
 public:
    explicit ScanWitness(WitnessedScan scan)
        : scan_(std::move(scan)), list_(scan_.list), step_khz_(scan_.start_khz) {}

    // An event with its argument, before anybody has answered it.
    void hear(std::uint32_t event, const void *argument, const ScanBooks &driver);

    // The scan was called off while it tried the candidate in a standard: one that has the other
    // standard still before it is not decided.
    void hear_abandoned(const scan_candidate &candidate, std::uint32_t standard);

    // The scan has returned, and was not called off.
    void hear_end(const ScanBooks &driver);

    // What was wrong first; empty where nothing was.
    [[nodiscard]] const std::string &objection() const { return objection_; }

 private:
    // What is going on in a pass.
    enum class Phase : std::uint8_t { before, searching, pass_over, finished };

    void object(const std::string &what);
    void hear_peak(const ReportedPeak &peak);
    void hear_step(std::uint32_t if_khz);
    void hear_lock(const void *record, const ScanBooks &driver);
    void hear_failure(const void *record, const ScanBooks &driver);
    void hear_finish(const ScanBooks &driver);
    void begin_pass_if_due();
    void expect_order(std::size_t index);
    void expect_nothing_undecided();
    void compare_behind(const ScanBooks &driver);
    void adopt_repeated(const ScanBooks &driver);
    void compare(const ScanBooks &driver, std::size_t except);
    [[nodiscard]] std::size_t decided_record(const void *record, const ScanBooks &driver);
    [[nodiscard]] bool is_seen_twice(const scan_candidate &candidate) const;

    WitnessedScan scan_;
    ExpectedList list_;
    Phase phase_ = Phase::before;
    unsigned pass_ = 0;
    std::uint32_t step_khz_;
    unsigned locked_ = 0;
    std::string objection_;
};

}  // namespace host
