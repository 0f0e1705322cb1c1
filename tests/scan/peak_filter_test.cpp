// SPDX-License-Identifier: MIT
#include "ds3000/scan/peak_filter.h"

#include "ds3000/scan/spectrum_search.h"
#include "tests/support/candidate_list.h"
#include "tests/support/chip_test.h"
#include "tests/support/each.h"

namespace {

using tests::Bytes;
using tests::CandidateList;
using tests::each;
using tests::list_state;
using tests::ListedPeak;
using tests::ListState;
using tests::Record;
using tests::record;
using tests::Records;
using tests::scratch;
using tests::Words;

constexpr std::uint32_t untouched = 77;

std::string message_of(const std::string &fate, std::int32_t frequency_khz) {
    const std::string tail = "Freq. == " + std::to_string(frequency_khz) + "\n\n";
    if (fate == "overlap") {
        return "\n\tOverlap Skip TP!!!!!!!   " + tail;
    }
    return fate == "similar" ? "\n\tSimilar Skip TP!!!!!!!  " + tail : "";
}

// Peaks that meet a list one after the other: one that "overlap"s a locked transponder or is
// "similar" to a candidate is dropped with a message, the others are inserted.
struct Meeting {
    const char *name;
    const char *before;
    const char *peaks;
    const char *after;
    std::uint32_t last_match_khz;
    std::uint8_t unicable = 0;
    std::uint32_t passes = 2;
    std::uint8_t pass = 1;
};

class PeakFilter : public tests::ChipTest {
 protected:
    PeakFilter() { ds3000_context.scan_passes = 2; }

    template <typename Take>
    static void check(const Meeting &row, const Take &take) {
        const ListState after = list_state(row.after);
        ds3000_context.scan_last_match_khz = untouched;
        ds3000_context.unicable_enabled = row.unicable;
        ds3000_context.scan_passes = row.passes;
        CandidateList list(static_cast<std::uint16_t>(after.records.size() - 1), row.before);
        for (const ListedPeak &peak : tests::listed_peaks(row.peaks)) {
            EXPECT_EQ(take(list, peak), message_of(peak.fate, peak.frequency_khz));
        }
        EXPECT_EQ(list.state(), after);
        EXPECT_EQ(ds3000_context.scan_last_match_khz, row.last_match_khz);
    }

    // What becomes of a peak that meets the only entry of a list: the word of its message, empty
    // for one that is inserted.
    static std::string fate(const Record &entry, std::int32_t frequency_khz, std::int32_t rate) {
        CandidateList list(4, Records{entry});
        const std::string message = list.filter({frequency_khz, rate});
        const Record peak{frequency_khz, static_cast<std::uint16_t>(rate), CANDIDATE_PENDING};
        Records expected{entry, scratch(1), scratch(2), scratch(3), scratch(4)};
        if (message.empty() && frequency_khz <= entry.frequency_khz) {
            expected = {peak, entry, scratch(1), scratch(3), scratch(4)};
        } else if (message.empty()) {
            expected[1] = peak;
        }
        EXPECT_EQ(list.records(), expected);
        EXPECT_EQ(ds3000_context.scan_count, message.empty() ? 2 : 1);
        EXPECT_EQ(ds3000_context.scan_last_match_khz,
                  static_cast<std::uint32_t>(entry.frequency_khz));
        return message == message_of("overlap", frequency_khz)   ? "overlap"
               : message == message_of("similar", frequency_khz) ? "similar"
                                                                 : message;
    }
};

TEST_F(PeakFilter, a_peak_that_overlaps_a_locked_transponder_is_dropped) {
    struct Row {
        std::int32_t rate;
        std::uint16_t locked_rate;
        std::int32_t distance_khz;
    };
    // clang-format off
    const Row rows[] = {
        // By the peak's rate: the entry is so wide that the overlap is never the limit.
        {1601, 40000, 1000}, {2999, 40000, 1000}, {3000, 40000, 1000}, {3001, 40000, 2000},
        {5000, 40000, 2000}, {5001, 40000, 3000}, {6000, 40000, 3000}, {6001, 40000, 3000},
        {10000, 40000, 3000}, {10001, 40000, 4000}, {25000, 40000, 4000}, {25001, 40000, 7000},
        {27500, 30000, 7000}, {45000, 40000, 7000},
        // Up to 6000 ksym/s a third of it: rate/2 + locked_rate/2 - rate/3.
        {3000, 600, 800}, {5000, 600, 1134}, {5001, 601, 1133}, {6000, 1000, 1500},
        // Above half of it: locked_rate/2.
        {6001, 1000, 500}, {6001, 1001, 500}, {10000, 3999, 1999}, {27500, 6000, 3000},
        {45000, 13999, 6999}, {45000, 2000, 1000},
    };
    // clang-format on
    for (const Row &row : rows) {
        for (const std::uint32_t standard : {STANDARD_DVBS, STANDARD_DVBS2}) {
            SCOPED_TRACE(testing::Message() << row.rate << " on " << row.locked_rate);
            const Record locked{1200000, row.locked_rate, standard, CODE_RATE_3_4};
            EXPECT_EQ(fate(locked, 1200000, row.rate), "overlap");
            EXPECT_EQ(fate(locked, 1200000 - row.distance_khz, row.rate), "overlap");
            EXPECT_EQ(fate(locked, 1200000 + row.distance_khz, row.rate), "overlap");
            EXPECT_EQ(fate(locked, 1200000 - row.distance_khz - 1, row.rate), "");
            EXPECT_EQ(fate(locked, 1200000 + row.distance_khz + 1, row.rate), "");
        }
    }
}

TEST_F(PeakFilter, a_peak_that_resembles_an_undecided_or_rejected_candidate_is_dropped) {
    struct Row {
        std::int32_t rate;
        std::int32_t rate_tolerance;
        std::int32_t frequency_tolerance;
    };
    const Row rows[] = {{1601, 100, 500},   {3000, 100, 500},  {3001, 200, 500},
                        {10000, 200, 500},  {10001, 250, 800}, {25000, 250, 800},
                        {25001, 400, 1000}, {44000, 400, 1000}};
    for (const Row &row : rows) {
        each(
            [&row](std::uint32_t status, int side) {
                SCOPED_TRACE(testing::Message()
                             << row.rate << " ksym/s, status " << status << ", side " << side);
                const auto other = [&](std::int32_t difference) {
                    const std::int32_t rate = row.rate + side * difference;
                    return Record{1200000, static_cast<std::uint16_t>(rate), status};
                };
                const Record equal = other(0);
                const Record near = other(row.rate_tolerance);
                const Record far = other(row.rate_tolerance + 1);
                const std::int32_t limit = row.frequency_tolerance;
                EXPECT_EQ(fate(equal, 1200000, row.rate), "similar");
                EXPECT_EQ(fate(near, 1200000 - limit, row.rate), "similar");
                EXPECT_EQ(fate(near, 1200000 + limit, row.rate), "similar");
                EXPECT_EQ(fate(near, 1200000 - limit - 1, row.rate), "");
                EXPECT_EQ(fate(near, 1200000 + limit + 1, row.rate), "");
                EXPECT_EQ(fate(far, 1200000 - limit, row.rate), "");
                EXPECT_EQ(fate(far, 1200000, row.rate), "");
                EXPECT_EQ(fate(far, 1200000 + limit, row.rate), "");
            },
            std::vector<std::uint32_t>{CANDIDATE_PENDING, CANDIDATE_REJECTED},
            std::vector<int>{-1, 1});
    }
}

// clang-format off
constexpr Meeting meetings[] = {
    {"a narrow peak on a wide transponder overlaps",
     "dvbs 1200 30", "1200 2 overlap", "dvbs 1200 30, ~1, ~2", 1200000},
    {"an overlap with an undecided candidate is no reason to drop",
     "pending 1200 30", "1200 27.5", "pending 1200 27.5, pending 1200 30 | ~1; at end", 1200000},
    {"an overlap with a rejected candidate is none either",
     "rejected 1200 30", "1201.001 30",
     "rejected 1200 30, pending 1201.001 30, ~2; at end", 1200000},

    // A peak wholly below the entry at the cursor.
    {"a peak below the entry is inserted and the cursor goes to the one before",
     "dvbs 1200 30, >dvbs2 1300 30", "1250 20",
     ">dvbs 1200 30, pending 1250 20, dvbs2 1300 30 | ~2, ~4", 1200000},
    {"a peak below the first entry leaves the cursor on that entry",
     "dvbs 1200 30", "1100 20", "pending 1100 20, >dvbs 1200 30 | ~1, ~3", 1200000},
    {"a peak whose upper edge is the entry's lower edge is below it",
     "dvbs 1200 30", "1175 20", "pending 1175 20, >dvbs 1200 30 | ~1, ~3", 1200000},
    {"a peak one kHz into the entry is not below it",
     "dvbs 1200 30", "1175.001 20", "pending 1175.001 20, dvbs 1200 30 | ~1, ~3; at end", 1200000},
    {"half rates are rounded down",
     "dvbs 1200 30.001", "1175 20.001", "pending 1175 20.001, >dvbs 1200 30.001 | ~1", 1200000},
    {"a peak below a pending candidate is inserted",
     "pending 1200 30", "1100 20", "pending 1100 20, >pending 1200 30 | ~1, ~3", 1200000},
    {"a peak below a rejected candidate is inserted",
     "rejected 1200 30", "1100 20", "pending 1100 20, >rejected 1200 30 | ~1, ~3", 1200000},
    {"a peak below a DVB-S2 transponder is inserted",
     "dvbs2 1200 30", "1100 20", "pending 1100 20, >dvbs2 1200 30 | ~1, ~3", 1200000},
    {"the cursor goes to the first of the entries with the anchor's frequency",
     "dvbs 1200 30, rejected 1200 9, >dvbs 1300 30", "1250 20",
     ">dvbs 1200 30, rejected 1200 9, pending 1250 20, dvbs 1300 30 | ~3", 1200000},
    {"the next peak finds its place from the cursor left behind",  // a pending entry is passed over
     "dvbs 1200 20, dvbs 1400 20", "1300 20, 1350 20",
     "dvbs 1200 20, >pending 1300 20, pending 1350 20, dvbs 1400 20 | ~2", 1300000},
    {"the last place of the list is given away",
     "dvbs 1200 20", "1100 20", "pending 1100 20, >dvbs 1200 20 | ~1", 1200000},

    // Going on to later entries.
    {"a peak between two entries is inserted before the second",
     "dvbs 1200 20, dvbs 1300 20", "1230 20",
     ">dvbs 1200 20, pending 1230 20, dvbs 1300 20 | ~2, ~4", 1200000},
    {"a peak that only touches the second entry is inserted before it",
     "dvbs 1200 20, dvbs 1300 20", "1280 20",
     ">dvbs 1200 20, pending 1280 20, dvbs 1300 20 | ~2", 1200000},
    {"a peak that overlaps the second entry too little runs past the end",
     "dvbs 1200 20, dvbs 1300 20", "1280.001 20",
     "dvbs 1200 20, >pending 1280.001 20, dvbs 1300 20 | ~2, ~4; at end", 1300000},
    {"half rates towards the next entry are rounded down",
     "dvbs 1200 20, dvbs 1300 20.001", "1280 20.001",
     ">dvbs 1200 20, pending 1280 20.001, dvbs 1300 20.001 | ~2", 1200000},
    {"a duplicate of a later DVB-S transponder is dropped with the cursor on it",
     "dvbs 1200 20, dvbs 1300 20, dvbs 1400 20", "1300.1 20 overlap",
     "dvbs 1200 20, >dvbs 1300 20, dvbs 1400 20, ~3", 1300000},
    {"a duplicate of a later DVB-S2 transponder is dropped with the cursor on it",
     "dvbs 1200 20, dvbs2 1300 20, dvbs 1400 20", "1300.1 20 overlap",
     "dvbs 1200 20, >dvbs2 1300 20, dvbs 1400 20, ~3", 1300000},
    {"a duplicate of a later rejected candidate is dropped with the cursor on it",
     "dvbs 1200 20, rejected 1300 20, dvbs 1400 20", "1300.1 20 similar",
     "dvbs 1200 20, >rejected 1300 20, dvbs 1400 20, ~3", 1300000},
    {"entries below the cursor are not compared",  // the anchor's frequency is the peak's as well
     "dvbs 1200 20, >dvbs 1300 20", "1200 20",
     ">pending 1200 20, dvbs 1200 20, dvbs 1300 20 | ~2, ~4", 1200000},
    {"a pending entry on the way is passed over even if the peak repeats it",
     "dvbs 1200 20, pending 1250 20, pending 1255 20, dvbs 1300 20", "1250 20",
     // The anchor was the entry before the locked one; it moved up with the insertion.
     "dvbs 1200 20, pending 1250 20, pending 1250 20, >pending 1255 20, dvbs 1300 20 | ~4",
     1255000},
    {"a rejected entry on the way is compared",
     "dvbs 1200 20, pending 1240 20, rejected 1250 20", "1250 20 similar",
     "dvbs 1200 20, pending 1240 20, >rejected 1250 20, ~3", 1250000},
    {"behind the last entry the peak is inserted and the cursor stays on that",
     "dvbs 1200 20, dvbs 1300 20", "1400 20",
     "dvbs 1200 20, >dvbs 1300 20, pending 1400 20, ~3; at end", 1300000},
    {"pending entries up to the last one are the end of the list",
     "dvbs 1200 20, pending 1250 20, pending 1300 20", "1250 20",
     "dvbs 1200 20, pending 1250 20, pending 1250 20, pending 1300 20 | ~3; at end", 1200000},
    {"a pending scratch record behind the last entry is not passed over",
     "dvbs 1200 20, pending 1250 20 | pending 1300 20, dvbs 1400 20", "1400 20",
     "dvbs 1200 20, pending 1250 20, pending 1400 20 | dvbs 1400 20; at end", 1200000},
    {"a full list of pending entries ends with the last one",
     "pending 1200 20, pending 1250 20 | pending 1300 20", "1400 20",
     "pending 1200 20, pending 1250 20, pending 1300 20; count 3, at end", untouched},

    // After an earlier peak of the step ran past the end.
    {"after the end a peak is compared with one entry only",
     "dvbs 1200 20, dvbs 1300 20, dvbs 1400 20, ~3; at end", "1300 20",
     "dvbs 1200 20, pending 1300 20, dvbs 1300 20, dvbs 1400 20 | ~3; at end", 1200000},
    {"after the end the next entry does not become the anchor",  // of a peak that goes before it
     "dvbs 1200 20, pending 1220 20, dvbs 1400 20; at end", "1300 20",
     "dvbs 1200 20, pending 1220 20, pending 1300 20, dvbs 1400 20 | ~3; at end", 1200000},
    {"after the end a duplicate of the entry at the cursor is dropped",
     "dvbs 1200 20, >dvbs 1300 20; at end", "1300 20 overlap",
     "dvbs 1200 20, >dvbs 1300 20, ~2, ~3, ~4; at end", 1300000},
    {"after the end a peak below the entry goes before it",
     "dvbs 1200 20, >dvbs 1300 20; at end", "1250 20",
     ">dvbs 1200 20, pending 1250 20, dvbs 1300 20 | ~2, ~4; at end", 1200000},
    {"two peaks behind the last entry both get in after the same anchor",
     "dvbs 1200 20", "1300 20, 1400 20",
     "dvbs 1200 20, pending 1300 20, pending 1400 20, ~3; at end", 1200000},

    // Lists without a candidate and full ones.
    {"in an empty list the peak becomes the first candidate",
     "", "1200 20", "pending 1200 20, ~1, ~2; at end", 0},
    {"a refused peak behind the last entry is counted but not remembered",
     "dvbs 1200 20, dvbs 1300 20", "1400 20",
     "dvbs 1200 20, >dvbs 1300 20, ~2; count 3, at end", untouched},
    {"a refused peak below an entry leaves the cursor before it and its frequency",
     // With the peak taken, the cursor would have gone on to the first entry of 1200 MHz.
     "dvbs 1200 30, rejected 1200 9, >dvbs 1300 30", "1250 20",
     "dvbs 1200 30, >rejected 1200 9, dvbs 1300 30, ~3; count 4", 1200000},

    // With Unicable the insertion may merge the peak into an entry.
    {"a peak that merges into the anchor leaves the cursor on it",
     "dvbs 1200 20, >pending 1250 22, dvbs 1300 20", "1250.9 22.3",
     "dvbs 1200 20, >pending 1250.9 22.3, dvbs 1300 20, ~3 | ~4", 1250000, 1},
    {"a peak that merges into the last entry is remembered by the old frequency",
     "rejected 1250 22", "1250.9 22.3", "pending 1250.9 22.3, ~1 | ~2; at end", 1250000, 1},
};
// clang-format on

TEST_F(PeakFilter, inserts_or_drops_a_peak) {
    for_each_row(meetings, [&](const auto &row) {
        check(row, [](CandidateList &list, const ListedPeak &peak) { return list.filter(peak); });
    });
}

TEST_F(PeakFilter, the_overlap_message_has_three_blanks_and_the_similar_one_two) {
    CandidateList locked(2, "dvbs 1200 30");
    EXPECT_EQ(locked.filter({1201234, 27500}), "\n\tOverlap Skip TP!!!!!!!   Freq. == 1201234\n\n");
    CandidateList rejected(2, "rejected 1200 27.5");
    EXPECT_EQ(rejected.filter({1200987, 27400}),
              "\n\tSimilar Skip TP!!!!!!!  Freq. == 1200987\n\n");
}

TEST_F(PeakFilter, a_cancel_drops_the_peak_and_remembers_the_entry_at_the_cursor) {
    for (const std::uint8_t cancel : Bytes{1, 0x80}) {
        for (const std::int32_t frequency : {1100000, 1300000, 1310000, 1500000}) {
            SCOPED_TRACE(frequency);
            const ListState before = list_state("dvbs 1200 20, >dvbs 1300 20, ~2");
            CandidateList list(2, before);
            ds3000_context.scan_last_match_khz = untouched;
            ds3000_context.scan_cancel = cancel;

            EXPECT_EQ(list.filter({frequency, 20000}), "");

            EXPECT_EQ(list.state(), before);
            EXPECT_EQ(ds3000_context.scan_last_match_khz, 1300000U);
            EXPECT_EQ(ds3000_context.scan_cancel, cancel);
        }
    }
}

TEST_F(PeakFilter, a_list_that_refused_peaks_goes_on_refusing_them_and_writes_nothing) {
    const Records full = list_state("dvbs 1200 20, rejected 1300 20, dvbs 1400 20").records;
    each(
        [&full](std::uint16_t count, std::int32_t frequency) {
            SCOPED_TRACE(testing::Message() << count << " counted, " << frequency << " kHz");
            CandidateList list(2, ListState{full, count});
            EXPECT_EQ(list.filter({frequency, 20000}), "");
            EXPECT_EQ(list.records(), full);
            EXPECT_EQ(ds3000_context.scan_count, count + 1);
        },
        Words{3, 4, 5, 300, 65534}, std::vector<int>{1100000, 1250000, 1350000, 1500000});
}

TEST_F(PeakFilter, a_count_that_wraps_to_0_inserts_nothing) {
    const Records before(65535, record("dvbs 1200 20"));
    CandidateList list(65535, ListState{before, 65535, 65534});
    ds3000_context.scan_last_match_khz = untouched;

    EXPECT_EQ(list.filter({1400000, 20000}), "");

    EXPECT_EQ(ds3000_context.scan_count, 0);
    EXPECT_EQ(ds3000_context.scan_cursor, 65534);
    EXPECT_EQ(ds3000_context.scan_last_match_khz, untouched);
    EXPECT_EQ(list.at(0), record("dvbs 1200 20"));
    EXPECT_EQ(list.at(65534), record("dvbs 1200 20"));
    EXPECT_EQ(list.at(65535), scratch(65535));
}

TEST_F(PeakFilter, returns_the_cursor_to_the_last_match_among_the_records_of_the_capacity) {
    const auto cursor_after = [](const CandidateList &list, std::uint32_t last_match_khz) {
        ds3000_context.scan_cursor = 9;
        ds3000_context.scan_last_match_khz = last_match_khz;
        ds3000::return_cursor_to_last_match(list.request);
        return ds3000_context.scan_cursor;
    };
    const CandidateList list(
        4, "dvbs 1200 1, pending 1300 2, rejected 1400 3 | dvbs 1500 4, dvbs 1600 5");
    EXPECT_EQ(cursor_after(list, 1200000), 0);
    EXPECT_EQ(cursor_after(list, 1300000), 1);
    EXPECT_EQ(cursor_after(list, 1400000), 2);
    EXPECT_EQ(cursor_after(list, 1500000), 3);
    EXPECT_EQ(cursor_after(list, 1200001), 9) << "no such entry";
    EXPECT_EQ(cursor_after(list, 1600000), 9) << "the spare record";
    const CandidateList long_list(300, Records(10, record("dvbs 1200 1")));
    EXPECT_EQ(cursor_after(long_list, 299), 299);
    EXPECT_EQ(cursor_after(long_list, 300), 9) << "the spare record";
}

// The way from the spectrum engine's results into the list: one result at the centre, 80 bins wide,
// which are 15000 less 400 ksym/s.

// clang-format off
constexpr Meeting intakes[] = {
    {"the first pass appends without a filter",
     "dvbs 1300 30", "1300 14.6, 1200 14.6",
     "dvbs 1300 30, pending 1300 14.6, pending 1200 14.6, ~3", untouched, 0, 2, 0},
    {"the only pass appends without a filter",
     "dvbs 1300 30", "1300 14.6", "dvbs 1300 30, pending 1300 14.6, ~2, ~3", untouched, 0, 1, 0},
    {"a full list goes on counting",
     "dvbs 1300 30", "1200 14.6, 1400 14.6", "dvbs 1300 30, ~1; count 3", untouched, 0, 1, 0},
    {"pass 1 filters from the first entry on",
     "dvbs 1200 20, >dvbs 1300 20, ~2; at end", "1201 14.6 overlap",
     "dvbs 1200 20, dvbs 1300 20, ~2, ~3", 1200000, 0, 3, 1},
    {"pass 2 filters from the first entry on",
     "dvbs 1200 20, >dvbs 1300 20, ~2; at end", "1201 14.6 overlap",
     "dvbs 1200 20, dvbs 1300 20, ~2, ~3", 1200000, 0, 3, 2},
    // The peak overlaps the entry too little, goes in before it and so moves it up.
    {"pass 1 does not end with the cursor on the last match",
     "dvbs 1200 30", "1195 14.6", "pending 1195 14.6, dvbs 1200 30 | ~1; at end", 1200000, 0, 4, 1},
    {"pass 2 ends with the cursor on the last match",
     "dvbs 1200 30", "1195 14.6", "pending 1195 14.6, >dvbs 1200 30 | ~1; at end",
     1200000, 0, 4, 2},
    {"pass 3 does not end with the cursor on the last match",
     "dvbs 1200 30", "1195 14.6", "pending 1195 14.6, dvbs 1200 30 | ~1; at end", 1200000, 0, 4, 3},
};
// clang-format on

TEST_F(PeakFilter, is_what_later_passes_take_their_peaks_through) {
    for_each_row(intakes, [&](const auto &row) {
        check(row, [&](CandidateList &list, const ListedPeak &peak) {
            board(R"(
                read demod 0D -> 01
                wait 50000
                write demod 9A 80
                read demod 9A -> 01
                wait 10000
                read demod 9A -> 01
                write demod 9A 20
                read demod 9B -> 00
                read demod 9B -> 00
                read demod 9B -> 00
                read demod 9B -> 50
            )");
            return standard_error_of([&] {
                EXPECT_EQ(
                    ds3000_blind_scan_read_peaks(
                        &list.request, static_cast<std::uint32_t>(peak.frequency_khz), row.pass),
                    DS3000_OK);
            });
        });
    });
}

}  // namespace
