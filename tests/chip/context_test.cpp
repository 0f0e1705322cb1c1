// SPDX-License-Identifier: MIT
#include "ds3000/chip/ds3000_context.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "tests/support/context_fields.h"

namespace tests {
namespace {

// This program's first look at the module state, before any test has run.
const struct ds3000_context at_load = ds3000_context;

Fields load_state() {
    Fields fields{{"i2c_bus", 0},
                  {"cold_start", 1},
                  {"asleep", 0},
                  {"chip_type", 0},
                  {"tuner_type", 2},
                  {"board_iq_swap", 0},
                  {"unicable_enabled", 0},
                  {"reg30_bit4_enable", 0},
                  {"unicable_ub_index", 0},
                  {"unicable_bank", 1},
                  {"unicable_ub_freq_mhz", 1210},
                  {"standard", 4},
                  {"requested_standard", 4},
                  {"symbol_rate_ksps", 0},
                  {"carrier_offset_khz", 0},
                  {"spectrum_inverted", 0},
                  {"locked_once", 0},
                  {"first_poll", 0},
                  {"ts_clock_pending", 0},
                  {"s2_recovery_done", 0},
                  {"master_clock_khz", 96000},
                  {"snr_db", 0},
                  {"ber_errors", 0},
                  {"ber_denominator", 0xFFFF},
                  {"tuner_wake", 0},
                  {"tuner_set_frequency", 0},
                  {"tuner_sleep", 0},
                  {"tuner_get_offset", 0},
                  {"tuner_get_gain", 0},
                  {"tuner_frequency_offset", 0},
                  {"strength_index", 0},
                  {"ub_count", 0},
                  {"scan_callback", field_value(&ds3000_ignore_scan_event)},
                  {"scan_cancel", 0},
                  {"scan_passes", 0},
                  {"scan_count", 0},
                  {"scan_locked_count", 0},
                  {"scan_cursor", 0},
                  {"scan_cursor_at_end", 0},
                  {"scan_last_match_khz", 0},
                  {"scan_center_khz", 0},
                  {"scan_ref_captured", 0},
                  {"scan_ref_from_lock", 0},
                  {"scan_ref_freq_khz", 0},
                  {"scan_ref_width_ksps", 0},
                  {"scan_window_bins", 0},
                  {"scan_span_khz", 60000}};
    for (int i = 0; i < 16; ++i) {
        fields["strength_ring[" + std::to_string(i) + "]"] = 0;
    }
    return fields;
}

TEST(ContextTest, load_values) { EXPECT_EQ(fields_of(at_load), load_state()); }

TEST(ContextTest, one_assignment_restores_the_load_state) {
    std::memset(static_cast<void *>(&ds3000_context), 0xA5, sizeof(ds3000_context));
    for (const auto &[name, value] : fields_of(ds3000_context)) {
        EXPECT_NE(value, load_state().at(name)) << name;
    }

    ds3000_context = {};

    EXPECT_EQ(fields_of(ds3000_context), load_state());
}

TEST(ContextTest, scan_events_are_ignored_until_a_callback_is_set) {
    ds3000_context = {};
    ds3000_context.scan_callback(0, nullptr);
    EXPECT_EQ(fields_of(ds3000_context), load_state());
}

TEST(ContextTest, codes_shared_by_the_chip_layer) {
    using Codes = std::vector<int>;
    EXPECT_EQ((Codes{DS3000_OK, DS3000_BAD_ARGUMENT, DS3000_NOT_AVAILABLE, DS3000_UNKNOWN_CHIP,
                     DS3000_I2C_FAILED, DS3000_LIST_FULL, DS3000_UNBOUND, DS3000_DISEQC_TIMEOUT,
                     DS3000_DISEQC_REPLY, DS3000_BAD_ALGORITHM}),
              (Codes{0, -3, -4, -6, -8, -10, -11, -12, -13, -13}));
    EXPECT_EQ((Codes{CHIP_DS300X, CHIP_DS3002B, CHIP_DS3103, CHIP_UNKNOWN}), (Codes{1, 2, 3, 4}));
    EXPECT_EQ((Codes{STANDARD_DVBS, STANDARD_DVBS2, STANDARD_AUTO}), (Codes{4, 5, 6}));
    EXPECT_EQ((Codes{LOCK_FAILED, LOCK_LOCKED, LOCK_SEARCHING}), (Codes{1, 2, 4}));
    EXPECT_EQ((Codes{CODE_RATE_UNKNOWN, CODE_RATE_1_4, CODE_RATE_1_3, CODE_RATE_2_5, CODE_RATE_1_2,
                     CODE_RATE_3_5, CODE_RATE_2_3, CODE_RATE_3_4, CODE_RATE_4_5, CODE_RATE_5_6,
                     CODE_RATE_7_8, CODE_RATE_8_9, CODE_RATE_9_10}),
              (Codes{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}));
    EXPECT_EQ((Codes{MODULATION_UNKNOWN, MODULATION_QPSK, MODULATION_8PSK, MODULATION_16APSK,
                     MODULATION_32APSK}),
              (Codes{0, 8, 9, 10, 11}));
}

}  // namespace
}  // namespace tests
