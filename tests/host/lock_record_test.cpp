// SPDX-License-Identifier: MIT
#include "host/monitor/lock_record.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <utility>

namespace tests {
namespace {

using host::LockRecord;

TEST(LockRecord, begins_without_a_lock) {
    LockRecord record;
    record.polled(false, 50);
    EXPECT_FALSE(record.ever_locked());
    EXPECT_EQ(record.since_ms(), 0U);
    EXPECT_EQ(record.locked_ms(), 0U);
}

TEST(LockRecord, knows_since_when_and_for_how_long) {
    LockRecord record;
    record.polled(true, 100);
    record.polled(true, 400);
    EXPECT_TRUE(record.locked());
    EXPECT_EQ(record.since_ms(), 100U);
    EXPECT_EQ(record.locked_ms(), 300U);

    record.polled(false, 500);
    record.polled(false, 700);
    EXPECT_FALSE(record.locked());
    EXPECT_TRUE(record.ever_locked());
    EXPECT_EQ(record.since_ms(), 500U);
    EXPECT_EQ(record.losses(), 1U);

    record.polled(true, 1'000);
    record.polled(true, 1'250);
    EXPECT_EQ(record.since_ms(), 1'000U);
    EXPECT_EQ(record.locked_ms(), 650U) << "400 and 250";
    EXPECT_EQ(record.losses(), 1U);
}

TEST(LockRecord, knows_the_longest_time_without_lock_and_when_it_began) {
    LockRecord record;
    const auto longest = [&record] {
        return std::pair(record.longest_gap().from_ms, record.longest_gap().ms);
    };
    record.polled(false, 5'000);
    EXPECT_EQ(record.longest_gap().ms, 0U) << "there was no lock to be lost";
    record.polled(true, 6'000);
    record.polled(false, 7'000);
    record.polled(false, 7'400);
    EXPECT_EQ(longest(), std::pair(std::uint64_t{7'000}, std::uint64_t{400})) << "goes on";
    record.polled(true, 7'500);
    record.polled(false, 9'000);
    record.polled(false, 9'500);
    EXPECT_EQ(longest(), std::pair(std::uint64_t{7'000}, std::uint64_t{500})) << "not longer yet";
    record.polled(true, 9'600);
    record.polled(true, 20'000);
    EXPECT_EQ(longest(), std::pair(std::uint64_t{9'000}, std::uint64_t{600}));
}

TEST(LockRecord, wants_a_search_begun_anew_that_found_nothing_in_three_seconds) {
    LockRecord record;
    record.polled(false, 2'999);
    EXPECT_FALSE(record.wants_restart(2'999));
    EXPECT_TRUE(record.wants_restart(3'000));
    record.restarted(3'000);
    EXPECT_FALSE(record.wants_restart(5'999));
    EXPECT_TRUE(record.wants_restart(6'000));
    EXPECT_EQ(record.restarts(), 1U);

    record.polled(true, 6'000);
    EXPECT_FALSE(record.wants_restart(60'000));
    record.polled(false, 61'000);
    EXPECT_FALSE(record.wants_restart(63'999)) << "the chip searches by itself from the loss on";
    EXPECT_TRUE(record.wants_restart(64'000));
}

}  // namespace
}  // namespace tests
