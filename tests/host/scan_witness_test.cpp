// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <vector>

#include "ds3000/chip/ds3000_context.h"
#include "host/scan/scan_witness.h"

namespace tests {
namespace {

using host::ScanBooks;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr scan_candidate behind{1'500'000, 22'000, 0, CANDIDATE_PENDING, 0};

// A driver's side of a scan from 1000 to 1100 MHz in one pass, with a list of four records, the
// spare one, and one behind.
class ScanWitness : public testing::Test {
 protected:
    void start() { witness.hear(SCAN_EVENT_STARTED, nullptr, books()); }

    void peak(std::uint32_t khz, std::uint16_t ksps) {
        const std::array<std::uint32_t, 2> argument{khz, ksps};
        witness.hear(SCAN_EVENT_PEAK, argument.data(), books());
        records.at(count++) = {khz, ksps, 0, CANDIDATE_PENDING, 0};
    }

    void step_to(std::uint32_t khz) { witness.hear(SCAN_EVENT_PROGRESS, &khz, books()); }

    void lock(std::size_t index) {
        records.at(index).status = STANDARD_DVBS2;
        records.at(index).code_rate = CODE_RATE_2_3;
        ++locked;
        witness.hear(SCAN_EVENT_LOCKED, &records.at(index), books());
    }

    void fail(std::size_t index) {
        witness.hear(SCAN_EVENT_FAILED, &records.at(index), books());
        records.at(index).status = CANDIDATE_REJECTED;
    }

    // With the rejected ones behind the others.
    void finish() {
        std::stable_partition(
            records.begin(), records.begin() + count + 1,
            [](const scan_candidate &record) { return record.status != CANDIDATE_REJECTED; });
        witness.hear(SCAN_EVENT_FINISHED, nullptr, books());
        witness.hear_end(books());
    }

    // Three candidates are found in the two steps of the pass.
    void search() {
        start();
        peak(1'010'000, 20'000);
        peak(1'040'000, 20'000);
        step_to(1'050'000);
        peak(1'090'000, 10'000);
        step_to(1'100'000);
    }

    [[nodiscard]] ScanBooks books() const { return {records, count, locked}; }

    std::vector<scan_candidate> records{{}, {}, {}, {}, {}, behind};
    std::uint32_t count = 0;
    std::uint32_t locked = 0;
    host::ScanWitness witness{
        {SCAN_ALGO_SWEEP, 1'000'000, 1'100'000, {4, 1, false, false}, {behind}}};
};

TEST_F(ScanWitness, has_no_objection_to_a_scan_by_the_rules) {
    search();
    lock(0);
    fail(1);
    lock(2);
    finish();
    EXPECT_THAT(witness.objection(), IsEmpty());
}

TEST_F(ScanWitness, lets_a_transponder_seen_twice_be_rejected_without_a_word) {
    search();
    lock(0);
    records.at(1).status = CANDIDATE_REJECTED;
    lock(2);
    finish();
    EXPECT_THAT(witness.objection(), IsEmpty()) << "30 MHz off is within both symbol rates";
}

TEST_F(ScanWitness, objects_to_another_one_that_is_rejected_without_a_word) {
    search();
    fail(0);
    records.at(1).status = CANDIDATE_REJECTED;
    lock(2);
    EXPECT_THAT(witness.objection(), HasSubstr("decides on record 2 before record 1"));
}

TEST_F(ScanWitness, objects_to_candidates_of_an_earlier_scan) {
    count = 2;
    start();
    peak(1'010'000, 20'000);
    EXPECT_THAT(witness.objection(), HasSubstr("counts 2 candidates, its peaks come to 0"));
}

TEST_F(ScanWitness, objects_to_a_search_that_ends_early) {
    start();
    peak(1'010'000, 20'000);
    finish();
    EXPECT_THAT(witness.objection(), HasSubstr("the search ends at 1000000 kHz"));
}

TEST_F(ScanWitness, objects_to_a_search_that_stands_still) {
    start();
    step_to(1'020'000);
    step_to(1'020'000);
    EXPECT_THAT(witness.objection(), HasSubstr("from 1020000 kHz to 1020000 kHz"));
}

TEST_F(ScanWitness, objects_to_what_is_left_undecided) {
    search();
    lock(0);
    lock(1);
    finish();
    EXPECT_THAT(witness.objection(), HasSubstr("before record 2, 1090000 kHz"));
}

TEST_F(ScanWitness, objects_to_a_decision_before_its_time) {
    start();
    peak(1'010'000, 20'000);
    fail(0);
    EXPECT_THAT(witness.objection(), HasSubstr("before the search of the pass is over"));
}

TEST_F(ScanWitness, objects_to_a_transponder_that_is_listed_twice) {
    search();
    lock(0);
    records.at(1).frequency_khz = 1'012'000;
    lock(1);
    EXPECT_THAT(witness.objection(), HasSubstr("lock 2 as of its 2. one: 1012000 kHz"));
}

TEST_F(ScanWitness, objects_to_a_record_that_changes_afterwards) {
    search();
    lock(0);
    records.at(0).code_rate = 0;
    fail(1);
    EXPECT_THAT(witness.objection(), HasSubstr("status 5, code rate 0; by its peaks"));
}

TEST_F(ScanWitness, objects_to_a_list_that_is_not_compacted) {
    search();
    fail(0);
    lock(1);
    lock(2);
    witness.hear(SCAN_EVENT_FINISHED, nullptr, books());
    EXPECT_THAT(witness.objection(), HasSubstr("record 0 of the list at the end"));
}

TEST_F(ScanWitness, objects_to_a_write_behind_the_list) {
    search();
    records.back().status = CANDIDATE_REJECTED;
    lock(0);
    EXPECT_THAT(witness.objection(), HasSubstr("behind the list it writes"));
}

TEST_F(ScanWitness, objects_to_a_peak_that_no_pass_is_for) {
    start();
    peak(1'010'000, 1'600);
    EXPECT_THAT(witness.objection(), HasSubstr("1600 ksym/s, in a pass for 1601 to 45000"));
}

TEST_F(ScanWitness, objects_to_a_rejection_that_comes_too_early_when_it_is_called_off) {
    search();
    records[0].status = CANDIDATE_REJECTED;
    witness.hear_abandoned(records[1], STANDARD_DVBS);
    witness.hear_abandoned(records[0], STANDARD_DVBS2);
    EXPECT_EQ(witness.objection(), "");
    witness.hear_abandoned(records[0], STANDARD_DVBS);
    EXPECT_THAT(witness.objection(), HasSubstr("not tried in DVB-S2: 1010000 kHz"));
}

TEST_F(ScanWitness, objects_to_words_behind_the_end) {
    search();
    fail(0);
    fail(1);
    fail(2);
    finish();
    step_to(1'100'000);
    EXPECT_THAT(witness.objection(), HasSubstr("after it has ended"));
}

}  // namespace
}  // namespace tests
