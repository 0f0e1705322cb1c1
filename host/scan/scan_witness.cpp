// SPDX-License-Identifier: MIT
#include "host/scan/scan_witness.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>
#include <tuple>
#include <vector>

#include "ds3000/chip/ds3000_context.h"

namespace host {

namespace {

constexpr std::uint32_t last_step_khz = 2'149'000;
constexpr std::size_t no_record = SIZE_MAX;

bool is_lock(const scan_candidate &candidate) {
    return candidate.status == STANDARD_DVBS || candidate.status == STANDARD_DVBS2;
}

auto members(const scan_candidate &candidate) {
    return std::tuple(candidate.frequency_khz, candidate.symbol_rate, candidate.status,
                      candidate.code_rate);
}

std::string words(const scan_candidate &candidate) {
    return fmt::format("{} kHz, {} ksym/s, status {}, code rate {}", candidate.frequency_khz,
                       candidate.symbol_rate, candidate.status, candidate.code_rate);
}

// What a list holds after the compaction: the order of the rejected is nobody's business.
std::vector<scan_candidate> with_rejected_sorted(std::span<const scan_candidate> records) {
    std::vector<scan_candidate> sorted(records.begin(), records.end());
    auto run = sorted.begin();
    const auto is_rejected = [](const scan_candidate &c) { return c.status == CANDIDATE_REJECTED; };
    while (run != sorted.end()) {
        run = std::find_if(run, sorted.end(), is_rejected);
        const auto end = std::find_if_not(run, sorted.end(), is_rejected);
        std::sort(run, end, [](const scan_candidate &a, const scan_candidate &b) {
            return members(a) < members(b);
        });
        run = end;
    }
    return sorted;
}

}  // namespace

void ScanWitness::object(const std::string &what) {
    if (objection_.empty()) {
        objection_ = fmt::format("pass {}: {}", pass_ + 1, what);
    }
}

void ScanWitness::hear(std::uint32_t event, const void *argument, const ScanBooks &driver) {
    if (!objection_.empty()) {
        return;
    }
    if (phase_ == Phase::finished || (phase_ == Phase::before) != (event == SCAN_EVENT_STARTED)) {
        object("it tells of something before it starts, or after it has ended");
        return;
    }
    switch (event) {
        case SCAN_EVENT_STARTED:
            phase_ = Phase::searching;
            return;
        case SCAN_EVENT_PEAK: {
            const auto *const peak = static_cast<const std::int32_t *>(argument);
            adopt_repeated(driver);
            compare(driver, no_record);
            return hear_peak({peak[0], peak[1]});
        }
        case SCAN_EVENT_PROGRESS:
            adopt_repeated(driver);
            compare(driver, no_record);
            return hear_step(*static_cast<const std::uint32_t *>(argument));
        case SCAN_EVENT_LOCKED:
            return hear_lock(argument, driver);
        case SCAN_EVENT_FAILED:
            return hear_failure(argument, driver);
        case SCAN_EVENT_FINISHED:
            return hear_finish(driver);
        default:
            object(fmt::format("event {}", event));
    }
}

// After a pass that came to its end, whatever it is that the search tells of begins the next one.
void ScanWitness::begin_pass_if_due() {
    if (phase_ != Phase::pass_over) {
        return;
    }
    expect_nothing_undecided();
    phase_ = Phase::searching;
    step_khz_ = scan_.start_khz;
    ++pass_;
    if (pass_ >= scan_.list.passes) {
        object("there is one more pass than was asked for");
    }
}

// What the passes are for: of several the first one for wide carriers, the third for narrow ones.
void ScanWitness::hear_peak(const ReportedPeak &peak) {
    constexpr std::int32_t lowest_khz = 950'000;
    constexpr std::int32_t wide_ksps = 9'600;
    constexpr std::int32_t narrow_ksps = 14'600;
    begin_pass_if_due();
    const std::int32_t least = pass_ == 0 && scan_.list.passes > 1 ? wide_ksps : 1'601;
    const std::int32_t most = pass_ == 2 ? narrow_ksps : 45'000;
    if (peak.if_khz < lowest_khz || peak.symbol_rate_ksps < least || peak.symbol_rate_ksps > most) {
        object(fmt::format("a peak at {} kHz, {} ksym/s, in a pass for {} to {} ksym/s",
                           peak.if_khz, peak.symbol_rate_ksps, least, most));
    }
    list_.take(peak, pass_);
}

void ScanWitness::hear_step(std::uint32_t if_khz) {
    begin_pass_if_due();
    if (if_khz < step_khz_ || (if_khz == step_khz_ && if_khz != last_step_khz)) {
        object(fmt::format("the search goes from {} kHz to {} kHz", step_khz_, if_khz));
    }
    if (scan_.algorithm == SCAN_ALGO_STEPWISE) {
        expect_nothing_undecided();
    }
    const bool was_last = step_khz_ == last_step_khz;
    step_khz_ = if_khz;
    list_.begin_step();
    if (if_khz >= scan_.stop_khz || was_last) {
        phase_ = Phase::pass_over;
    }
}

// The record's index; what it holds is for the driver to say, what the others hold is not.
std::size_t ScanWitness::decided_record(const void *record, const ScanBooks &driver) {
    const auto *const candidate = static_cast<const scan_candidate *>(record);
    const auto index = static_cast<std::size_t>(candidate - driver.records.data());
    if (candidate < driver.records.data() || index >= list_.held()) {
        object("it decides what is in no list");
        return no_record;
    }
    if (scan_.algorithm == SCAN_ALGO_SWEEP && phase_ != Phase::pass_over) {
        object("it decides before the search of the pass is over");
    }
    if (list_.records()[index].status != CANDIDATE_PENDING) {
        object(fmt::format("it decides again on {}", words(list_.records()[index])));
    }
    adopt_repeated(driver);
    expect_order(index);
    return objection_.empty() ? index : no_record;
}

void ScanWitness::hear_lock(const void *record, const ScanBooks &driver) {
    const std::size_t index = decided_record(record, driver);
    if (index == no_record) {
        return;
    }
    compare(driver, index);
    const scan_candidate &locked = driver.records[index];
    ++locked_;
    if (!is_lock(locked) || list_.repeats_another(index, locked) || driver.locked != locked_) {
        object(fmt::format("it tells of lock {} as of its {}. one: {}", locked_, driver.locked,
                           words(locked)));
    }
    list_.put(index, locked);
}

void ScanWitness::hear_failure(const void *record, const ScanBooks &driver) {
    const std::size_t index = decided_record(record, driver);
    if (index != no_record) {
        compare(driver, no_record);
        list_.reject(index);
    }
}

void ScanWitness::hear_abandoned(const scan_candidate &candidate, std::uint32_t standard) {
    if (candidate.status == CANDIDATE_REJECTED && standard == STANDARD_DVBS) {
        object(fmt::format("called off, it rejects what was not tried in DVB-S2: {}",
                           words(candidate)));
    }
}

void ScanWitness::expect_order(std::size_t index) {
    for (std::size_t i = 0; i < index; ++i) {
        if (list_.records()[i].status == CANDIDATE_PENDING) {
            object(fmt::format("it decides on record {} before record {}, {}", index, i,
                               words(list_.records()[i])));
        }
    }
}

void ScanWitness::expect_nothing_undecided() { expect_order(list_.held()); }

// Whether a transponder that is locked already may be what the candidate is.
bool ScanWitness::is_seen_twice(const scan_candidate &candidate) const {
    const auto &records = list_.records();
    return std::any_of(records.begin(), records.end(), [&candidate](const scan_candidate &entry) {
        const std::int64_t apart = std::int64_t{entry.frequency_khz} - candidate.frequency_khz;
        return is_lock(entry) && std::abs(apart) <= entry.symbol_rate / 2 + candidate.symbol_rate;
    });
}

// A candidate that turns out to be listed already is rejected without a word.
void ScanWitness::adopt_repeated(const ScanBooks &driver) {
    for (std::size_t i = 0; i < list_.held(); ++i) {
        if (list_.records()[i].status == CANDIDATE_PENDING &&
            driver.records[i].status == CANDIDATE_REJECTED && is_seen_twice(list_.records()[i])) {
            list_.reject(i);
        }
    }
}

void ScanWitness::compare(const ScanBooks &driver, std::size_t except) {
    if (driver.count != list_.count()) {
        object(fmt::format("the list counts {} candidates, its peaks come to {}", driver.count,
                           list_.count()));
        return;
    }
    const auto &records = list_.records();
    for (std::size_t i = 0; i < records.size(); ++i) {
        if (i != except && members(records[i]) != members(driver.records[i])) {
            object(fmt::format("record {} of the list holds {}; by its peaks and decisions {}", i,
                               words(driver.records[i]), words(records[i])));
            return;
        }
    }
    compare_behind(driver);
}

void ScanWitness::compare_behind(const ScanBooks &driver) {
    for (std::size_t i = 0; i < scan_.behind.size(); ++i) {
        const scan_candidate &record = driver.records[list_.records().size() + i];
        if (members(record) != members(scan_.behind[i])) {
            object(fmt::format("behind the list it writes {}", words(record)));
        }
    }
}

// The last candidates may have been rejected without a word, and the list is compacted.
void ScanWitness::hear_finish(const ScanBooks &driver) {
    if (phase_ != Phase::pass_over) {
        object(fmt::format("the search ends at {} kHz", step_khz_));
    }
    phase_ = Phase::finished;
    for (std::size_t i = 0; i < list_.held(); ++i) {
        const scan_candidate &candidate = list_.records()[i];
        if (candidate.status == CANDIDATE_PENDING && is_seen_twice(candidate)) {
            list_.reject(i);
        }
    }
    expect_nothing_undecided();
    list_.compact();
    const auto expected = with_rejected_sorted(list_.records());
    const auto present = with_rejected_sorted(driver.records.first(expected.size()));
    const auto differ =
        std::mismatch(expected.begin(), expected.end(), present.begin(), present.end(),
                      [](const auto &a, const auto &b) { return members(a) == members(b); });
    if (differ.first != expected.end()) {
        object(fmt::format(
            "record {} of the list at the end holds {}; by its peaks and decisions "
            "{}",
            differ.first - expected.begin(), words(*differ.second), words(*differ.first)));
    }
    compare_behind(driver);
}

void ScanWitness::hear_end(const ScanBooks &driver) {
    if (phase_ != Phase::finished) {
        object("it ends without saying so");
    } else if (pass_ + 1 != scan_.list.passes) {
        object(fmt::format("{} passes were asked for", scan_.list.passes));
    } else if (driver.locked != locked_) {
        object(fmt::format("it counts {} locks and has told of {}", driver.locked, locked_));
    }
}

}  // namespace host
