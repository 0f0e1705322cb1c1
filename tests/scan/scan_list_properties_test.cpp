// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <rapidcheck.h>

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <string>
#include <tuple>

#include "ds3000/scan/peak_filter.h"
#include "ds3000/scan/scan_list.h"
#include "tests/support/candidate_list.h"

namespace {

using tests::CandidateList;
using tests::Record;
using tests::Records;

using Peak = tests::ListedPeak;
using Peaks = std::vector<Peak>;

// A band so narrow that peaks and entries often meet.
rc::Gen<std::int32_t> frequencies() { return rc::gen::inRange(1200000, 1300000); }

// What the spectrum yields, with the places where a tolerance changes more often.
rc::Gen<std::int32_t> rates() {
    return rc::gen::oneOf(
        rc::gen::inRange(1601, 45001),
        rc::gen::element(3000, 3001, 5000, 5001, 6000, 6001, 10000, 10001, 25000, 25001, 45000));
}

rc::Gen<Peak> peak(const rc::Gen<std::int32_t> &frequency, const rc::Gen<std::int32_t> &rate) {
    return rc::gen::construct<Peak>(frequency, rate, rc::gen::just(std::string()));
}

rc::Gen<Peak> peaks_anywhere() { return peak(frequencies(), rates()); }

rc::Gen<Record> entries() {
    return rc::gen::construct<Record>(
        frequencies(), rc::gen::cast<std::uint16_t>(rates()),
        rc::gen::element<std::uint32_t>(STANDARD_DVBS, STANDARD_DVBS2, CANDIDATE_PENDING,
                                        CANDIDATE_REJECTED),
        rc::gen::inRange<std::uint32_t>(0, 13));
}

bool lower(const Record &a, const Record &b) { return a.frequency_khz < b.frequency_khz; }

bool ascending(const Records &list) { return std::is_sorted(list.begin(), list.end(), lower); }

rc::Gen<Records> ascending_lists() {
    return rc::gen::map(rc::gen::container<Records>(entries()), [](Records list) {
        std::sort(list.begin(), list.end(), lower);
        return list;
    });
}

// Peaks near entries of the list, and some anywhere.
rc::Gen<Peak> peaks_near(const Records &list) {
    if (list.empty()) {
        return peaks_anywhere();
    }
    const auto near = rc::gen::mapcat(rc::gen::elementOf(list), [](const Record &entry) {
        return peak(rc::gen::inRange(entry.frequency_khz - 8000, entry.frequency_khz + 8001),
                    rc::gen::map(rc::gen::inRange(-1100, 1101), [entry](std::int32_t ds) {
                        return std::clamp(entry.symbol_rate + ds, 1601, 45000);
                    }));
    });
    return rc::gen::oneOf(near, peaks_anywhere());
}

// The same records in an order of their own, to compare collections.
Records sorted(Records list) {
    std::sort(list.begin(), list.end(), [](const Record &a, const Record &b) {
        return std::tie(a.frequency_khz, a.symbol_rate, a.status, a.code_rate) <
               std::tie(b.frequency_khz, b.symbol_rate, b.status, b.code_rate);
    });
    return list;
}

bool is_locked(const Record &record) {
    return record.status == STANDARD_DVBS || record.status == STANDARD_DVBS2;
}

Records locked_of(Records list) {
    list.erase(std::remove_if(list.begin(), list.end(), std::not_fn(is_locked)), list.end());
    return list;
}

Record as_pending(const Peak &peak) {
    return {peak.frequency_khz, static_cast<std::uint16_t>(peak.symbol_rate_ksps),
            CANDIDATE_PENDING};
}

Records counted(const CandidateList &list) {
    Records records = list.records();
    records.resize(std::min<std::size_t>(ds3000_context.scan_count, list.request.capacity));
    return records;
}

// The same sequences in every run; RC_PARAMS in the environment chooses others.
class ScanListProperty : public testing::Test {
 protected:
    static void SetUpTestSuite() { setenv("RC_PARAMS", "seed=3000 max_success=500", 0); }

    ~ScanListProperty() override { ds3000_context = {}; }

    template <typename Property>
    static void check(Property property) {
        const testing::TestInfo *test = testing::UnitTest::GetInstance()->current_test_info();
        EXPECT_TRUE(rc::check(test->name(), [&property] {
            ds3000_context = {};
            ds3000_context.scan_passes = 2;
            property();
        }));
    }
};

// Insert peaks one by one. Returns those that found room, as the list holds them.
Records insert_all(CandidateList &list, const Peaks &peaks, int pass) {
    Records taken;
    for (const Peak &peak : peaks) {
        const bool fits = ds3000_context.scan_count < list.request.capacity;
        RC_ASSERT(list.insert(peak, pass) == (fits ? DS3000_OK : DS3000_LIST_FULL));
        if (fits) {
            taken.push_back(as_pending(peak));
        }
        RC_ASSERT(pass == 0 || ascending(counted(list)));
    }
    return taken;
}

TEST_F(ScanListProperty, appended_peaks_are_the_list_in_their_order_up_to_the_capacity) {
    check([] {
        const Peaks peaks = *rc::gen::container<Peaks>(peaks_anywhere());
        CandidateList list(*rc::gen::inRange<std::uint16_t>(1, 40), "");

        const Records taken = insert_all(list, peaks, 0);

        RC_ASSERT(counted(list) == taken);
        RC_ASSERT(ds3000_context.scan_count == peaks.size());
    });
}

TEST_F(ScanListProperty, sorted_insertion_keeps_every_record_in_ascending_order) {
    check([] {
        Records before = *ascending_lists();
        const Peaks peaks = *rc::gen::container<Peaks>(peaks_near(before));
        const auto room = *rc::gen::inRange<std::size_t>(0, 40);
        CandidateList list(static_cast<std::uint16_t>(before.size() + room + 1), before);

        const Records taken = insert_all(list, peaks, 1);

        RC_ASSERT(ds3000_context.scan_count == before.size() + peaks.size());
        before.insert(before.end(), taken.begin(), taken.end());
        RC_ASSERT(sorted(counted(list)) == sorted(before));
    });
}

TEST_F(ScanListProperty, entries_keep_their_order_when_peaks_are_inserted_between_them) {
    check([] {
        const Records before = *rc::gen::nonEmpty(rc::gen::container<Records>(entries()));
        const Peak peak = *peaks_near(before);
        CandidateList list(static_cast<std::uint16_t>(before.size() + 1), before);

        list.insert(peak, 1);

        Records after = counted(list);
        const auto place = std::find(after.begin(), after.end(), as_pending(peak));
        RC_ASSERT(place != after.end());
        RC_ASSERT(std::all_of(after.begin(), place, [&peak](const Record &record) {
            return record.frequency_khz < peak.frequency_khz;
        }));
        after.erase(place);
        RC_ASSERT(after == before);
    });
}

TEST_F(ScanListProperty, with_unicable_a_peak_is_merged_or_added_and_locked_entries_stay) {
    check([] {
        ds3000_context.unicable_enabled = 1;
        Records before = *ascending_lists();
        CandidateList list(static_cast<std::uint16_t>(before.size() + 1), before);
        const Peak peak = *peaks_near(before);

        RC_ASSERT(list.insert(peak, 1) == DS3000_OK);

        const Records after = list.records();
        const bool added = after[before.size()] != tests::scratch(before.size());
        RC_TAG(added ? "added" : "merged");
        RC_ASSERT(ds3000_context.scan_count == before.size() + 1);
        RC_ASSERT(locked_of(counted(list)) == locked_of(before));
        if (added) {
            before.push_back(as_pending(peak));
            RC_ASSERT(sorted(counted(list)) == sorted(before));
            return;
        }
        std::size_t changed = 0;
        for (std::size_t i = 0; i < before.size(); ++i) {
            if (after[i] == before[i]) {
                continue;
            }
            ++changed;
            RC_ASSERT(after[i].status == CANDIDATE_PENDING);
            RC_ASSERT(after[i].frequency_khz == peak.frequency_khz);
            RC_ASSERT(std::abs(peak.frequency_khz - before[i].frequency_khz) <= 999);
            RC_ASSERT(after[i].symbol_rate ==
                      std::max<std::int32_t>(before[i].symbol_rate, peak.symbol_rate_ksps));
        }
        RC_ASSERT(changed <= 1);
    });
}

TEST_F(ScanListProperty, a_filtered_peak_is_either_inserted_or_dropped_with_one_message) {
    check([] {
        Records before = *ascending_lists();
        const Peaks peaks = *rc::gen::container<Peaks>(peaks_near(before));
        CandidateList list(static_cast<std::uint16_t>(before.size() + peaks.size() + 1), before);

        Records expected = before;
        for (const Peak &peak : peaks) {
            const std::uint16_t count = ds3000_context.scan_count;
            const std::string message = list.filter(peak);

            if (message.empty()) {
                expected.push_back(as_pending(peak));
                RC_ASSERT(ds3000_context.scan_count == count + 1);
            } else {
                const std::string frequency = std::to_string(peak.frequency_khz);
                RC_ASSERT(ds3000_context.scan_count == count);
                RC_ASSERT(message.ends_with("Skip TP!!!!!!!   Freq. == " + frequency + "\n\n") ||
                          message.ends_with("Skip TP!!!!!!!  Freq. == " + frequency + "\n\n"));
            }
            RC_ASSERT(ascending(counted(list)));
            RC_ASSERT(ds3000_context.scan_cursor < std::max<int>(1, ds3000_context.scan_count));
        }

        // With it every entry of before, the locked ones included, exactly as it was.
        RC_ASSERT(sorted(counted(list)) == sorted(expected));
    });
}

TEST_F(ScanListProperty, the_last_match_is_the_frequency_of_an_entry) {
    check([] {
        const Records before = *rc::gen::nonEmpty(ascending_lists());
        CandidateList list(static_cast<std::uint16_t>(before.size() + 1), before);
        ds3000_context.scan_cursor =
            *rc::gen::inRange<std::uint16_t>(0, static_cast<std::uint16_t>(before.size()));
        const auto at_end = *rc::gen::inRange(0, 2);
        ds3000_context.scan_cursor_at_end = static_cast<std::uint8_t>(at_end);

        list.filter(*peaks_near(before));

        RC_ASSERT(std::any_of(before.begin(), before.end(), [](const Record &record) {
            return static_cast<std::uint32_t>(record.frequency_khz) ==
                   ds3000_context.scan_last_match_khz;
        }));
        RC_ASSERT(ds3000_context.scan_cursor_at_end >= at_end);
    });
}

TEST_F(ScanListProperty, a_peak_that_repeats_the_entry_at_the_cursor_is_dropped) {
    check([] {
        const Records before = *rc::gen::nonEmpty(ascending_lists());
        CandidateList list(static_cast<std::uint16_t>(before.size()), before);
        const auto cursor =
            *rc::gen::inRange<std::uint16_t>(0, static_cast<std::uint16_t>(before.size()));
        ds3000_context.scan_cursor = cursor;
        const Record entry = before[cursor];

        RC_ASSERT(list.filter({entry.frequency_khz, entry.symbol_rate})
                      .find(is_locked(entry) ? "Overlap" : "Similar") != std::string::npos);

        RC_ASSERT(counted(list) == before);
        RC_ASSERT(ds3000_context.scan_cursor == cursor);
        RC_ASSERT(ds3000_context.scan_count == before.size());
    });
}

TEST_F(ScanListProperty, compaction_partitions_the_list_and_loses_nothing) {
    check([] {
        const auto length = *rc::gen::inRange<std::size_t>(1, 600);
        Records before = *rc::gen::container<Records>(length, entries());
        for (Record &record : before) {
            record.code_rate = record.status == CANDIDATE_REJECTED ? 0 : record.code_rate;
        }
        // The last record is the spare one.
        CandidateList list(static_cast<std::uint16_t>(length - 1), before);
        ds3000_context.scan_count = static_cast<std::uint16_t>(length - 1);

        RC_ASSERT(scan_list_compact(&list.request, 9999000) == 0);

        const auto taking_part = static_cast<std::ptrdiff_t>((length - 1) % 256 + 1);
        const auto is_rejected = [](const Record &record) {
            return record.status == CANDIDATE_REJECTED;
        };
        const Records after = list.records();
        RC_ASSERT(sorted(after) == sorted(before));
        RC_ASSERT(std::equal(before.begin() + taking_part, before.end(),
                             after.begin() + taking_part, after.end()));

        const auto good = std::remove_if(before.begin(), before.begin() + taking_part, is_rejected);
        const auto accepted = good - before.begin();
        RC_ASSERT(std::equal(before.begin(), good, after.begin(), after.begin() + accepted));
        RC_ASSERT(std::all_of(after.begin() + accepted, after.begin() + taking_part, is_rejected));
        RC_ASSERT(ds3000_context.scan_count == length - 1);
    });
}

// Every state that the fields can express: the array ends at a page that may not be touched.
TEST_F(ScanListProperty, no_state_leads_past_the_spare_record) {
    check([] {
        const auto capacity = *rc::gen::inRange<std::uint16_t>(1, 20);
        const Records before = *rc::gen::container<Records>(std::size_t{capacity} + 1, entries());
        CandidateList list(capacity, before);
        const auto any = [] {
            return *rc::gen::oneOf(rc::gen::inRange<std::uint16_t>(0, 25),
                                   rc::gen::inRange<std::uint16_t>(250, 260),
                                   rc::gen::inRange<std::uint16_t>(65530, 65535));
        };
        ds3000_context.scan_count = any();
        ds3000_context.scan_cursor = any();
        ds3000_context.scan_cursor_at_end = *rc::gen::element<std::uint8_t>(0, 1);
        ds3000_context.unicable_enabled = *rc::gen::element<std::uint8_t>(0, 1);
        ds3000_context.scan_last_match_khz = 1;
        const auto pass = *rc::gen::element<std::uint8_t>(0, 1, 2);

        for (const Peak &peak : *rc::gen::container<Peaks>(8, peaks_near(before))) {
            const bool refused = ds3000_context.scan_count >= capacity;
            const Records here = list.records();
            if (*rc::gen::arbitrary<bool>()) {
                list.insert(peak, pass);
            } else {
                list.filter(peak, std::max<std::uint8_t>(pass, 1));
            }
            if (refused) {
                RC_ASSERT(list.records() == here);
            }
        }
        ds3000::return_cursor_to_last_match(list.request);
        scan_list_compact(&list.request, *rc::gen::element(9999000, 1250000, 0));
    });
}

}  // namespace
