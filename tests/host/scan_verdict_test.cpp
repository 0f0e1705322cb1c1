// SPDX-License-Identifier: MIT
#include "host/report/scan_verdict.h"

#include <gtest/gtest.h>

#include "host/terminal/counted.h"

namespace tests {
namespace {

// A comparison of so many rows, the first of which were found.
host::ScanResult compared(std::size_t rows, std::size_t found) {
    host::ScanResult result;
    result.comparison.emplace();
    result.comparison->rows.resize(rows);
    for (std::size_t i = 0; i < found; ++i) {
        result.comparison->rows[i].found = i;
    }
    return result;
}

TEST(ScanVerdict, rows_are_counted_in_words) {
    EXPECT_EQ(verdict_of(compared(83, 83)), "all 83 rows found");
    EXPECT_EQ(verdict_of(compared(1, 1)), "the one row found");
    EXPECT_EQ(verdict_of(compared(1, 0)), "0 of 1 row found");
    EXPECT_EQ(verdict_of(compared(3, 1)), "1 of 3 rows found, 2 missed");
}

TEST(ScanVerdict, drift_is_an_amount_and_a_side) {
    host::ScanResult result = compared(83, 83);
    result.comparison->common_offset_khz = 4'300;
    EXPECT_EQ(verdict_of(result), "all 83 rows found, LNB -4.3 MHz low");
    result.comparison->common_offset_khz = -1'200;
    EXPECT_EQ(verdict_of(result), "all 83 rows found, LNB +1.2 MHz high");
}

TEST(Counted, one_is_singular) {
    EXPECT_EQ(host::counted(1, "carrier"), "1 carrier");
    EXPECT_EQ(host::counted(0, "carrier"), "0 carriers");
    EXPECT_EQ(host::times_in_words(1), "once");
    EXPECT_EQ(host::times_in_words(2), "2 times");
}

}  // namespace
}  // namespace tests
