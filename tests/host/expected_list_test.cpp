// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>

#include <vector>

#include "ds3000/chip/ds3000_context.h"
#include "host/scan/expected_list.h"

namespace tests {
namespace {

using host::ExpectedList;
using host::ListManner;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr ListManner two_passes{8, 2, false, false};

scan_candidate locked_at(std::uint32_t khz, std::uint16_t ksps) {
    return {khz, ksps, 0, STANDARD_DVBS, CODE_RATE_3_4};
}

// The frequencies of all that the list counts, in MHz.
std::vector<unsigned> places(const ExpectedList &list) {
    std::vector<unsigned> mhz;
    for (std::size_t i = 0; i < list.held(); ++i) {
        mhz.push_back(list.records().at(i).frequency_khz / 1000);
    }
    return mhz;
}

// A list of one locked transponder, 30000 ksym/s at 1200 MHz, in the second of two passes.
ExpectedList one_locked() {
    ExpectedList list(two_passes);
    list.take({1'200'000, 30'000}, 0);
    list.put(0, locked_at(1'200'000, 30'000));
    list.begin_step();
    return list;
}

// The same with a rejected candidate of 22000 ksym/s.
ExpectedList one_rejected() {
    ExpectedList list(two_passes);
    list.take({1'200'000, 22'000}, 0);
    list.reject(0);
    list.begin_step();
    return list;
}

TEST(ExpectedList, first_pass_keeps_the_order_of_discovery) {
    ExpectedList list(two_passes);
    list.take({1'300'000, 20'000}, 0);
    list.take({1'200'000, 20'000}, 0);
    EXPECT_THAT(places(list), ElementsAre(1300U, 1200U));
}

TEST(ExpectedList, falling_peaks_are_sorted_from_the_first_pass_on) {
    ExpectedList list({8, 2, true, false});
    list.take({1'300'000, 20'000}, 0);
    list.take({1'200'000, 20'000}, 0);
    list.take({1'250'000, 20'000}, 0);
    EXPECT_THAT(places(list), ElementsAre(1200U, 1250U, 1300U));
}

TEST(ExpectedList, later_passes_insert_by_frequency) {
    ExpectedList list = one_locked();
    list.take({1'100'000, 5'000}, 1);
    list.take({1'300'000, 5'000}, 1);
    EXPECT_THAT(places(list), ElementsAre(1100U, 1200U, 1300U));
}

TEST(ExpectedList, peak_that_covers_a_locked_transponder_is_dropped) {
    ExpectedList list = one_locked();
    list.take({1'207'000, 27'500}, 1);
    EXPECT_EQ(list.count(), 1U) << "21750 kHz in common, 13750 are half, 7000 kHz away";
    list.begin_step();
    list.take({1'207'001, 27'500}, 1);
    EXPECT_EQ(list.count(), 2U);
}

TEST(ExpectedList, peak_that_resembles_a_rejected_one_is_dropped) {
    ExpectedList list = one_rejected();
    list.take({1'200'800, 22'250}, 1);
    EXPECT_EQ(list.count(), 1U);
    list.begin_step();
    list.take({1'200'801, 22'250}, 1);
    EXPECT_EQ(list.count(), 2U);
    list.begin_step();
    list.take({1'199'200, 21'749}, 1);
    EXPECT_EQ(list.count(), 3U) << "251 ksym/s less than the first one's";
}

TEST(ExpectedList, undecided_entries_are_not_compared_again) {
    ExpectedList list = one_rejected();
    list.take({1'230'000, 22'000}, 1);
    list.begin_step();
    list.take({1'230'000, 22'000}, 1);
    EXPECT_THAT(places(list), ElementsAre(1200U, 1230U, 1230U));
}

TEST(ExpectedList, full_list_counts_what_it_loses) {
    ExpectedList list({1, 1, false, false});
    list.take({1'200'000, 20'000}, 0);
    list.take({1'300'000, 20'000}, 0);
    list.take({1'400'000, 20'000}, 0);
    EXPECT_EQ(list.count(), 3U);
    EXPECT_THAT(places(list), ElementsAre(1200U, 0U)) << "the spare record is looked at";
}

TEST(ExpectedList, steps_of_a_unit_are_merged) {
    ExpectedList list({8, 2, false, true});
    list.take({1'200'000, 22'000}, 0);
    list.take({1'300'000, 5'000}, 0);
    list.begin_step();
    list.take({1'200'999, 22'999}, 1);
    EXPECT_EQ(list.records().at(0).frequency_khz, 1'200'999U);
    EXPECT_EQ(list.records().at(0).symbol_rate, 22'999U);
    EXPECT_THAT(places(list), ElementsAre(1200U, 1300U, 0U)) << "counted, and no record";
    list.begin_step();
    list.take({1'201'999, 22'999}, 1);
    EXPECT_THAT(places(list), ElementsAre(1200U, 1201U, 1300U, 0U));
}

TEST(ExpectedList, compaction_puts_the_rejected_behind_with_the_spare_record) {
    ExpectedList list(two_passes);
    list.take({1'100'000, 20'000}, 0);
    list.take({1'200'000, 20'000}, 0);
    list.take({1'300'000, 20'000}, 0);
    list.put(2, locked_at(1'300'000, 20'000));
    list.reject(1);
    list.compact();
    EXPECT_EQ(list.records().at(1).status, std::uint32_t{STANDARD_DVBS});
    EXPECT_EQ(list.records().at(1).code_rate, std::uint32_t{CODE_RATE_3_4});
    EXPECT_EQ(list.records().at(2).status, 0U);
    EXPECT_EQ(list.records().at(3).frequency_khz, 1'200'000U);
}

TEST(ExpectedList, knows_a_transponder_that_is_listed_already) {
    ExpectedList list(two_passes);
    list.take({1'200'000, 22'000}, 0);
    list.take({1'204'000, 22'000}, 0);
    list.put(0, locked_at(1'200'000, 22'000));
    EXPECT_TRUE(list.repeats_another(1, locked_at(1'210'999, 22'049)));
    EXPECT_FALSE(list.repeats_another(1, locked_at(1'211'000, 22'049))) << "half the rate away";
    EXPECT_FALSE(list.repeats_another(1, locked_at(1'200'000, 22'050)));
    EXPECT_FALSE(list.repeats_another(0, locked_at(1'200'000, 22'000))) << "itself";
    scan_candidate other = locked_at(1'200'000, 22'000);
    other.status = STANDARD_DVBS2;
    EXPECT_FALSE(list.repeats_another(1, other));
}

}  // namespace
}  // namespace tests
