// SPDX-License-Identifier: MIT
#include "host/monitor/lock_record.h"

#include <gtest/gtest.h>

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
