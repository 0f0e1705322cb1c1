// SPDX-License-Identifier: MIT
#include "ds3000/scan/scan_control.h"

#include "ds3000/demod/power.h"
#include "tests/support/chip_test.h"

namespace {

using ScanControl = tests::ChipTest;

TEST_F(ScanControl, cancel_stores_the_low_byte_of_its_value) {
    EXPECT_EQ(ds3000_set_scan_cancel(1), DS3000_OK);
    EXPECT_EQ(ds3000_context.scan_cancel, 1);
    EXPECT_EQ(ds3000_set_scan_cancel(0x1FF), DS3000_OK);
    EXPECT_EQ(ds3000_context.scan_cancel, 0xFF);
    EXPECT_EQ(ds3000_set_scan_cancel(0x100), DS3000_OK);
    EXPECT_EQ(ds3000_context.scan_cancel, 0);
}

std::uint32_t last_event;
void *last_argument;

void remember(std::uint32_t event, void *argument) {
    last_event = event;
    last_argument = argument;
}

TEST_F(ScanControl, the_callback_set_is_the_one_called) {
    EXPECT_EQ(ds3000_set_scan_callback(remember), DS3000_OK);

    int argument = 0;
    ds3000_context.scan_callback(5, &argument);
    EXPECT_EQ(last_event, 5U);
    EXPECT_EQ(last_argument, &argument);
}

TEST_F(ScanControl, a_null_callback_is_refused_and_the_previous_one_stays) {
    ds3000_set_scan_callback(remember);

    EXPECT_EQ(ds3000_set_scan_callback(nullptr), DS3000_UNBOUND);
    EXPECT_EQ(ds3000_context.scan_callback, &remember);
}

TEST_F(ScanControl, the_callback_at_load_does_nothing) {
    std::uint32_t argument = 0x12345678;
    const struct ds3000_context before = ds3000_context;

    ds3000_context.scan_callback(0, &argument);

    EXPECT_EQ(argument, 0x12345678U);
    EXPECT_EQ(ds3000_context.scan_callback, before.scan_callback);
    EXPECT_EQ(ds3000_context.scan_cancel, before.scan_cancel);
}

TEST_F(ScanControl, the_revision_is_60303) {
    std::uint32_t revision = 0;
    EXPECT_EQ(ds3000_get_revision(&revision), DS3000_OK);
    EXPECT_EQ(revision, 60303U);
}

}  // namespace
