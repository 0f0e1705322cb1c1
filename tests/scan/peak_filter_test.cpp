// SPDX-License-Identifier: MIT
#include "ds3000/scan/peak_filter.h"

#include "tests/support/candidate_list.h"
#include "tests/support/chip_test.h"

namespace {

using tests::Bytes;
using tests::CandidateList;
using tests::dvbs;
using tests::dvbs2;
using tests::pending;
using tests::Record;
using tests::Records;
using tests::rejected;
using tests::scratch;
using tests::Words;

enum class Verdict { inserted, overlap_skip, similar_skip, refused_or_lost };

std::ostream &operator<<(std::ostream &out, Verdict verdict) {
    switch (verdict) {
        case Verdict::inserted:
            return out << "inserted";
        case Verdict::overlap_skip:
            return out << "overlap skip";
        case Verdict::similar_skip:
            return out << "similar skip";
        case Verdict::refused_or_lost:
            return out << "neither inserted nor skipped";
    }
    return out;
}

class PeakFilter : public tests::ChipTest {
 protected:
    static constexpr std::uint32_t untouched = 77;

    PeakFilter() {
        ds3000_context.scan_passes = 2;
        ds3000_context.scan_last_match_khz = untouched;
    }

    // What a peak of pass 1 made the driver print.
    static std::string filter(CandidateList &list, std::int32_t frequency_khz,
                              std::int32_t symbol_rate_ksps) {
        return standard_error_of(
            [&] { ds3000::filter_peak(list.request, frequency_khz, symbol_rate_ksps, 1); });
    }

    static std::string overlap_message(std::int32_t frequency_khz) {
        return "\n\tOverlap Skip TP!!!!!!!   Freq. == " + std::to_string(frequency_khz) + "\n\n";
    }

    static std::string similar_message(std::int32_t frequency_khz) {
        return "\n\tSimilar Skip TP!!!!!!!  Freq. == " + std::to_string(frequency_khz) + "\n\n";
    }

    // What becomes of a peak that meets entry as the only one of a list.
    static Verdict meet(const Record &entry, std::int32_t frequency_khz, std::int32_t rate) {
        ds3000_context.scan_cursor = 0;
        ds3000_context.scan_cursor_at_end = 0;
        CandidateList list(4, {entry});
        const std::string message = filter(list, frequency_khz, rate);

        const Record peak = pending(frequency_khz, static_cast<std::uint16_t>(rate));
        const bool in_front = frequency_khz <= entry.frequency_khz;
        const Records with_peak = in_front
                                      ? Records{peak, entry, scratch(1), scratch(3), scratch(4)}
                                      : Records{entry, peak, scratch(2), scratch(3), scratch(4)};
        const Records without_peak{entry, scratch(1), scratch(2), scratch(3), scratch(4)};
        EXPECT_EQ(ds3000_context.scan_last_match_khz,
                  static_cast<std::uint32_t>(entry.frequency_khz));
        if (ds3000_context.scan_count == 2 && message.empty() && list.records() == with_peak) {
            return Verdict::inserted;
        }
        if (ds3000_context.scan_count == 1 && list.records() == without_peak) {
            if (message == overlap_message(frequency_khz)) {
                return Verdict::overlap_skip;
            }
            if (message == similar_message(frequency_khz)) {
                return Verdict::similar_skip;
            }
        }
        return Verdict::refused_or_lost;
    }
};

// The comparison with a locked transponder.

TEST_F(PeakFilter, a_27500_peak_7000_khz_from_a_locked_30000_is_dropped_and_7001_is_inserted) {
    const Record locked = dvbs(1200000, 30000);
    EXPECT_EQ(meet(locked, 1207000, 27500), Verdict::overlap_skip);
    EXPECT_EQ(meet(locked, 1207001, 27500), Verdict::inserted);
    EXPECT_EQ(meet(locked, 1193000, 27500), Verdict::overlap_skip);
    EXPECT_EQ(meet(locked, 1192999, 27500), Verdict::inserted);
}

TEST_F(PeakFilter, the_distance_to_a_locked_transponder_is_limited_by_the_peaks_rate) {
    struct Row {
        std::int32_t rate;
        std::int32_t distance_khz;
    };
    // The entry is so wide that the overlap is never the limit.
    for (const Row row :
         {Row{1601, 1000}, Row{2999, 1000}, Row{3000, 1000}, Row{3001, 2000}, Row{5000, 2000},
          Row{5001, 3000}, Row{6000, 3000}, Row{6001, 3000}, Row{10000, 3000}, Row{10001, 4000},
          Row{25000, 4000}, Row{25001, 7000}, Row{45000, 7000}}) {
        for (const Record &locked : {dvbs(1200000, 40000), dvbs2(1200000, 40000)}) {
            for (const std::int32_t side : {-1, 1}) {
                SCOPED_TRACE(testing::Message() << row.rate << " ksym/s, side " << side);
                EXPECT_EQ(meet(locked, 1200000, row.rate), Verdict::overlap_skip);
                EXPECT_EQ(meet(locked, 1200000 + side * row.distance_khz, row.rate),
                          Verdict::overlap_skip);
                EXPECT_EQ(meet(locked, 1200000 + side * (row.distance_khz + 1), row.rate),
                          Verdict::inserted);
            }
        }
    }
}

TEST_F(PeakFilter, up_to_6000_ksps_a_third_of_the_peak_has_to_overlap) {
    struct Row {
        std::int32_t rate;
        std::uint16_t locked_rate;
        std::int32_t distance_khz;  // rate/2 + locked_rate/2 - rate/3
    };
    for (const Row row :
         {Row{3000, 600, 800}, Row{5000, 600, 1134}, Row{5001, 601, 1133}, Row{6000, 1000, 1500}}) {
        const Record locked = dvbs(1200000, row.locked_rate);
        for (const std::int32_t side : {-1, 1}) {
            SCOPED_TRACE(testing::Message() << row.rate << " ksym/s, side " << side);
            EXPECT_EQ(meet(locked, 1200000 + side * row.distance_khz, row.rate),
                      Verdict::overlap_skip);
            EXPECT_EQ(meet(locked, 1200000 + side * (row.distance_khz + 1), row.rate),
                      Verdict::inserted);
        }
    }
}

TEST_F(PeakFilter, above_6000_ksps_half_of_the_peak_has_to_overlap) {
    struct Row {
        std::int32_t rate;
        std::uint16_t locked_rate;
        std::int32_t distance_khz;  // locked_rate/2
    };
    for (const Row row : {Row{6001, 1000, 500}, Row{6001, 1001, 500}, Row{10000, 3999, 1999},
                          Row{27500, 6000, 3000}, Row{45000, 13999, 6999}}) {
        const Record locked = dvbs2(1200000, row.locked_rate);
        for (const std::int32_t side : {-1, 1}) {
            SCOPED_TRACE(testing::Message() << row.rate << " ksym/s, side " << side);
            EXPECT_EQ(meet(locked, 1200000 + side * row.distance_khz, row.rate),
                      Verdict::overlap_skip);
            EXPECT_EQ(meet(locked, 1200000 + side * (row.distance_khz + 1), row.rate),
                      Verdict::inserted);
        }
    }
}

TEST_F(PeakFilter, a_locked_transponder_of_another_rate_swallows_the_peak_on_it) {
    EXPECT_EQ(meet(dvbs(1200000, 30000), 1200000, 2000), Verdict::overlap_skip);
    EXPECT_EQ(meet(dvbs2(1200000, 2000), 1200000, 45000), Verdict::overlap_skip);
}

// The comparison with an undecided or rejected candidate.

TEST_F(PeakFilter, a_candidate_resembles_the_peak_within_tolerances_by_the_peaks_rate) {
    struct Row {
        std::int32_t rate;
        std::int32_t rate_tolerance;
        std::int32_t frequency_tolerance;
    };
    for (const Row row : {Row{1601, 100, 500}, Row{3000, 100, 500}, Row{3001, 200, 500},
                          Row{10000, 200, 500}, Row{10001, 250, 800}, Row{25000, 250, 800},
                          Row{25001, 400, 1000}, Row{44000, 400, 1000}}) {
        for (const std::uint32_t status : {CANDIDATE_PENDING, CANDIDATE_REJECTED}) {
            for (const std::int32_t side : {-1, 1}) {
                SCOPED_TRACE(testing::Message()
                             << row.rate << " ksym/s, status " << status << ", side " << side);
                const auto other = [&](std::int32_t difference) {
                    const std::int32_t rate = row.rate + side * difference;
                    return Record{1200000, static_cast<std::uint16_t>(rate), status};
                };
                const std::int32_t at_limit = row.frequency_tolerance;
                for (const std::int32_t frequency : {1200000 - at_limit, 1200000 + at_limit}) {
                    EXPECT_EQ(meet(other(row.rate_tolerance), frequency, row.rate),
                              Verdict::similar_skip);
                    EXPECT_EQ(meet(other(row.rate_tolerance + 1), frequency, row.rate),
                              Verdict::inserted);
                }
                for (const std::int32_t frequency :
                     {1200000 - at_limit - 1, 1200000 + at_limit + 1}) {
                    EXPECT_EQ(meet(other(row.rate_tolerance), frequency, row.rate),
                              Verdict::inserted);
                }
                EXPECT_EQ(meet(other(0), 1200000, row.rate), Verdict::similar_skip);
                EXPECT_EQ(meet(other(row.rate_tolerance + 1), 1200000, row.rate),
                          Verdict::inserted);
            }
        }
    }
}

TEST_F(PeakFilter, an_overlap_with_an_undecided_candidate_is_no_reason_to_drop) {
    EXPECT_EQ(meet(pending(1200000, 30000), 1200000, 27500), Verdict::inserted);
    EXPECT_EQ(meet(rejected(1200000, 30000), 1201001, 30000), Verdict::inserted);
}

// The messages, letter by letter.

TEST_F(PeakFilter, the_overlap_message_has_three_blanks_and_a_newline_of_its_own) {
    CandidateList list(2, {dvbs(1200000, 30000)});

    EXPECT_EQ(filter(list, 1201234, 27500), "\n\tOverlap Skip TP!!!!!!!   Freq. == 1201234\n\n");
}

TEST_F(PeakFilter, the_similar_message_has_two_blanks_and_a_newline_of_its_own) {
    CandidateList list(2, {rejected(1200000, 27500)});

    EXPECT_EQ(filter(list, 1200987, 27400), "\n\tSimilar Skip TP!!!!!!!  Freq. == 1200987\n\n");
}

TEST_F(PeakFilter, a_peak_that_is_inserted_prints_nothing) {
    CandidateList list(2, {dvbs(1200000, 30000)});

    EXPECT_EQ(filter(list, 1300000, 27500), "");
}

// A peak wholly below the entry at the cursor.

TEST_F(PeakFilter, a_peak_below_the_entry_is_inserted_and_the_cursor_goes_to_the_one_before) {
    CandidateList list(4, {dvbs(1200000, 30000), dvbs2(1300000, 30000)});
    ds3000_context.scan_cursor = 1;

    EXPECT_EQ(filter(list, 1250000, 20000), "");

    EXPECT_EQ(list.records(), (Records{dvbs(1200000, 30000), pending(1250000, 20000),
                                       dvbs2(1300000, 30000), scratch(2), scratch(4)}));
    EXPECT_EQ(ds3000_context.scan_count, 3);
    EXPECT_EQ(ds3000_context.scan_cursor, 0);
    EXPECT_EQ(ds3000_context.scan_cursor_at_end, 0);
    EXPECT_EQ(ds3000_context.scan_last_match_khz, 1200000U);
}

TEST_F(PeakFilter, a_peak_below_the_first_entry_leaves_the_cursor_on_that_entry) {
    CandidateList list(3, {dvbs(1200000, 30000)});

    filter(list, 1100000, 20000);

    EXPECT_EQ(list.records(),
              (Records{pending(1100000, 20000), dvbs(1200000, 30000), scratch(1), scratch(3)}));
    EXPECT_EQ(ds3000_context.scan_count, 2);
    EXPECT_EQ(ds3000_context.scan_cursor, 1);
    EXPECT_EQ(ds3000_context.scan_cursor_at_end, 0);
    EXPECT_EQ(ds3000_context.scan_last_match_khz, 1200000U);
}

TEST_F(PeakFilter, a_peak_whose_upper_edge_is_the_entrys_lower_edge_is_below_it) {
    CandidateList touching(3, {dvbs(1200000, 30000)});
    filter(touching, 1175000, 20000);
    EXPECT_EQ(ds3000_context.scan_cursor, 1);
    EXPECT_EQ(ds3000_context.scan_cursor_at_end, 0);

    ds3000_context.scan_cursor = 0;
    CandidateList overlapping(3, {dvbs(1200000, 30000)});
    filter(overlapping, 1175001, 20000);
    EXPECT_EQ(ds3000_context.scan_cursor, 0);
    EXPECT_EQ(ds3000_context.scan_cursor_at_end, 1);
    EXPECT_EQ(overlapping.records(),
              (Records{pending(1175001, 20000), dvbs(1200000, 30000), scratch(1), scratch(3)}));
}

TEST_F(PeakFilter, half_rates_are_rounded_down) {
    CandidateList list(3, {dvbs(1200000, 30001)});

    filter(list, 1175000, 20001);

    EXPECT_EQ(ds3000_context.scan_cursor, 1);
    EXPECT_EQ(ds3000_context.scan_cursor_at_end, 0);
}

TEST_F(PeakFilter, a_peak_below_a_candidate_of_any_status_is_inserted) {
    for (const Record &entry : {pending(1200000, 30000), rejected(1200000, 30000),
                                dvbs(1200000, 30000), dvbs2(1200000, 30000)}) {
        SCOPED_TRACE(testing::Message() << entry);
        ds3000_context.scan_cursor = 0;
        CandidateList list(3, {entry});

        filter(list, 1100000, 20000);

        EXPECT_EQ(list.records(),
                  (Records{pending(1100000, 20000), entry, scratch(1), scratch(3)}));
        EXPECT_EQ(ds3000_context.scan_cursor, 1);
    }
}

TEST_F(PeakFilter, the_cursor_goes_to_the_first_of_the_entries_with_the_anchors_frequency) {
    CandidateList list(4, {dvbs(1200000, 30000), rejected(1200000, 9000), dvbs(1300000, 30000)});
    ds3000_context.scan_cursor = 2;

    filter(list, 1250000, 20000);

    EXPECT_EQ(ds3000_context.scan_cursor, 0);
    EXPECT_EQ(ds3000_context.scan_last_match_khz, 1200000U);
}

TEST_F(PeakFilter, the_next_peak_finds_its_place_from_the_cursor_left_behind) {
    CandidateList list(4, {dvbs(1200000, 20000), dvbs(1400000, 20000)});

    filter(list, 1300000, 20000);
    EXPECT_EQ(ds3000_context.scan_cursor, 0);
    filter(list, 1350000, 20000);

    EXPECT_EQ(list.records(), (Records{dvbs(1200000, 20000), pending(1300000, 20000),
                                       pending(1350000, 20000), dvbs(1400000, 20000), scratch(2)}));
    // The pending entry was passed over; it is the anchor now.
    EXPECT_EQ(ds3000_context.scan_cursor, 1);
    EXPECT_EQ(ds3000_context.scan_last_match_khz, 1300000U);
}

// Going on to later entries.

TEST_F(PeakFilter, a_peak_between_two_entries_is_inserted_before_the_second) {
    CandidateList list(4, {dvbs(1200000, 20000), dvbs(1300000, 20000)});

    EXPECT_EQ(filter(list, 1230000, 20000), "");

    EXPECT_EQ(list.records(), (Records{dvbs(1200000, 20000), pending(1230000, 20000),
                                       dvbs(1300000, 20000), scratch(2), scratch(4)}));
    EXPECT_EQ(ds3000_context.scan_cursor, 0);
    EXPECT_EQ(ds3000_context.scan_cursor_at_end, 0);
    EXPECT_EQ(ds3000_context.scan_last_match_khz, 1200000U);
}

TEST_F(PeakFilter, a_peak_that_only_touches_the_second_entry_is_inserted_before_it) {
    CandidateList list(4, {dvbs(1200000, 20000), dvbs(1300000, 20000)});

    filter(list, 1280000, 20000);

    EXPECT_EQ(ds3000_context.scan_cursor, 0);
    EXPECT_EQ(ds3000_context.scan_cursor_at_end, 0);
    EXPECT_EQ(ds3000_context.scan_last_match_khz, 1200000U);
}

TEST_F(PeakFilter, a_peak_that_overlaps_the_second_entry_too_little_runs_past_the_end) {
    CandidateList list(4, {dvbs(1200000, 20000), dvbs(1300000, 20000)});

    EXPECT_EQ(filter(list, 1280001, 20000), "");

    EXPECT_EQ(list.records(), (Records{dvbs(1200000, 20000), pending(1280001, 20000),
                                       dvbs(1300000, 20000), scratch(2), scratch(4)}));
    EXPECT_EQ(ds3000_context.scan_cursor, 1);
    EXPECT_EQ(ds3000_context.scan_cursor_at_end, 1);
    EXPECT_EQ(ds3000_context.scan_last_match_khz, 1300000U);
}

TEST_F(PeakFilter, half_rates_towards_the_next_entry_are_rounded_down) {
    CandidateList list(4, {dvbs(1200000, 20000), dvbs(1300000, 20001)});

    filter(list, 1280000, 20001);

    EXPECT_EQ(ds3000_context.scan_cursor, 0);
    EXPECT_EQ(ds3000_context.scan_cursor_at_end, 0);
}

TEST_F(PeakFilter, a_duplicate_of_a_later_entry_is_dropped_with_the_cursor_on_it) {
    for (const Record &entry :
         {dvbs(1300000, 20000), dvbs2(1300000, 20000), rejected(1300000, 20000)}) {
        SCOPED_TRACE(testing::Message() << entry);
        ds3000_context.scan_cursor = 0;
        CandidateList list(4, {dvbs(1200000, 20000), entry, dvbs(1400000, 20000)});
        const Records before = list.records();

        EXPECT_EQ(filter(list, 1300100, 20000), entry.status == CANDIDATE_REJECTED
                                                    ? similar_message(1300100)
                                                    : overlap_message(1300100));

        EXPECT_EQ(list.records(), before);
        EXPECT_EQ(ds3000_context.scan_count, 3);
        EXPECT_EQ(ds3000_context.scan_cursor, 1);
        EXPECT_EQ(ds3000_context.scan_cursor_at_end, 0);
        EXPECT_EQ(ds3000_context.scan_last_match_khz, 1300000U);
    }
}

TEST_F(PeakFilter, entries_below_the_cursor_are_not_compared) {
    CandidateList list(4, {dvbs(1200000, 20000), dvbs(1300000, 20000)});
    ds3000_context.scan_cursor = 1;

    EXPECT_EQ(filter(list, 1200000, 20000), "");

    EXPECT_EQ(list.records(), (Records{pending(1200000, 20000), dvbs(1200000, 20000),
                                       dvbs(1300000, 20000), scratch(2), scratch(4)}));
    // The anchor's frequency is the new entry's as well, and that one comes first.
    EXPECT_EQ(ds3000_context.scan_cursor, 0);
    EXPECT_EQ(ds3000_context.scan_last_match_khz, 1200000U);
}

TEST_F(PeakFilter, a_pending_entry_on_the_way_is_passed_over_even_if_the_peak_repeats_it) {
    CandidateList list(5, {dvbs(1200000, 20000), pending(1250000, 20000), pending(1255000, 20000),
                           dvbs(1300000, 20000)});

    EXPECT_EQ(filter(list, 1250000, 20000), "");

    EXPECT_EQ(list.records(),
              (Records{dvbs(1200000, 20000), pending(1250000, 20000), pending(1250000, 20000),
                       pending(1255000, 20000), dvbs(1300000, 20000), scratch(4)}));
    // The anchor was the entry before the locked one; it moved up with the insertion.
    EXPECT_EQ(ds3000_context.scan_cursor, 3);
    EXPECT_EQ(ds3000_context.scan_cursor_at_end, 0);
    EXPECT_EQ(ds3000_context.scan_last_match_khz, 1255000U);
}

TEST_F(PeakFilter, a_rejected_entry_on_the_way_is_compared) {
    CandidateList list(3,
                       {dvbs(1200000, 20000), pending(1240000, 20000), rejected(1250000, 20000)});

    EXPECT_EQ(filter(list, 1250000, 20000), similar_message(1250000));

    EXPECT_EQ(ds3000_context.scan_count, 3);
    EXPECT_EQ(ds3000_context.scan_cursor, 2);
    EXPECT_EQ(ds3000_context.scan_last_match_khz, 1250000U);
}

TEST_F(PeakFilter, behind_the_last_entry_the_peak_is_inserted_and_the_cursor_stays_on_that) {
    CandidateList list(3, {dvbs(1200000, 20000), dvbs(1300000, 20000)});

    EXPECT_EQ(filter(list, 1400000, 20000), "");

    EXPECT_EQ(list.records(), (Records{dvbs(1200000, 20000), dvbs(1300000, 20000),
                                       pending(1400000, 20000), scratch(3)}));
    EXPECT_EQ(ds3000_context.scan_count, 3);
    EXPECT_EQ(ds3000_context.scan_cursor, 1);
    EXPECT_EQ(ds3000_context.scan_cursor_at_end, 1);
    EXPECT_EQ(ds3000_context.scan_last_match_khz, 1300000U);
}

TEST_F(PeakFilter, pending_entries_up_to_the_last_one_are_the_end_of_the_list) {
    CandidateList list(4, {dvbs(1200000, 20000), pending(1250000, 20000), pending(1300000, 20000)});

    EXPECT_EQ(filter(list, 1250000, 20000), "");

    EXPECT_EQ(list.records(),
              (Records{dvbs(1200000, 20000), pending(1250000, 20000), pending(1250000, 20000),
                       pending(1300000, 20000), scratch(3)}));
    EXPECT_EQ(ds3000_context.scan_cursor, 0);
    EXPECT_EQ(ds3000_context.scan_cursor_at_end, 1);
    EXPECT_EQ(ds3000_context.scan_last_match_khz, 1200000U);
}

TEST_F(PeakFilter, a_pending_scratch_record_behind_the_last_entry_is_not_passed_over) {
    CandidateList list(3, {dvbs(1200000, 20000), pending(1250000, 20000)});
    list.put(2, pending(1300000, 20000));
    list.put(3, dvbs(1400000, 20000));

    EXPECT_EQ(filter(list, 1400000, 20000), "");

    EXPECT_EQ(list.records(), (Records{dvbs(1200000, 20000), pending(1250000, 20000),
                                       pending(1400000, 20000), dvbs(1400000, 20000)}));
    EXPECT_EQ(ds3000_context.scan_cursor, 0);
    EXPECT_EQ(ds3000_context.scan_cursor_at_end, 1);
}

TEST_F(PeakFilter, a_full_list_of_pending_entries_ends_with_the_last_one) {
    CandidateList list(2, {pending(1200000, 20000), pending(1250000, 20000)});
    list.put(2, pending(1300000, 20000));
    const Records before = list.records();

    EXPECT_EQ(filter(list, 1400000, 20000), "");

    EXPECT_EQ(list.records(), before);
    EXPECT_EQ(ds3000_context.scan_count, 3);
    EXPECT_EQ(ds3000_context.scan_cursor, 0);
    EXPECT_EQ(ds3000_context.scan_cursor_at_end, 1);
    EXPECT_EQ(ds3000_context.scan_last_match_khz, untouched);
}

// After an earlier peak of the step ran past the end.

TEST_F(PeakFilter, after_the_end_a_peak_is_compared_with_one_entry_only) {
    CandidateList list(4, {dvbs(1200000, 20000), dvbs(1300000, 20000), dvbs(1400000, 20000)});
    ds3000_context.scan_cursor_at_end = 1;

    EXPECT_EQ(filter(list, 1300000, 20000), "");

    EXPECT_EQ(list.records(), (Records{dvbs(1200000, 20000), pending(1300000, 20000),
                                       dvbs(1300000, 20000), dvbs(1400000, 20000), scratch(3)}));
    EXPECT_EQ(ds3000_context.scan_cursor, 0);
    EXPECT_EQ(ds3000_context.scan_cursor_at_end, 1);
    EXPECT_EQ(ds3000_context.scan_last_match_khz, 1200000U);
}

TEST_F(PeakFilter, after_the_end_the_next_entry_does_not_become_the_anchor) {
    // Had the end not been reached, the peak would go before entry 2, with entry 1 as its anchor.
    CandidateList list(4, {dvbs(1200000, 20000), pending(1220000, 20000), dvbs(1400000, 20000)});
    ds3000_context.scan_cursor_at_end = 1;

    EXPECT_EQ(filter(list, 1300000, 20000), "");

    EXPECT_EQ(list.records(), (Records{dvbs(1200000, 20000), pending(1220000, 20000),
                                       pending(1300000, 20000), dvbs(1400000, 20000), scratch(3)}));
    EXPECT_EQ(ds3000_context.scan_cursor, 0);
    EXPECT_EQ(ds3000_context.scan_last_match_khz, 1200000U);
}

TEST_F(PeakFilter, after_the_end_a_duplicate_of_the_entry_at_the_cursor_is_dropped) {
    CandidateList list(4, {dvbs(1200000, 20000), dvbs(1300000, 20000)});
    ds3000_context.scan_cursor_at_end = 1;
    ds3000_context.scan_cursor = 1;

    EXPECT_EQ(filter(list, 1300000, 20000), overlap_message(1300000));

    EXPECT_EQ(ds3000_context.scan_count, 2);
    EXPECT_EQ(ds3000_context.scan_cursor, 1);
    EXPECT_EQ(ds3000_context.scan_cursor_at_end, 1);
    EXPECT_EQ(ds3000_context.scan_last_match_khz, 1300000U);
}

TEST_F(PeakFilter, after_the_end_a_peak_below_the_entry_goes_before_it) {
    CandidateList list(4, {dvbs(1200000, 20000), dvbs(1300000, 20000)});
    ds3000_context.scan_cursor_at_end = 1;
    ds3000_context.scan_cursor = 1;

    EXPECT_EQ(filter(list, 1250000, 20000), "");

    EXPECT_EQ(list.records(), (Records{dvbs(1200000, 20000), pending(1250000, 20000),
                                       dvbs(1300000, 20000), scratch(2), scratch(4)}));
    EXPECT_EQ(ds3000_context.scan_cursor, 0);
    EXPECT_EQ(ds3000_context.scan_cursor_at_end, 1);
}

TEST_F(PeakFilter, two_peaks_behind_the_last_entry_both_get_in_after_the_same_anchor) {
    CandidateList list(3, {dvbs(1200000, 20000)});

    filter(list, 1300000, 20000);
    filter(list, 1400000, 20000);

    EXPECT_EQ(list.records(), (Records{dvbs(1200000, 20000), pending(1300000, 20000),
                                       pending(1400000, 20000), scratch(3)}));
    EXPECT_EQ(ds3000_context.scan_cursor, 0);
    EXPECT_EQ(ds3000_context.scan_last_match_khz, 1200000U);
}

// A pending cancel.

TEST_F(PeakFilter, a_cancel_drops_the_peak_and_remembers_the_entry_at_the_cursor) {
    for (const std::int32_t frequency : {1100000, 1300000, 1310000, 1500000}) {
        SCOPED_TRACE(frequency);
        CandidateList list(4, {dvbs(1200000, 20000), dvbs(1300000, 20000)});
        const Records before = list.records();
        ds3000_context.scan_cursor = 1;
        ds3000_context.scan_last_match_khz = untouched;
        ds3000_context.scan_cancel = 1;

        EXPECT_EQ(filter(list, frequency, 20000), "");

        EXPECT_EQ(list.records(), before);
        EXPECT_EQ(ds3000_context.scan_count, 2);
        EXPECT_EQ(ds3000_context.scan_cursor, 1);
        EXPECT_EQ(ds3000_context.scan_cursor_at_end, 0);
        EXPECT_EQ(ds3000_context.scan_last_match_khz, 1300000U);
        EXPECT_EQ(ds3000_context.scan_cancel, 1);
    }
}

TEST_F(PeakFilter, any_nonzero_cancel_counts) {
    CandidateList list(4, {dvbs(1200000, 20000)});
    ds3000_context.scan_cancel = 0x80;

    filter(list, 1300000, 20000);

    EXPECT_EQ(ds3000_context.scan_count, 1);
}

// Lists without a candidate, full and overfull ones.

TEST_F(PeakFilter, in_an_empty_list_the_peak_becomes_the_first_candidate) {
    CandidateList list(2, {});
    list.put(0, {0, 0, 0, 0});

    EXPECT_EQ(filter(list, 1200000, 20000), "");

    EXPECT_EQ(list.records(), (Records{pending(1200000, 20000), scratch(1), scratch(2)}));
    EXPECT_EQ(ds3000_context.scan_count, 1);
    EXPECT_EQ(ds3000_context.scan_cursor, 0);
    EXPECT_EQ(ds3000_context.scan_cursor_at_end, 1);
    EXPECT_EQ(ds3000_context.scan_last_match_khz, 0U);
}

TEST_F(PeakFilter, a_refused_peak_behind_the_last_entry_is_counted_but_not_remembered) {
    CandidateList list(2, {dvbs(1200000, 20000), dvbs(1300000, 20000)});
    const Records before = list.records();

    EXPECT_EQ(filter(list, 1400000, 20000), "");

    EXPECT_EQ(list.records(), before);
    EXPECT_EQ(ds3000_context.scan_count, 3);
    EXPECT_EQ(ds3000_context.scan_cursor, 1);
    EXPECT_EQ(ds3000_context.scan_cursor_at_end, 1);
    EXPECT_EQ(ds3000_context.scan_last_match_khz, untouched);
}

TEST_F(PeakFilter, a_refused_peak_below_an_entry_leaves_the_cursor_before_it_and_its_frequency) {
    // With the peak taken, the cursor would have gone on to the first entry of 1200000 kHz.
    CandidateList list(3, {dvbs(1200000, 30000), rejected(1200000, 9000), dvbs(1300000, 30000)});
    const Records before = list.records();
    ds3000_context.scan_cursor = 2;

    EXPECT_EQ(filter(list, 1250000, 20000), "");

    EXPECT_EQ(list.records(), before);
    EXPECT_EQ(ds3000_context.scan_count, 4);
    EXPECT_EQ(ds3000_context.scan_cursor, 1);
    EXPECT_EQ(ds3000_context.scan_last_match_khz, 1200000U);
}

TEST_F(PeakFilter, the_last_place_of_the_list_is_given_away) {
    CandidateList list(2, {dvbs(1200000, 20000)});

    filter(list, 1100000, 20000);

    EXPECT_EQ(list.records(), (Records{pending(1100000, 20000), dvbs(1200000, 20000), scratch(1)}));
}

TEST_F(PeakFilter, a_list_that_refused_peaks_goes_on_refusing_them_and_writes_nothing) {
    const Records full{dvbs(1200000, 20000), rejected(1300000, 20000), dvbs(1400000, 20000)};
    for (const std::uint16_t count : Words{3, 4, 5, 300, 65534}) {
        for (const std::int32_t frequency : {1100000, 1250000, 1350000, 1500000}) {
            SCOPED_TRACE(testing::Message() << count << " counted, " << frequency << " kHz");
            ds3000_context.scan_cursor = 0;
            ds3000_context.scan_cursor_at_end = 0;
            CandidateList list(2, full);
            ds3000_context.scan_count = count;

            EXPECT_EQ(filter(list, frequency, 20000), "");

            EXPECT_EQ(list.records(), full);
            EXPECT_EQ(ds3000_context.scan_count, count + 1);
        }
    }
}

TEST_F(PeakFilter, a_count_that_wraps_to_0_inserts_nothing) {
    CandidateList list(65535, Records(65535, dvbs(1200000, 20000)));
    ds3000_context.scan_cursor = 65534;

    EXPECT_EQ(filter(list, 1400000, 20000), "");

    EXPECT_EQ(ds3000_context.scan_count, 0);
    EXPECT_EQ(ds3000_context.scan_cursor, 65534);
    EXPECT_EQ(ds3000_context.scan_last_match_khz, untouched);
    EXPECT_EQ(list.at(0), dvbs(1200000, 20000));
    EXPECT_EQ(list.at(65534), dvbs(1200000, 20000));
    EXPECT_EQ(list.at(65535), scratch(65535));
}

// Unicable: the insertion may merge the peak into an entry.

TEST_F(PeakFilter, a_peak_that_merges_into_the_anchor_leaves_the_cursor_on_it) {
    ds3000_context.unicable_enabled = 1;
    CandidateList list(4, {dvbs(1200000, 20000), pending(1250000, 22000), dvbs(1300000, 20000)});
    ds3000_context.scan_cursor = 1;

    EXPECT_EQ(filter(list, 1250900, 22300), "");

    EXPECT_EQ(list.records(), (Records{dvbs(1200000, 20000), pending(1250900, 22300),
                                       dvbs(1300000, 20000), scratch(3), scratch(4)}));
    EXPECT_EQ(ds3000_context.scan_count, 4);
    EXPECT_EQ(ds3000_context.scan_cursor, 1);
    EXPECT_EQ(ds3000_context.scan_last_match_khz, 1250000U);
}

TEST_F(PeakFilter, a_peak_that_merges_into_the_last_entry_is_remembered_by_the_old_frequency) {
    ds3000_context.unicable_enabled = 1;
    CandidateList list(2, {rejected(1250000, 22000)});

    EXPECT_EQ(filter(list, 1250900, 22300), "");

    EXPECT_EQ(list.records(), (Records{pending(1250900, 22300), scratch(1), scratch(2)}));
    EXPECT_EQ(ds3000_context.scan_count, 2);
    EXPECT_EQ(ds3000_context.scan_cursor, 0);
    EXPECT_EQ(ds3000_context.scan_last_match_khz, 1250000U);
}

// The return to the last match.

class CursorReturn : public tests::ChipTest {
 protected:
    static std::uint16_t cursor_after(const CandidateList &list, std::uint32_t last_match_khz) {
        ds3000_context.scan_cursor = 9;
        ds3000_context.scan_last_match_khz = last_match_khz;
        ds3000::return_cursor_to_last_match(list.request);
        return ds3000_context.scan_cursor;
    }
};

TEST_F(CursorReturn, goes_to_the_entry_of_that_frequency) {
    const CandidateList list(4, {dvbs(1200000, 1), pending(1300000, 2), rejected(1400000, 3)});

    EXPECT_EQ(cursor_after(list, 1200000), 0);
    EXPECT_EQ(cursor_after(list, 1300000), 1);
    EXPECT_EQ(cursor_after(list, 1400000), 2);
}

TEST_F(CursorReturn, does_not_happen_without_such_an_entry) {
    const CandidateList list(4, {dvbs(1200000, 1), pending(1300000, 2), rejected(1400000, 3)});

    EXPECT_EQ(cursor_after(list, 1200001), 9);
}

TEST_F(CursorReturn, looks_at_all_records_of_the_capacity_and_not_at_the_spare_one) {
    CandidateList list(4, {dvbs(1200000, 1)});
    list.put(3, rejected(1500000, 2));
    list.put(4, rejected(1600000, 3));

    EXPECT_EQ(cursor_after(list, 1500000), 3);
    EXPECT_EQ(cursor_after(list, 1600000), 9);
}

TEST_F(CursorReturn, reaches_entries_beyond_8_bits) {
    const CandidateList list(300, Records(10, dvbs(1200000, 1)));

    EXPECT_EQ(cursor_after(list, 299), 299);
    EXPECT_EQ(cursor_after(list, 300), 9);
}

// The way from the spectrum engine's results into the list.

class PeakIntake : public tests::ChipTest {
 protected:
    // A search with one result at the centre, 80 bins wide: 15000 less 400 ksym/s.
    static constexpr std::string_view one_peak = R"(
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
    )";

    // What reading that peak makes the driver print.
    std::string read_peak(CandidateList &list, std::uint32_t passes, std::uint32_t center_khz,
                          std::uint8_t pass) {
        ds3000_context.scan_passes = passes;
        board(one_peak);
        return standard_error_of([&] {
            EXPECT_EQ(ds3000_blind_scan_read_peaks(&list.request, center_khz, pass), DS3000_OK);
        });
    }
};

TEST_F(PeakIntake, the_first_pass_appends_without_a_filter) {
    CandidateList list(3, {dvbs(1300000, 30000)});

    EXPECT_EQ(read_peak(list, 2, 1300000, 0), "");
    EXPECT_EQ(read_peak(list, 2, 1200000, 0), "");

    EXPECT_EQ(list.records(), (Records{dvbs(1300000, 30000), pending(1300000, 14600),
                                       pending(1200000, 14600), scratch(3)}));
    EXPECT_EQ(ds3000_context.scan_count, 3);
}

TEST_F(PeakIntake, the_only_pass_appends_without_a_filter) {
    CandidateList list(3, {dvbs(1300000, 30000)});

    EXPECT_EQ(read_peak(list, 1, 1300000, 0), "");

    EXPECT_EQ(list.records(),
              (Records{dvbs(1300000, 30000), pending(1300000, 14600), scratch(2), scratch(3)}));
    EXPECT_EQ(ds3000_context.scan_count, 2);
}

TEST_F(PeakIntake, a_full_list_goes_on_counting) {
    CandidateList list(1, {dvbs(1300000, 30000)});

    EXPECT_EQ(read_peak(list, 1, 1200000, 0), "");
    EXPECT_EQ(read_peak(list, 1, 1400000, 0), "");

    EXPECT_EQ(list.records(), (Records{dvbs(1300000, 30000), scratch(1)}));
    EXPECT_EQ(ds3000_context.scan_count, 3);
}

TEST_F(PeakIntake, a_later_pass_filters_from_the_first_entry_on) {
    for (const std::uint8_t pass : Bytes{1, 2}) {
        SCOPED_TRACE(int{pass});
        CandidateList list(3, {dvbs(1200000, 20000), dvbs(1300000, 20000)});
        const Records before = list.records();
        ds3000_context.scan_cursor = 1;
        ds3000_context.scan_cursor_at_end = 1;

        EXPECT_EQ(read_peak(list, 3, 1201000, pass),
                  "\n\tOverlap Skip TP!!!!!!!   Freq. == 1201000\n\n");

        EXPECT_EQ(list.records(), before);
        EXPECT_EQ(ds3000_context.scan_count, 2);
        EXPECT_EQ(ds3000_context.scan_cursor, 0);
        EXPECT_EQ(ds3000_context.scan_cursor_at_end, 0);
        EXPECT_EQ(ds3000_context.scan_last_match_khz, 1200000U);
    }
}

TEST_F(PeakIntake, pass_2_ends_with_the_cursor_on_the_last_match_and_pass_1_does_not) {
    // The peak overlaps the entry too little, goes in before it and so moves it up.
    const Records expected{pending(1195000, 14600), dvbs(1200000, 30000), scratch(1), scratch(3)};
    for (const std::uint8_t pass : Bytes{1, 2, 3}) {
        SCOPED_TRACE(int{pass});
        CandidateList list(3, {dvbs(1200000, 30000)});

        EXPECT_EQ(read_peak(list, 4, 1195000, pass), "");

        EXPECT_EQ(list.records(), expected);
        EXPECT_EQ(ds3000_context.scan_last_match_khz, 1200000U);
        EXPECT_EQ(ds3000_context.scan_cursor, pass == 2 ? 1 : 0);
    }
}

}  // namespace
