// SPDX-License-Identifier: MIT
#include "ds3000/scan/scan_list.h"

#include <fmt/format.h>

#include <algorithm>

#include "tests/support/candidate_list.h"
#include "tests/support/chip_test.h"
#include "tests/support/each.h"

namespace {

using tests::Bytes;
using tests::CandidateList;
using tests::each;
using tests::list_state;
using tests::ListState;
using tests::Record;
using tests::record;
using tests::Records;
using tests::scratch;
using tests::Words;

class ScanListInsert : public tests::ChipTest {
 protected:
    ScanListInsert() { ds3000_context.scan_passes = 2; }
};

TEST_F(ScanListInsert, appends_or_sorts_by_pass_spectrum_and_chip) {
    struct Row {
        const char *name;
        std::vector<int> chips;
        std::vector<int> inverted;
        std::vector<int> passes;
        std::vector<int> pass;
        const char *after;
    };
    const char *appended = "pending 1300 22, pending 1100 27.5, ~2";
    const char *sorted = "pending 1100 27.5, pending 1300 22, ~1";
    const std::vector<int> every_chip{0, CHIP_DS300X, CHIP_DS3002B, CHIP_DS3103, CHIP_UNKNOWN};
    // clang-format off
    const Row rows[] = {
        {"every pass of a scan of one pass appends", {0}, {0}, {1}, {0, 1, 2, 255}, appended},
        {"the first pass appends with a normal spectrum", every_chip, {0}, {2}, {0}, appended},
        {"the first pass of a DS3002B or DS3103 appends with an inverted spectrum",
         {CHIP_DS3002B, CHIP_DS3103}, {1}, {2}, {0}, appended},
        {"every pass of a DS300X sorts with an inverted spectrum",
         {CHIP_DS300X}, {1}, {1, 2, 3}, {0, 1, 2}, sorted},
        {"an unidentified chip sorts with an inverted spectrum",
         {0, CHIP_UNKNOWN}, {1}, {2}, {0}, sorted},
        {"a later pass sorts whatever the spectrum and the chip",
         {CHIP_DS300X, CHIP_DS3002B, CHIP_DS3103}, {0, 1}, {2}, {1}, sorted},
    };
    // clang-format on
    for_each_row(rows, [&](const auto &row) {
        each(
            [&](int chip, int inverted, int passes, int pass) {
                SCOPED_TRACE(testing::Message()
                             << row.name << ": chip " << chip << ", inverted " << inverted
                             << ", pass " << pass << " of " << passes);
                ds3000_context.chip_type = chip;
                ds3000_context.spectrum_inverted = static_cast<std::uint8_t>(inverted);
                ds3000_context.scan_passes = static_cast<std::uint32_t>(passes);
                CandidateList list(2, "pending 1300 22");
                EXPECT_EQ(list.insert({1100000, 27500}, pass), DS3000_OK);
                EXPECT_EQ(list.state(), list_state(row.after));
            },
            row.chips, row.inverted, row.passes, row.pass);
    });
}

// Peaks taken into a list one after the other; "full" is one that is refused.
struct Insertion {
    const char *name;
    const char *before;
    const char *peaks;
    const char *after;
    std::uint8_t pass = 1;
    std::uint8_t unicable = 0;
    std::int32_t inverted_chip = 0;  // with an inverted spectrum; 0: a normal one
};

void check(const Insertion &row) {
    ds3000_context.unicable_enabled = row.unicable;
    ds3000_context.chip_type = row.inverted_chip;
    ds3000_context.spectrum_inverted = row.inverted_chip != 0 ? 1 : 0;
    const ListState after = list_state(row.after);
    CandidateList list(static_cast<std::uint16_t>(after.records.size() - 1), row.before);
    for (const tests::ListedPeak &peak : tests::listed_peaks(row.peaks)) {
        EXPECT_EQ(list.insert(peak, row.pass), peak.fate == "full" ? DS3000_LIST_FULL : DS3000_OK);
    }
    EXPECT_EQ(list.state(), after);
}

// clang-format off
constexpr Insertion insertions[] = {
    {"a first pass with a normal spectrum keeps the order of discovery",
     "", "1300 22, 1100 27.5, 1200 5",
     "pending 1300 22, pending 1100 27.5, pending 1200 5, ~3, ~4", 0},
    {"falling peaks of an inverted DS300X end up rising",
     "", "1300 22, 1200 27.5, 1100 5",
     "pending 1100 5, pending 1200 27.5, pending 1300 22, ~1; count 3", 0, 0, CHIP_DS300X},
    {"the first candidate of a sorted list is written at the front",
     "", "1200 22", "pending 1200 22, ~1, ~2"},
    {"a lower frequency goes to the front and moves all records up",
     "dvbs 1100 22, rejected 1200 27.5", "1050 6",
     "pending 1050 6, dvbs 1100 22, rejected 1200 27.5 | ~2, ~4"},
    {"a frequency between two entries moves the higher ones up",
     "dvbs 1100 22, dvbs2 1200 27.5, pending 1300 3", "1100.001 6",
     "dvbs 1100 22, pending 1100.001 6, dvbs2 1200 27.5, pending 1300 3 | ~3"},
    {"a higher frequency goes to the end and moves nothing",
     "dvbs 1100 22, dvbs2 1200 27.5", "1200.001 6",
     "dvbs 1100 22, dvbs2 1200 27.5, pending 1200.001 6, ~3, ~4"},
    {"an equal frequency goes before the entries that have it",
     "dvbs 1100 22, dvbs2 1200 27.5, rejected 1200 9", "1200 6",
     "dvbs 1100 22, pending 1200 6, dvbs2 1200 27.5, rejected 1200 9 | ~3"},
    {"in an unsorted list the first entry not lower is the place",
     "dvbs 1100 22, dvbs 1300 27.5, dvbs 1150 27.5", "1200 6",
     "dvbs 1100 22, pending 1200 6, dvbs 1300 27.5, dvbs 1150 27.5 | ~3"},
    {"the scratch record moves into the spare one when the list becomes full",
     "dvbs 1200 22 | rejected 1900 4.321", "1100 6",
     "pending 1100 6, dvbs 1200 22 | rejected 1900 4.321"},
    {"the scratch record takes no part in the search for the place",
     "dvbs 1200 22 | dvbs 1900 4.321", "1300 6", "dvbs 1200 22, pending 1300 6, ~2"},
    {"a list of one record takes one candidate",
     "", "1200 22, 1100 22 full", "pending 1200 22, ~1; count 2"},
    {"frequencies are compared as signed",
     "dvbs -0.1 22, dvbs 1200 27.5", "0.005 6, -0.2 7",
     "pending -0.2 7, dvbs -0.1 22, pending 0.005 6, dvbs 1200 27.5 | ~2"},
    {"an appended record keeps the low 16 bits of the rate",
     "", "1200 74.565", "pending 1200 9.029, ~1", 0},  // 0x12345, 0x2345
    {"an inserted record keeps the low 16 bits of the rate",
     "pending 1200 9", "1300 131.071", "pending 1200 9, pending 1300 65.535, ~2"},
    {"an appending pass gives the last place of the capacity away",
     "pending 1100 22", "1200 6", "pending 1100 22, pending 1200 6, ~2", 0},
    {"a sorting pass gives the last place of the capacity away",
     "pending 1100 22", "1200 6", "pending 1100 22, pending 1200 6, ~2"},
};
// clang-format on

TEST_F(ScanListInsert, puts_each_peak_in_its_place) { for_each_row(insertions, check); }

TEST_F(ScanListInsert, a_count_above_the_capacity_is_refused_in_every_mode_and_nothing_is_written) {
    const ListState full = list_state("pending 1100 22, pending 1200 22 | pending 1900 3");
    // In front, between, merging, equal, behind.
    const std::vector<int> frequencies{1000000, 1150000, 1100500, 1200000, 1300000};
    each(
        [&full](std::uint16_t count, std::uint8_t pass, int frequency, std::uint8_t unicable) {
            SCOPED_TRACE(testing::Message() << count << " counted, pass " << int{pass} << ", "
                                            << frequency << " kHz, Unicable " << int{unicable});
            ds3000_context.unicable_enabled = unicable;
            CandidateList list(2, full);
            ds3000_context.scan_count = count;
            EXPECT_EQ(scan_list_insert(&list.request, frequency, 22500, pass), DS3000_LIST_FULL);
            EXPECT_EQ(list.records(), full.records);
            EXPECT_EQ(ds3000_context.scan_count, count);
        },
        Words{3, 4, 5, 255, 256, 257, 300, 65535}, Bytes{0, 1}, frequencies, Bytes{0, 1});
}

TEST_F(ScanListInsert, nothing_counted_is_a_bad_argument) {
    const CandidateList list(2, "");
    blind_scan_request request = list.request;
    for (const std::uint8_t pass : Bytes{0, 1}) {
        EXPECT_EQ(scan_list_insert(&request, 1200000, 6000, pass), DS3000_BAD_ARGUMENT);
        EXPECT_EQ(list.state(), list_state("~0, ~1, ~2")) << "pass " << int{pass};
    }
}

TEST_F(ScanListInsert, a_list_longer_than_8_bits_is_filled_and_sorted) {
    CandidateList list(300, "");
    for (std::int32_t i = 300; i > 0; --i) {
        ASSERT_EQ(list.insert({1000000 + i * 1000, 6000}), DS3000_OK);
    }
    EXPECT_EQ(list.insert({1000000, 6000}), DS3000_LIST_FULL);

    Records expected;
    for (std::int32_t i = 1; i <= 300; ++i) {
        expected.push_back({1000000 + i * 1000, 6000, CANDIDATE_PENDING});
    }
    // The second insertion met it in its way, and every later one.
    expected.push_back(scratch(1));
    EXPECT_EQ(list.records(), expected);
}

TEST_F(ScanListInsert, neither_insertion_nor_merge_nor_compaction_writes_the_reserved_half_word) {
    CandidateList list(4, "dvbs 1100 22, rejected 1200 22");
    list.insert({1300000, 6000}, 1);
    list.insert({1150000, 6000}, 0);
    ds3000_context.unicable_enabled = 1;
    ds3000_context.scan_count = 2;
    list.insert({1200001, 22001}, 1);
    EXPECT_EQ(list.at(1), record("pending 1200.001 22.001"));
    scan_list_compact(&list.request, 9999000);

    EXPECT_TRUE(list.reserved_is_untouched());
}

// With Unicable, a candidate near an entry of the same transponder.

using ScanListMerge = ScanListInsert;

TEST_F(ScanListMerge, happens_within_999_khz_and_999_ksps) {
    enum class Takes { frequency_and_rate, frequency, nothing };
    struct Row {
        const char *name;
        std::vector<std::string> entries;
        std::vector<int> frequency_changes;
        std::vector<int> rate_changes;
        Takes takes;
    };
    // clang-format off
    const Row rows[] = {
        {"a pending entry takes the frequency and a higher rate", {"pending 1200 22"},
         {-999, -998, -1, 0, 1, 998, 999}, {1, 2, 998, 999}, Takes::frequency_and_rate},
        {"a pending entry takes the frequency but no lower or equal rate", {"pending 1200 22"},
         {-999, -1, 0, 1, 999}, {-999, -998, -1, 0}, Takes::frequency},
        {"a rejected entry becomes pending for a higher rate", {"rejected 1200 22"},
         {-999, -1, 0, 1, 999}, {1, 999}, Takes::frequency_and_rate},
        {"a rejected entry met with a lower or equal rate stays and nothing is added",
         {"rejected 1200 22"}, {-999, -1, 0, 1, 999}, {-999, -1, 0}, Takes::nothing},
        {"a locked entry swallows what is near and stays", {"dvbs 1200 22", "dvbs2 1200 22"},
         {-999, 0, 999}, {-999, 0, 1, 999}, Takes::nothing},
    };
    // clang-format on
    ds3000_context.unicable_enabled = 1;
    for_each_row(rows, [&](const auto &row) {
        each(
            [&row](const std::string &entry, int df, int ds) {
                SCOPED_TRACE(testing::Message() << row.name << ": df " << df << ", ds " << ds);
                Record after = record(entry);
                if (row.takes != Takes::nothing) {
                    const int rate = 22000 + (row.takes == Takes::frequency ? 0 : ds);
                    after = {1200000 + df, static_cast<std::uint16_t>(rate), CANDIDATE_PENDING};
                }
                CandidateList list(3, entry);
                EXPECT_EQ(list.insert({1200000 + df, 22000 + ds}), DS3000_OK);
                EXPECT_EQ(list.state(),
                          (ListState{{after, scratch(1), scratch(2), scratch(3)}, 2}));
            },
            row.entries, row.frequency_changes, row.rate_changes);
    });
}

TEST_F(ScanListMerge, does_not_happen_at_a_difference_of_1000) {
    for (const std::string status : {"pending", "rejected", "dvbs", "dvbs2"}) {
        const std::string entry = status + " 1200 22";
        for (const std::string peak : {"1201 22.999", "1200.999 23", "1201 22"}) {
            const std::string after = fmt::format("{}, pending {}, ~2, ~3", entry, peak);
            SCOPED_TRACE(after);
            check({"a higher frequency goes behind", entry.c_str(), peak.c_str(), after.c_str(), 1,
                   1});
        }
        for (const std::string peak : {"1199 22.999", "1199.001 21", "1200 23"}) {
            const std::string after = fmt::format("pending {}, {} | ~1, ~3", peak, entry);
            SCOPED_TRACE(after);
            check({"a lower or equal one goes in front", entry.c_str(), peak.c_str(), after.c_str(),
                   1, 1});
        }
    }
}

// clang-format off
constexpr Insertion merges[] = {
    {"nothing merges without Unicable",
     "pending 1200 22", "1200.999 22.999", "pending 1200 22, pending 1200.999 22.999, ~2", 1, 0},
    {"nothing merges with another value than 1",
     "pending 1200 22", "1200.999 22.999", "pending 1200 22, pending 1200.999 22.999, ~2", 1, 2},
    {"an appending pass does not merge",
     "pending 1200 22", "1200.001 22", "pending 1200 22, pending 1200.001 22, ~2", 0, 1},
    {"the first pass of an inverted DS300X merges",
     "pending 1200 22", "1199.5 22", "pending 1199.5 22, ~1, ~2; count 2", 0, 1, CHIP_DS300X},
    {"the first of two near entries takes the candidate",
     "pending 1200 22, pending 1200.8 22", "1200.7 22",
     "pending 1200.7 22, pending 1200.8 22, ~2, ~3; count 3", 1, 1},
    {"an entry behind lower ones takes the candidate",
     "dvbs 1199.5 27, pending 1200 22", "1199.9 22",
     "dvbs 1199.5 27, pending 1199.9 22, ~2, ~3; count 3", 1, 1},
    {"the walk looks at no entry behind the place",
     "dvbs 1200 27, pending 1200.5 22", "1199.9 22",
     "pending 1199.9 22, dvbs 1200 27, pending 1200.5 22 | ~2", 1, 1},
    {"the scratch record stays when another merged",
     "dvbs 1200 22 | pending 1202 22", "1200.999 22", "dvbs 1200 22, pending 1202 22 | ~2", 1, 1},
    {"the scratch record merges nothing",
     "dvbs 1200 22 | pending 1202 22", "1201.999 22",
     "dvbs 1200 22, pending 1201.999 22, ~2, ~3", 1, 1},
};
// clang-format on

TEST_F(ScanListMerge, meets_one_entry_of_the_list) { for_each_row(merges, check); }

// The reordering that ends a scan.

using ScanListCompact = tests::ChipTest;

// The array after the compaction of one that is given whole.
ListState compacted(const ListState &before, std::int32_t limit_khz) {
    CandidateList list(static_cast<std::uint16_t>(before.records.size() - 1), before);
    EXPECT_EQ(scan_list_compact(&list.request, limit_khz), DS3000_OK);
    return list.state();
}

constexpr std::int32_t whole_list = 9999000;
constexpr const char *unchanged = nullptr;

struct Compaction {
    const char *name;
    const char *before;
    const char *after;
    std::int32_t limit_khz = whole_list;
};

// clang-format off
constexpr Compaction compactions[] = {
    {"a rejected entry goes behind the locked ones and a rejected spare stays",
     "dvbs 1100 1, rejected 1200 2, dvbs2 1300 3 | rejected 1900 4",
     "dvbs 1100 1, dvbs2 1300 3, rejected 1200 2 | rejected 1900 4"},
    {"a pending spare comes into the list and the rejected entry leaves it",
     "dvbs 1100 1, rejected 1200 2, dvbs2 1300 3 | pending 1900 4",
     "dvbs 1100 1, dvbs2 1300 3, pending 1900 4 | rejected 1200 2"},
    {"a spare of no status counts as not rejected",
     "rejected 1100 1 | 0 0 0", "0 0 0 | rejected 1100 1"},
    {"of a run record 1 changes places with 3, then 2 with 5",
     "rejected 11 1, rejected 12 2, dvbs 13 3, rejected 14 4, dvbs2 15 5 | rejected 16 6",
     "dvbs 13 3, dvbs2 15 5, rejected 11 1, rejected 14 4, rejected 12 2 | rejected 16 6"},
    {"the order of pending and locked entries is kept",
     "pending 9 1, rejected 2 2, dvbs 8 3, rejected 4 4, rejected 5 5, pending 1 6 | rejected 3 7",
     "pending 9 1, dvbs 8 3, pending 1 6, rejected 4 4, rejected 5 5, rejected 2 2 | rejected 3 7"},
    {"a list without rejected entries stays",
     "dvbs 1300 1, pending 1200 2, dvbs2 1100 3 | rejected 1000 4", unchanged},
    {"a list of rejected entries stays with a rejected spare",
     "rejected 1300 1, rejected 1200 2, rejected 1100 3 | rejected 1000 4", unchanged},
    {"a list of rejected entries takes a pending spare to its front",
     "rejected 1300 1, rejected 1200 2, rejected 1100 3 | pending 1000 4",
     "pending 1000 4, rejected 1200 2, rejected 1100 3 | rejected 1300 1"},
    {"the code rate goes with a good record and is cleared in a rejected one",
     "rejected 1100 1 code 4, dvbs2 1200 2 code 12 | rejected 1 3",
     "dvbs2 1200 2 code 12, rejected 1100 1 code 0 | rejected 1 3"},
    {"a rejected record that stays keeps its code rate",
     "dvbs 1000 2, rejected 1100 1 code 4 | rejected 1 3", unchanged},
    {"an empty list stays", "| rejected 1100 1, dvbs 1200 2, dvbs 1300 3", unchanged},
    {"in a list that is not full the record behind the last one takes part",
     "rejected 1100 1, dvbs 1200 2 | dvbs2 1300 3, dvbs2 1400 4, ~4",
     "dvbs 1200 2, dvbs2 1300 3 | rejected 1100 1, dvbs2 1400 4, ~4"},
    {"a limit ends it with the first entry at the limit",
     "rejected 1100 1, dvbs 1200 2, dvbs2 1300 3, rejected 1400 4, dvbs 1500 5 | pending 1600 6",
     "dvbs 1200 2, dvbs2 1300 3, rejected 1100 1, rejected 1400 4, dvbs 1500 5 | pending 1600 6",
     1300000},
    {"a limit ends it with the first entry above the limit",
     "rejected 1100 1, dvbs 1200 2, dvbs2 1300 3, rejected 1400 4, dvbs 1500 5 | pending 1600 6",
     "dvbs 1200 2, dvbs2 1300 3, rejected 1100 1, rejected 1400 4, dvbs 1500 5 | pending 1600 6",
     1200001},
    {"a limit at the second entry ends it with that",
     "rejected 1100 1, dvbs 1200 2, dvbs2 1300 3, rejected 1400 4, dvbs 1500 5 | pending 1600 6",
     "dvbs 1200 2, rejected 1100 1, dvbs2 1300 3, rejected 1400 4, dvbs 1500 5 | pending 1600 6",
     1200000},
    {"a limit at the first entry", "rejected 11 1, dvbs 12 2 | rejected 1 3", unchanged, 11000},
    {"a limit of 0", "rejected 11 1, dvbs 12 2 | rejected 1 3", unchanged, 0},
    {"a negative limit", "rejected 11 1, dvbs 12 2 | rejected 1 3", unchanged, -1},
    {"the first entry above the limit counts in an unsorted list",
     "rejected 14 1, rejected 11 2, dvbs 13 3, dvbs 12 4 | rejected 1 5", unchanged, 13000},
    {"a negative frequency is below the limit",
     "rejected -0.001 1, dvbs 12 2 | rejected 1 3", "dvbs 12 2, rejected -0.001 1 | rejected 1 3"},
    {"a negative frequency is the limit",
     "rejected -0.001 1, dvbs 12 2 | rejected 1 3", unchanged, -1},
    {"the spare record does not end the search for the limit",
     "rejected 1100 1, dvbs 1200 2 | dvbs 9999 3", "dvbs 1200 2, dvbs 9999 3 | rejected 1100 1"},
    {"4 counted in a list of 3", "rejected 11 1, dvbs 12 2, rejected 13 3, pending 14 4; count 4",
     "dvbs 12 2, pending 14 4, rejected 13 3, rejected 11 1; count 4"},
    {"5 counted in a list of 3", "rejected 11 1, dvbs 12 2, rejected 13 3, pending 14 4; count 5",
     "dvbs 12 2, pending 14 4, rejected 13 3, rejected 11 1; count 5"},
    {"100 counted in a list of 3",
     "rejected 11 1, dvbs 12 2, rejected 13 3, pending 14 4; count 100",
     "dvbs 12 2, pending 14 4, rejected 13 3, rejected 11 1; count 100"},
    {"255 counted in a list of 3",
     "rejected 11 1, dvbs 12 2, rejected 13 3, pending 14 4; count 255",
     "dvbs 12 2, pending 14 4, rejected 13 3, rejected 11 1; count 255"},
};
// clang-format on

TEST_F(ScanListCompact, moves_rejected_entries_behind_the_others) {
    for_each_row(compactions, [&](const auto &row) {
        EXPECT_EQ(compacted(list_state(row.before), row.limit_khz),
                  list_state(row.after == unchanged ? row.before : row.after));
    });
}

// An array that begins with a rejected entry, the others at 1000001 kHz and so on all pending.
Records one_rejected_of(std::size_t records) {
    Records list{record("rejected 1000 1")};
    for (std::size_t i = 1; i < records; ++i) {
        list.push_back({1000000 + static_cast<std::int32_t>(i), 2, CANDIDATE_PENDING});
    }
    return list;
}

TEST_F(ScanListCompact, counts_in_8_bits) {
    struct Row {
        const char *name;
        std::uint16_t records;
        std::uint16_t count;
        std::uint16_t moved_to;
        std::int32_t limit_khz = whole_list;
    };
    // clang-format off
    const Row rows[] = {
        {"of 254 entries all take part", 255, 254, 254},
        {"of 255 entries all take part", 256, 255, 255},
        {"of 256 entries none moves", 257, 256, 0},
        {"of 300 entries the first 45 take part", 301, 300, 44},
        {"256 counted in a list of 100", 101, 256, 0}, {"256 of 255", 256, 256, 0},
        {"257 counted in a list of 100", 101, 257, 1}, {"257 of 255", 256, 257, 1},
        {"300 counted in a list of 100", 101, 300, 44}, {"300 of 255", 256, 300, 44},
        {"512 counted in a list of 100", 101, 512, 0}, {"512 of 255", 256, 512, 0},
        {"65535 counted in a list of 100", 101, 65535, 100}, {"65535 of 255", 256, 65535, 255},
        {"a limit at entry 255 ends it there", 301, 300, 255, 1000255},
        {"a limit at entry 256 moves nothing", 301, 300, 0, 1000256},
        {"a limit at entry 270 ends it at 14", 301, 300, 14, 1000270},
    };
    // clang-format on
    for_each_row(rows, [&](const auto &row) {
        const Records before = one_rejected_of(row.records);
        Records after = before;
        std::rotate(after.begin(), after.begin() + 1, after.begin() + row.moved_to + 1);
        EXPECT_EQ(compacted({before, row.count}, row.limit_khz), (ListState{after, row.count}));
    });
}

TEST_F(ScanListCompact, of_255_entries_with_a_rejected_spare_the_last_one_is_exchanged) {
    Records before = one_rejected_of(255);
    Records after = before;
    std::rotate(after.begin(), after.begin() + 1, after.end());
    before.push_back(record("rejected 0.001 0.003"));
    after.push_back(record("rejected 0.001 0.003"));

    EXPECT_EQ(compacted({before, 255}, whole_list), (ListState{after, 255}));
}

TEST_F(ScanListCompact, of_255_rejected_entries_none_moves) {
    const ListState rejected{Records(256, record("rejected 1200 3")), 255};

    EXPECT_EQ(compacted(rejected, whole_list), rejected);
}

}  // namespace
