// SPDX-License-Identifier: MIT
#include "ds3000/scan/scan_list.h"

#include <algorithm>

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

constexpr std::int32_t whole_list = 9999000;

class ScanListInsert : public tests::ChipTest {
 protected:
    ScanListInsert() { ds3000_context.scan_passes = 2; }

    // As the peak reader does it: count first, then insert.
    static std::int32_t insert(CandidateList &list, std::int32_t frequency_khz,
                               std::uint32_t symbol_rate_ksps, std::uint8_t pass = 1) {
        ++ds3000_context.scan_count;
        return scan_list_insert(&list.request, frequency_khz, symbol_rate_ksps, pass);
    }

    static void invert_spectrum_on(std::int32_t chip_type) {
        ds3000_context.spectrum_inverted = 1;
        ds3000_context.chip_type = chip_type;
    }
};

TEST_F(ScanListInsert, a_first_pass_with_a_normal_spectrum_keeps_the_order_of_discovery) {
    CandidateList list(4, {});

    EXPECT_EQ(insert(list, 1300000, 22000, 0), DS3000_OK);
    EXPECT_EQ(insert(list, 1100000, 27500, 0), DS3000_OK);
    EXPECT_EQ(insert(list, 1200000, 5000, 0), DS3000_OK);

    EXPECT_EQ(list.records(), (Records{pending(1300000, 22000), pending(1100000, 27500),
                                       pending(1200000, 5000), scratch(3), scratch(4)}));
    EXPECT_EQ(ds3000_context.scan_count, 3);
}

TEST_F(ScanListInsert, every_pass_of_a_scan_of_one_pass_appends) {
    ds3000_context.scan_passes = 1;
    for (const std::uint8_t pass : Bytes{0, 1, 2, 255}) {
        SCOPED_TRACE(int{pass});
        CandidateList list(2, {pending(1300000, 22000)});

        EXPECT_EQ(insert(list, 1100000, 27500, pass), DS3000_OK);

        EXPECT_EQ(list.records(),
                  (Records{pending(1300000, 22000), pending(1100000, 27500), scratch(2)}));
    }
}

TEST_F(ScanListInsert, the_first_pass_appends_on_every_chip_with_a_normal_spectrum) {
    for (const std::int32_t chip :
         {0, int{CHIP_DS300X}, int{CHIP_DS3002B}, int{CHIP_DS3103}, int{CHIP_UNKNOWN}}) {
        SCOPED_TRACE(chip);
        ds3000_context.chip_type = chip;
        CandidateList list(2, {pending(1300000, 22000)});

        EXPECT_EQ(insert(list, 1100000, 27500, 0), DS3000_OK);

        EXPECT_EQ(list.records(),
                  (Records{pending(1300000, 22000), pending(1100000, 27500), scratch(2)}));
    }
}

TEST_F(ScanListInsert, the_first_pass_of_a_ds3002b_or_ds3103_appends_with_an_inverted_spectrum) {
    for (const std::int32_t chip : {CHIP_DS3002B, CHIP_DS3103}) {
        SCOPED_TRACE(chip);
        invert_spectrum_on(chip);
        CandidateList list(2, {pending(1300000, 22000)});

        EXPECT_EQ(insert(list, 1100000, 27500, 0), DS3000_OK);

        EXPECT_EQ(list.records(),
                  (Records{pending(1300000, 22000), pending(1100000, 27500), scratch(2)}));
    }
}

TEST_F(ScanListInsert, every_pass_of_a_ds300x_sorts_with_an_inverted_spectrum) {
    invert_spectrum_on(CHIP_DS300X);
    for (const std::uint32_t passes : {1U, 2U, 3U}) {
        for (const std::uint8_t pass : Bytes{0, 1, 2}) {
            SCOPED_TRACE(testing::Message() << "pass " << int{pass} << " of " << passes);
            ds3000_context.scan_passes = passes;
            CandidateList list(2, {pending(1300000, 22000)});

            EXPECT_EQ(insert(list, 1100000, 27500, pass), DS3000_OK);

            EXPECT_EQ(list.records(),
                      (Records{pending(1100000, 27500), pending(1300000, 22000), scratch(1)}));
        }
    }
}

TEST_F(ScanListInsert, an_unidentified_chip_sorts_with_an_inverted_spectrum) {
    for (const std::int32_t chip : {0, int{CHIP_UNKNOWN}}) {
        SCOPED_TRACE(chip);
        invert_spectrum_on(chip);
        CandidateList list(2, {pending(1300000, 22000)});

        EXPECT_EQ(insert(list, 1100000, 27500, 0), DS3000_OK);

        EXPECT_EQ(list.records(),
                  (Records{pending(1100000, 27500), pending(1300000, 22000), scratch(1)}));
    }
}

TEST_F(ScanListInsert, a_later_pass_sorts_whatever_the_spectrum_and_the_chip) {
    for (const std::uint8_t inverted : Bytes{0, 1}) {
        for (const std::int32_t chip : {CHIP_DS300X, CHIP_DS3002B, CHIP_DS3103}) {
            SCOPED_TRACE(testing::Message() << "chip " << chip << " inverted " << int{inverted});
            ds3000_context.spectrum_inverted = inverted;
            ds3000_context.chip_type = chip;
            CandidateList list(2, {pending(1300000, 22000)});

            EXPECT_EQ(insert(list, 1100000, 27500, 1), DS3000_OK);

            EXPECT_EQ(list.records(),
                      (Records{pending(1100000, 27500), pending(1300000, 22000), scratch(1)}));
        }
    }
}

TEST_F(ScanListInsert, falling_peaks_of_an_inverted_ds300x_end_up_rising) {
    invert_spectrum_on(CHIP_DS300X);
    CandidateList list(3, {});

    insert(list, 1300000, 22000, 0);
    insert(list, 1200000, 27500, 0);
    insert(list, 1100000, 5000, 0);

    EXPECT_EQ(list.records(), (Records{pending(1100000, 5000), pending(1200000, 27500),
                                       pending(1300000, 22000), scratch(1)}));
}

TEST_F(ScanListInsert, the_first_candidate_of_a_sorted_list_is_written_at_the_front) {
    CandidateList list(2, {});

    EXPECT_EQ(insert(list, 1200000, 22000), DS3000_OK);

    EXPECT_EQ(list.records(), (Records{pending(1200000, 22000), scratch(1), scratch(2)}));
}

TEST_F(ScanListInsert, a_lower_frequency_goes_to_the_front_and_moves_all_records_up) {
    CandidateList list(4, {dvbs(1100000, 22000), rejected(1200000, 27500)});

    EXPECT_EQ(insert(list, 1050000, 6000), DS3000_OK);

    EXPECT_EQ(list.records(), (Records{pending(1050000, 6000), dvbs(1100000, 22000),
                                       rejected(1200000, 27500), scratch(2), scratch(4)}));
}

TEST_F(ScanListInsert, a_frequency_between_two_entries_moves_the_higher_ones_up) {
    CandidateList list(4, {dvbs(1100000, 22000), dvbs2(1200000, 27500), pending(1300000, 3000)});

    EXPECT_EQ(insert(list, 1100001, 6000), DS3000_OK);

    EXPECT_EQ(list.records(), (Records{dvbs(1100000, 22000), pending(1100001, 6000),
                                       dvbs2(1200000, 27500), pending(1300000, 3000), scratch(3)}));
}

TEST_F(ScanListInsert, a_higher_frequency_goes_to_the_end_and_moves_nothing) {
    CandidateList list(4, {dvbs(1100000, 22000), dvbs2(1200000, 27500)});

    EXPECT_EQ(insert(list, 1200001, 6000), DS3000_OK);

    EXPECT_EQ(list.records(), (Records{dvbs(1100000, 22000), dvbs2(1200000, 27500),
                                       pending(1200001, 6000), scratch(3), scratch(4)}));
}

TEST_F(ScanListInsert, an_equal_frequency_goes_before_the_entries_that_have_it) {
    CandidateList list(4, {dvbs(1100000, 22000), dvbs2(1200000, 27500), rejected(1200000, 9000)});

    EXPECT_EQ(insert(list, 1200000, 6000), DS3000_OK);

    EXPECT_EQ(list.records(),
              (Records{dvbs(1100000, 22000), pending(1200000, 6000), dvbs2(1200000, 27500),
                       rejected(1200000, 9000), scratch(3)}));
}

TEST_F(ScanListInsert, in_an_unsorted_list_the_first_entry_not_lower_is_the_place) {
    CandidateList list(4, {dvbs(1100000, 22000), dvbs(1300000, 27500), dvbs(1150000, 27500)});

    EXPECT_EQ(insert(list, 1200000, 6000), DS3000_OK);

    EXPECT_EQ(list.records(), (Records{dvbs(1100000, 22000), pending(1200000, 6000),
                                       dvbs(1300000, 27500), dvbs(1150000, 27500), scratch(3)}));
}

TEST_F(ScanListInsert, the_scratch_record_moves_into_the_spare_one_when_the_list_becomes_full) {
    CandidateList list(2, {dvbs(1200000, 22000)});
    list.put(1, rejected(1900000, 4321));

    EXPECT_EQ(insert(list, 1100000, 6000), DS3000_OK);

    EXPECT_EQ(list.records(),
              (Records{pending(1100000, 6000), dvbs(1200000, 22000), rejected(1900000, 4321)}));
}

TEST_F(ScanListInsert, the_scratch_record_takes_no_part_in_the_search_for_the_place) {
    CandidateList list(2, {dvbs(1200000, 22000)});
    list.put(1, dvbs(1900000, 4321));

    EXPECT_EQ(insert(list, 1300000, 6000), DS3000_OK);

    EXPECT_EQ(list.records(), (Records{dvbs(1200000, 22000), pending(1300000, 6000), scratch(2)}));
}

TEST_F(ScanListInsert, a_list_of_one_record_takes_one_candidate) {
    CandidateList list(1, {});
    EXPECT_EQ(insert(list, 1200000, 22000), DS3000_OK);
    EXPECT_EQ(list.records(), (Records{pending(1200000, 22000), scratch(1)}));

    EXPECT_EQ(insert(list, 1100000, 22000), DS3000_LIST_FULL);
    EXPECT_EQ(list.records(), (Records{pending(1200000, 22000), scratch(1)}));
}

TEST_F(ScanListInsert, frequencies_are_compared_as_signed) {
    CandidateList list(4, {dvbs(-100, 22000), dvbs(1200000, 27500)});

    EXPECT_EQ(insert(list, 5, 6000), DS3000_OK);
    EXPECT_EQ(insert(list, -200, 7000), DS3000_OK);

    EXPECT_EQ(list.records(), (Records{pending(-200, 7000), dvbs(-100, 22000), pending(5, 6000),
                                       dvbs(1200000, 27500), scratch(2)}));
}

TEST_F(ScanListInsert, a_record_keeps_the_low_16_bits_of_the_rate) {
    CandidateList list(3, {});

    insert(list, 1200000, 0x12345, 0);
    insert(list, 1300000, 0x1FFFF, 1);

    EXPECT_EQ(list.records(), (Records{pending(1200000, 0x2345), pending(1300000, 0xFFFF),
                                       scratch(2), scratch(3)}));
}

TEST_F(ScanListInsert, a_new_record_leaves_the_reserved_half_word) {
    CandidateList list(4, {dvbs(1100000, 22000), dvbs(1200000, 22000)});

    insert(list, 1300000, 6000, 1);
    insert(list, 1150000, 6000, 0);

    for (std::size_t i = 0; i <= 4; ++i) {
        EXPECT_EQ(list.request.candidates[i].reserved, 0xA500 + i) << i;
    }
}

TEST_F(ScanListInsert, a_full_list_refuses_in_every_mode_and_writes_nothing) {
    ds3000_context.unicable_enabled = 1;
    const Record spare = pending(1900000, 3000);
    const Records full{pending(1100000, 22000), pending(1200000, 22000), spare};
    for (const std::uint8_t pass : Bytes{0, 1}) {
        // In front, between, merging, equal, behind.
        for (const std::int32_t frequency : {1000000, 1150000, 1100500, 1200000, 1300000}) {
            SCOPED_TRACE(testing::Message() << "pass " << int{pass} << ", " << frequency << " kHz");
            CandidateList list(2, full);
            ds3000_context.scan_count = 2;

            EXPECT_EQ(insert(list, frequency, 22500, pass), DS3000_LIST_FULL);

            EXPECT_EQ(list.records(), full);
            EXPECT_EQ(ds3000_context.scan_count, 3);
        }
    }
}

TEST_F(ScanListInsert, a_count_far_above_the_capacity_is_refused_too) {
    CandidateList list(2, {pending(1100000, 22000), pending(1200000, 22000)});
    const Records before = list.records();
    for (const std::uint16_t count : Words{4, 5, 255, 256, 257, 300, 65535}) {
        for (const std::uint8_t pass : Bytes{0, 1}) {
            SCOPED_TRACE(count);
            ds3000_context.scan_count = count;

            EXPECT_EQ(scan_list_insert(&list.request, 1000000, 22000, pass), DS3000_LIST_FULL);

            EXPECT_EQ(list.records(), before);
            EXPECT_EQ(ds3000_context.scan_count, count);
        }
    }
}

TEST_F(ScanListInsert, the_last_place_of_the_capacity_is_given_away) {
    for (const std::uint8_t pass : Bytes{0, 1}) {
        SCOPED_TRACE(int{pass});
        CandidateList list(2, {pending(1100000, 22000)});

        EXPECT_EQ(insert(list, 1200000, 6000, pass), DS3000_OK);

        EXPECT_EQ(list.records(),
                  (Records{pending(1100000, 22000), pending(1200000, 6000), scratch(2)}));
    }
}

TEST_F(ScanListInsert, nothing_counted_is_a_bad_argument) {
    CandidateList list(2, {});
    for (const std::uint8_t pass : Bytes{0, 1}) {
        SCOPED_TRACE(int{pass});

        EXPECT_EQ(scan_list_insert(&list.request, 1200000, 6000, pass), DS3000_BAD_ARGUMENT);

        EXPECT_EQ(list.records(), (Records{scratch(0), scratch(1), scratch(2)}));
        EXPECT_EQ(ds3000_context.scan_count, 0);
    }
}

TEST_F(ScanListInsert, a_list_longer_than_8_bits_is_filled_and_sorted) {
    CandidateList list(300, {});
    for (std::int32_t i = 300; i > 0; --i) {
        ASSERT_EQ(insert(list, 1000000 + i * 1000, 6000), DS3000_OK);
    }
    EXPECT_EQ(insert(list, 1000000, 6000), DS3000_LIST_FULL);

    Records expected;
    for (std::int32_t i = 1; i <= 300; ++i) {
        expected.push_back(pending(1000000 + i * 1000, 6000));
    }
    // The second insertion met it in its way, and every later one.
    expected.push_back(scratch(1));
    EXPECT_EQ(list.records(), expected);
}

class ScanListMerge : public ScanListInsert {
 protected:
    static constexpr std::int32_t frequency = 1200000;
    static constexpr std::uint16_t rate = 22000;

    ScanListMerge() { ds3000_context.unicable_enabled = 1; }

    // The list after a candidate df kHz and ds ksym/s from the only entry of a list of three.
    static Records meet(const Record &entry, std::int32_t df, std::int32_t ds) {
        CandidateList list(3, {entry});
        EXPECT_EQ(insert(list, frequency + df, static_cast<std::uint32_t>(rate + ds)), DS3000_OK);
        EXPECT_EQ(ds3000_context.scan_count, 2);
        return list.records();
    }

    static Records alone(const Record &entry) {
        return {entry, scratch(1), scratch(2), scratch(3)};
    }
};

TEST_F(ScanListMerge, a_pending_entry_takes_the_frequency_and_a_higher_rate) {
    const Record entry = pending(frequency, rate);
    for (const std::int32_t df : {-999, -998, -1, 0, 1, 998, 999}) {
        for (const std::int32_t ds : {1, 2, 998, 999}) {
            SCOPED_TRACE(testing::Message() << "df " << df << " ds " << ds);
            EXPECT_EQ(meet(entry, df, ds),
                      alone(pending(frequency + df, static_cast<std::uint16_t>(rate + ds))));
        }
    }
}

TEST_F(ScanListMerge, a_pending_entry_takes_the_frequency_but_no_lower_or_equal_rate) {
    const Record entry = pending(frequency, rate);
    for (const std::int32_t df : {-999, -1, 0, 1, 999}) {
        for (const std::int32_t ds : {-999, -998, -1, 0}) {
            SCOPED_TRACE(testing::Message() << "df " << df << " ds " << ds);
            EXPECT_EQ(meet(entry, df, ds), alone(pending(frequency + df, rate)));
        }
    }
}

TEST_F(ScanListMerge, a_rejected_entry_becomes_pending_for_a_higher_rate) {
    const Record entry = rejected(frequency, rate);
    for (const std::int32_t df : {-999, -1, 0, 1, 999}) {
        for (const std::int32_t ds : {1, 999}) {
            SCOPED_TRACE(testing::Message() << "df " << df << " ds " << ds);
            EXPECT_EQ(meet(entry, df, ds),
                      alone(pending(frequency + df, static_cast<std::uint16_t>(rate + ds))));
        }
    }
}

TEST_F(ScanListMerge, a_rejected_entry_met_with_a_lower_or_equal_rate_stays_and_nothing_is_added) {
    const Record entry = rejected(frequency, rate);
    for (const std::int32_t df : {-999, -1, 0, 1, 999}) {
        for (const std::int32_t ds : {-999, -1, 0}) {
            SCOPED_TRACE(testing::Message() << "df " << df << " ds " << ds);
            EXPECT_EQ(meet(entry, df, ds), alone(entry));
        }
    }
}

TEST_F(ScanListMerge, a_locked_entry_swallows_what_is_near_and_stays) {
    for (const Record &entry : {dvbs(frequency, rate), dvbs2(frequency, rate)}) {
        for (const std::int32_t df : {-999, 0, 999}) {
            for (const std::int32_t ds : {-999, 0, 1, 999}) {
                SCOPED_TRACE(testing::Message() << entry << " df " << df << " ds " << ds);
                EXPECT_EQ(meet(entry, df, ds), alone(entry));
            }
        }
    }
}

TEST_F(ScanListMerge, a_difference_of_1000_makes_a_new_entry) {
    for (const Record &entry : {pending(frequency, rate), rejected(frequency, rate),
                                dvbs(frequency, rate), dvbs2(frequency, rate)}) {
        SCOPED_TRACE(testing::Message() << entry);
        const Record spare = scratch(3);
        // A higher frequency goes behind, a lower or equal one in front.
        EXPECT_EQ(meet(entry, 1000, 999),
                  (Records{entry, pending(frequency + 1000, rate + 999), scratch(2), spare}));
        EXPECT_EQ(meet(entry, -1000, 999),
                  (Records{pending(frequency - 1000, rate + 999), entry, scratch(1), spare}));
        EXPECT_EQ(meet(entry, 999, 1000),
                  (Records{entry, pending(frequency + 999, rate + 1000), scratch(2), spare}));
        EXPECT_EQ(meet(entry, -999, -1000),
                  (Records{pending(frequency - 999, rate - 1000), entry, scratch(1), spare}));
        EXPECT_EQ(meet(entry, 0, 1000),
                  (Records{pending(frequency, rate + 1000), entry, scratch(1), spare}));
        EXPECT_EQ(meet(entry, 1000, 0),
                  (Records{entry, pending(frequency + 1000, rate), scratch(2), spare}));
    }
}

TEST_F(ScanListMerge, unicable_peak_999_above_a_pending_entry_merges_and_1000_above_is_new) {
    EXPECT_EQ(meet(pending(frequency, rate), 999, 999),
              alone(pending(frequency + 999, rate + 999)));
    EXPECT_EQ(meet(pending(frequency, rate), 1000, 999),
              (Records{pending(frequency, rate), pending(frequency + 1000, rate + 999), scratch(2),
                       scratch(3)}));
}

TEST_F(ScanListMerge, nothing_merges_without_unicable) {
    for (const std::uint8_t enabled : Bytes{0, 2}) {
        SCOPED_TRACE(int{enabled});
        ds3000_context.unicable_enabled = enabled;
        EXPECT_EQ(meet(pending(frequency, rate), 999, 999),
                  (Records{pending(frequency, rate), pending(frequency + 999, rate + 999),
                           scratch(2), scratch(3)}));
    }
}

TEST_F(ScanListMerge, an_appending_pass_does_not_merge) {
    CandidateList list(2, {pending(frequency, rate)});

    EXPECT_EQ(insert(list, frequency + 1, rate, 0), DS3000_OK);

    EXPECT_EQ(list.records(),
              (Records{pending(frequency, rate), pending(frequency + 1, rate), scratch(2)}));
}

TEST_F(ScanListMerge, the_first_pass_of_an_inverted_ds300x_merges) {
    invert_spectrum_on(CHIP_DS300X);
    CandidateList list(2, {pending(frequency, rate)});

    EXPECT_EQ(insert(list, frequency - 500, rate, 0), DS3000_OK);

    EXPECT_EQ(list.records(), (Records{pending(frequency - 500, rate), scratch(1), scratch(2)}));
}

TEST_F(ScanListMerge, the_first_of_two_near_entries_takes_the_candidate) {
    CandidateList list(3, {pending(frequency, rate), pending(frequency + 800, rate)});

    EXPECT_EQ(insert(list, frequency + 700, rate), DS3000_OK);

    EXPECT_EQ(list.records(), (Records{pending(frequency + 700, rate),
                                       pending(frequency + 800, rate), scratch(2), scratch(3)}));
}

TEST_F(ScanListMerge, an_entry_behind_lower_ones_takes_the_candidate) {
    CandidateList list(3, {dvbs(frequency - 500, rate + 5000), pending(frequency, rate)});

    EXPECT_EQ(insert(list, frequency - 100, rate), DS3000_OK);

    EXPECT_EQ(list.records(), (Records{dvbs(frequency - 500, rate + 5000),
                                       pending(frequency - 100, rate), scratch(2), scratch(3)}));
}

TEST_F(ScanListMerge, the_walk_looks_at_no_entry_behind_the_place) {
    CandidateList list(3, {dvbs(frequency, rate + 5000), pending(frequency + 500, rate)});

    EXPECT_EQ(insert(list, frequency - 100, rate), DS3000_OK);

    EXPECT_EQ(list.records(), (Records{pending(frequency - 100, rate), dvbs(frequency, rate + 5000),
                                       pending(frequency + 500, rate), scratch(2)}));
}

TEST_F(ScanListMerge, the_scratch_record_merges_nothing_and_stays_when_another_merged) {
    CandidateList list(3, {dvbs(frequency, rate)});
    list.put(1, pending(frequency + 2000, rate));

    EXPECT_EQ(insert(list, frequency + 999, rate), DS3000_OK);
    EXPECT_EQ(list.records(), (Records{dvbs(frequency, rate), pending(frequency + 2000, rate),
                                       scratch(2), scratch(3)}));

    ds3000_context.scan_count = 1;
    EXPECT_EQ(insert(list, frequency + 1999, rate), DS3000_OK);
    EXPECT_EQ(list.records(), (Records{dvbs(frequency, rate), pending(frequency + 1999, rate),
                                       scratch(2), scratch(3)}));
    EXPECT_EQ(ds3000_context.scan_count, 2);
}

TEST_F(ScanListMerge, a_merge_leaves_the_reserved_half_word) {
    CandidateList list(2, {pending(frequency, rate)});

    insert(list, frequency + 1, rate + 1);

    EXPECT_EQ(list.request.candidates[0].reserved, 0xA500);
}

class ScanListCompact : public tests::ChipTest {
 protected:
    // The array after the compaction of a list that is full, so that spare comes right behind it.
    static Records compact(const Records &candidates, const Record &spare,
                           std::int32_t limit_khz = whole_list) {
        CandidateList list(static_cast<std::uint16_t>(candidates.size()), candidates);
        list.put(candidates.size(), spare);
        EXPECT_EQ(scan_list_compact(&list.request, limit_khz), DS3000_OK);
        EXPECT_EQ(ds3000_context.scan_count, candidates.size());
        return list.records();
    }
};

TEST_F(ScanListCompact, a_rejected_entry_goes_behind_the_locked_ones_and_a_rejected_spare_stays) {
    const Record spare = rejected(1900000, 4444);

    EXPECT_EQ(compact({dvbs(1100000, 1111), rejected(1200000, 2222), dvbs2(1300000, 3333)}, spare),
              (Records{dvbs(1100000, 1111), dvbs2(1300000, 3333), rejected(1200000, 2222), spare}));
}

TEST_F(ScanListCompact, a_pending_spare_comes_into_the_list_and_the_rejected_entry_leaves_it) {
    const Record spare = pending(1900000, 4444);

    EXPECT_EQ(compact({dvbs(1100000, 1111), rejected(1200000, 2222), dvbs2(1300000, 3333)}, spare),
              (Records{dvbs(1100000, 1111), dvbs2(1300000, 3333), spare, rejected(1200000, 2222)}));
}

TEST_F(ScanListCompact, a_spare_of_no_status_counts_as_not_rejected) {
    const Record spare{0, 0, 0, 0};

    EXPECT_EQ(compact({rejected(1100000, 1111)}, spare), (Records{spare, rejected(1100000, 1111)}));
}

TEST_F(ScanListCompact, the_first_record_of_a_run_changes_places_with_the_next_good_one) {
    // The entry of 1 ksym/s changes with that of 3, then that of 2 with that of 5.
    EXPECT_EQ(compact({rejected(1100000, 1), rejected(1200000, 2), dvbs(1300000, 3),
                       rejected(1400000, 4), dvbs2(1500000, 5)},
                      rejected(1600000, 6)),
              (Records{dvbs(1300000, 3), dvbs2(1500000, 5), rejected(1100000, 1),
                       rejected(1400000, 4), rejected(1200000, 2), rejected(1600000, 6)}));
}

TEST_F(ScanListCompact, the_order_of_pending_and_locked_entries_is_kept) {
    EXPECT_EQ(
        compact({pending(1500000, 1), rejected(1100000, 2), dvbs(1400000, 3), rejected(1150000, 4),
                 rejected(1160000, 5), pending(1000000, 6)},
                rejected(1, 7)),
        (Records{pending(1500000, 1), dvbs(1400000, 3), pending(1000000, 6), rejected(1150000, 4),
                 rejected(1160000, 5), rejected(1100000, 2), rejected(1, 7)}));
}

TEST_F(ScanListCompact, a_list_without_rejected_entries_stays) {
    const Records good{dvbs(1300000, 1), pending(1200000, 2), dvbs2(1100000, 3)};
    Records expected = good;
    expected.push_back(rejected(1000000, 4));

    EXPECT_EQ(compact(good, rejected(1000000, 4)), expected);
}

TEST_F(ScanListCompact, a_list_of_rejected_entries_stays_with_a_rejected_spare) {
    const Records bad{rejected(1300000, 1), rejected(1200000, 2), rejected(1100000, 3)};
    Records expected = bad;
    expected.push_back(rejected(1000000, 4));

    EXPECT_EQ(compact(bad, rejected(1000000, 4)), expected);
}

TEST_F(ScanListCompact, a_list_of_rejected_entries_takes_a_pending_spare_to_its_front) {
    EXPECT_EQ(compact({rejected(1300000, 1), rejected(1200000, 2), rejected(1100000, 3)},
                      pending(1000000, 4)),
              (Records{pending(1000000, 4), rejected(1200000, 2), rejected(1100000, 3),
                       rejected(1300000, 1)}));
}

TEST_F(ScanListCompact, the_code_rate_goes_with_a_good_record_and_is_cleared_in_a_rejected_one) {
    const Record with_code{1100000, 1, CANDIDATE_REJECTED, CODE_RATE_1_2};

    EXPECT_EQ(compact({with_code, dvbs2(1200000, 2)}, rejected(1, 3)),
              (Records{{1200000, 2, STANDARD_DVBS2, CODE_RATE_9_10},
                       {1100000, 1, CANDIDATE_REJECTED, 0},
                       rejected(1, 3)}));
}

TEST_F(ScanListCompact, a_rejected_record_that_stays_keeps_its_code_rate) {
    const Record with_code{1100000, 1, CANDIDATE_REJECTED, CODE_RATE_1_2};

    EXPECT_EQ(compact({dvbs(1000000, 2), with_code}, rejected(1, 3)),
              (Records{dvbs(1000000, 2), with_code, rejected(1, 3)}));
}

TEST_F(ScanListCompact, an_empty_list_stays) {
    CandidateList list(2, {});
    const Records before{rejected(1100000, 1), dvbs(1200000, 2), dvbs(1300000, 3)};
    for (std::size_t i = 0; i < before.size(); ++i) {
        list.put(i, before[i]);
    }

    EXPECT_EQ(scan_list_compact(&list.request, whole_list), DS3000_OK);

    EXPECT_EQ(list.records(), before);
}

TEST_F(ScanListCompact, in_a_list_that_is_not_full_the_record_behind_the_last_one_takes_part) {
    CandidateList list(4, {rejected(1100000, 1), dvbs(1200000, 2)});
    list.put(2, dvbs2(1300000, 3));
    list.put(3, dvbs2(1400000, 4));

    EXPECT_EQ(scan_list_compact(&list.request, whole_list), DS3000_OK);

    EXPECT_EQ(list.records(), (Records{dvbs(1200000, 2), dvbs2(1300000, 3), rejected(1100000, 1),
                                       dvbs2(1400000, 4), scratch(4)}));
}

TEST_F(ScanListCompact, a_limit_ends_the_compaction_with_the_first_entry_at_or_above_it) {
    const Records mixed{rejected(1100000, 1), dvbs(1200000, 2), dvbs2(1300000, 3),
                        rejected(1400000, 4), dvbs(1500000, 5)};
    const Record spare = pending(1600000, 6);
    const Records three{dvbs(1200000, 2),     dvbs2(1300000, 3), rejected(1100000, 1),
                        rejected(1400000, 4), dvbs(1500000, 5),  spare};
    const Records two{dvbs(1200000, 2),     rejected(1100000, 1), dvbs2(1300000, 3),
                      rejected(1400000, 4), dvbs(1500000, 5),     spare};

    EXPECT_EQ(compact(mixed, spare, 1300000), three);
    EXPECT_EQ(compact(mixed, spare, 1200001), three);
    EXPECT_EQ(compact(mixed, spare, 1200000), two);
}

TEST_F(ScanListCompact, a_limit_at_or_below_the_first_entry_moves_nothing) {
    const Records mixed{rejected(1100000, 1), dvbs(1200000, 2)};
    for (const std::int32_t limit : {1100000, 0, -1}) {
        SCOPED_TRACE(limit);
        EXPECT_EQ(compact(mixed, rejected(1, 3), limit),
                  (Records{rejected(1100000, 1), dvbs(1200000, 2), rejected(1, 3)}));
    }
}

TEST_F(ScanListCompact, the_first_entry_above_the_limit_counts_in_an_unsorted_list) {
    EXPECT_EQ(
        compact({rejected(1400000, 1), rejected(1100000, 2), dvbs(1300000, 3), dvbs(1200000, 4)},
                rejected(1, 5), 1300000),
        (Records{rejected(1400000, 1), rejected(1100000, 2), dvbs(1300000, 3), dvbs(1200000, 4),
                 rejected(1, 5)}));
}

TEST_F(ScanListCompact, the_limit_is_compared_as_signed) {
    EXPECT_EQ(compact({rejected(-1, 1), dvbs(1200000, 2)}, rejected(1, 3)),
              (Records{dvbs(1200000, 2), rejected(-1, 1), rejected(1, 3)}));
    EXPECT_EQ(compact({rejected(-1, 1), dvbs(1200000, 2)}, rejected(1, 3), -1),
              (Records{rejected(-1, 1), dvbs(1200000, 2), rejected(1, 3)}));
}

TEST_F(ScanListCompact, the_spare_record_does_not_end_the_search_for_the_limit) {
    EXPECT_EQ(compact({rejected(1100000, 1), dvbs(1200000, 2)}, dvbs(9999000, 3)),
              (Records{dvbs(1200000, 2), dvbs(9999000, 3), rejected(1100000, 1)}));
}

TEST_F(ScanListCompact, the_reserved_half_word_is_not_written) {
    CandidateList list(2, {rejected(1100000, 1), dvbs(1200000, 2)});

    scan_list_compact(&list.request, whole_list);

    for (std::size_t i = 0; i <= 2; ++i) {
        EXPECT_EQ(list.request.candidates[i].reserved, 0xA500 + i) << i;
    }
}

TEST_F(ScanListCompact, a_count_above_the_capacity_goes_no_further_than_the_spare_record) {
    for (const std::uint16_t count : Words{4, 5, 100, 255}) {
        SCOPED_TRACE(count);
        CandidateList list(3, {rejected(1100000, 1), dvbs(1200000, 2), rejected(1300000, 3)});
        list.put(3, pending(1400000, 4));
        ds3000_context.scan_count = count;

        EXPECT_EQ(scan_list_compact(&list.request, whole_list), DS3000_OK);

        EXPECT_EQ(list.records(), (Records{dvbs(1200000, 2), pending(1400000, 4),
                                           rejected(1300000, 3), rejected(1100000, 1)}));
    }
}

// A list that begins with a rejected entry, everything behind it pending, the spare record too.
Records one_rejected_of(std::size_t count) {
    Records list{rejected(1000000, 1)};
    for (std::size_t i = 1; i < count; ++i) {
        list.push_back(pending(1000000 + static_cast<std::int32_t>(i), 2));
    }
    return list;
}

// The same after a compaction of records 0 to bound.
Records rejected_moved_to(std::size_t bound, Records list) {
    const Record bad = list.front();
    list.erase(list.begin());
    list.insert(list.begin() + static_cast<std::ptrdiff_t>(bound), bad);
    return list;
}

TEST_F(ScanListCompact, of_254_and_255_entries_all_take_part) {
    for (const std::size_t count : {254U, 255U}) {
        SCOPED_TRACE(count);
        const Records all = one_rejected_of(count + 1);

        EXPECT_EQ(compact({all.begin(), all.end() - 1}, all.back()), rejected_moved_to(count, all));
    }
}

TEST_F(ScanListCompact, of_255_entries_with_a_rejected_spare_the_last_one_is_exchanged) {
    Records all = one_rejected_of(255);
    const Record spare = rejected(1, 3);

    Records expected = rejected_moved_to(254, all);
    expected.push_back(spare);
    EXPECT_EQ(compact(all, spare), expected);
}

TEST_F(ScanListCompact, of_255_rejected_entries_none_moves) {
    const Records all(255, rejected(1200000, 3));
    const Records expected(256, rejected(1200000, 3));

    EXPECT_EQ(compact(all, rejected(1200000, 3)), expected);
}

TEST_F(ScanListCompact, of_256_entries_none_moves) {
    const Records all = one_rejected_of(257);

    EXPECT_EQ(compact({all.begin(), all.end() - 1}, all.back()), all);
}

TEST_F(ScanListCompact, of_300_entries_the_first_45_take_part) {
    const Records all = one_rejected_of(301);

    EXPECT_EQ(compact({all.begin(), all.end() - 1}, all.back()), rejected_moved_to(44, all));
}

TEST_F(ScanListCompact, a_count_above_the_capacity_is_counted_in_8_bits_as_well) {
    struct Row {
        std::uint16_t count;
        std::size_t bound;
    };
    for (const std::uint16_t capacity : Words{100, 255}) {
        const Records all = one_rejected_of(capacity + std::size_t{1});
        for (const Row row :
             {Row{256, 0}, Row{257, 1}, Row{300, 44}, Row{512, 0}, Row{65535, 255}}) {
            SCOPED_TRACE(testing::Message() << row.count << " counted, capacity " << capacity);
            CandidateList list(capacity, all);
            ds3000_context.scan_count = row.count;

            EXPECT_EQ(scan_list_compact(&list.request, whole_list), DS3000_OK);

            EXPECT_EQ(list.records(),
                      rejected_moved_to(std::min<std::size_t>(row.bound, capacity), all));
        }
    }
}

TEST_F(ScanListCompact, the_index_of_the_limit_is_counted_in_8_bits_too) {
    const Records all = one_rejected_of(301);
    const Records entries{all.begin(), all.end() - 1};

    EXPECT_EQ(compact(entries, all.back(), 1000000 + 255), rejected_moved_to(255, all));
    EXPECT_EQ(compact(entries, all.back(), 1000000 + 256), all);
    EXPECT_EQ(compact(entries, all.back(), 1000000 + 270), rejected_moved_to(14, all));
}

}  // namespace
