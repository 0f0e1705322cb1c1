// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>

#include "ds3000/chip/ds3000_context.h"

namespace tests {
namespace {

// This program's first look at the module state, before any test has run.
const struct ds3000_context at_load = ds3000_context;

void expect_load_state(const struct ds3000_context &context) {
    // By position, so that a new field does not compile until its load value stands here too.
    const auto &[i2c_bus, cold_start, asleep, chip_type, tuner_type, board_iq_swap,
                 unicable_enabled, reg30_bit4_enable, unicable_ub_index, unicable_bank,
                 unicable_ub_freq_mhz, standard, requested_standard, symbol_rate_ksps,
                 carrier_offset_khz, spectrum_inverted, locked_once, first_poll, ts_clock_pending,
                 s2_recovery_done, master_clock_khz, snr_db, ber_errors, ber_denominator, ops,
                 tuner_frequency_offset, strength_ring, strength_index, ub_count, scan_callback,
                 scan_cancel, scan_passes, scan_count, scan_locked_count, scan_cursor,
                 scan_cursor_at_end, scan_last_match_khz, scan_center_khz, scan_ref_captured,
                 scan_ref_from_lock, scan_ref_freq_khz, scan_ref_width_ksps, scan_window_bins,
                 scan_span_khz] = context;

    EXPECT_EQ(i2c_bus, nullptr);
    EXPECT_EQ(cold_start, 1);
    EXPECT_EQ(asleep, 0);
    EXPECT_EQ(chip_type, 0);
    EXPECT_EQ(tuner_type, 2);
    EXPECT_EQ(board_iq_swap, 0);
    EXPECT_EQ(unicable_enabled, 0);
    EXPECT_EQ(reg30_bit4_enable, 0);
    EXPECT_EQ(unicable_ub_index, 0);
    EXPECT_EQ(unicable_bank, 1);
    EXPECT_EQ(unicable_ub_freq_mhz, 1210);
    EXPECT_EQ(standard, 4U);
    EXPECT_EQ(requested_standard, 4U);
    EXPECT_EQ(symbol_rate_ksps, 0);
    EXPECT_EQ(carrier_offset_khz, 0);
    EXPECT_EQ(spectrum_inverted, 0);
    EXPECT_EQ(locked_once, 0U);
    EXPECT_EQ(first_poll, 0);
    EXPECT_EQ(ts_clock_pending, 0);
    EXPECT_EQ(s2_recovery_done, 0);
    EXPECT_EQ(master_clock_khz, 96000U);
    EXPECT_EQ(snr_db, 0);
    EXPECT_EQ(ber_errors, 0U);
    EXPECT_EQ(ber_denominator, 0xFFFFU);
    EXPECT_EQ(ops.tuner_wake, nullptr);
    EXPECT_EQ(ops.tuner_set_frequency, nullptr);
    EXPECT_EQ(ops.tuner_sleep, nullptr);
    EXPECT_EQ(ops.tuner_get_offset, nullptr);
    EXPECT_EQ(ops.tuner_get_gain, nullptr);
    EXPECT_EQ(tuner_frequency_offset, 0);
    EXPECT_THAT(strength_ring, testing::Each(0));
    EXPECT_EQ(strength_index, 0);
    EXPECT_EQ(ub_count, 0);
    EXPECT_EQ(scan_callback, &ds3000_ignore_scan_event);
    EXPECT_EQ(scan_cancel, 0);
    EXPECT_EQ(scan_passes, 0U);
    EXPECT_EQ(scan_count, 0);
    EXPECT_EQ(scan_locked_count, 0);
    EXPECT_EQ(scan_cursor, 0);
    EXPECT_EQ(scan_cursor_at_end, 0);
    EXPECT_EQ(scan_last_match_khz, 0U);
    EXPECT_EQ(scan_center_khz, 0U);
    EXPECT_EQ(scan_ref_captured, 0U);
    EXPECT_EQ(scan_ref_from_lock, 0U);
    EXPECT_EQ(scan_ref_freq_khz, 0U);
    EXPECT_EQ(scan_ref_width_ksps, 0U);
    EXPECT_EQ(scan_window_bins, 0U);
    EXPECT_EQ(scan_span_khz, 60000U);
}

// Every field away from its load value.
void disturb(struct ds3000_context &context) {
    context.i2c_bus = &context;
    context.cold_start = 0;
    context.asleep = 1;
    context.chip_type = CHIP_DS3103;
    context.tuner_type = 1;
    context.board_iq_swap = 1;
    context.unicable_enabled = 1;
    context.reg30_bit4_enable = 1;
    context.unicable_ub_index = 7;
    context.unicable_bank = 0;
    context.unicable_ub_freq_mhz = 1420;
    context.standard = STANDARD_DVBS2;
    context.requested_standard = STANDARD_AUTO;
    context.symbol_rate_ksps = 27500;
    context.carrier_offset_khz = -3000;
    context.spectrum_inverted = 1;
    context.locked_once = 1;
    context.first_poll = 1;
    context.ts_clock_pending = 1;
    context.s2_recovery_done = 1;
    context.master_clock_khz = 144000;
    context.snr_db = 12;
    context.ber_errors = 3;
    context.ber_denominator = 0x800000;
    context.tuner_ops.tuner_wake = [] { return 0; };
    context.tuner_ops.tuner_set_frequency = [](std::uint32_t, std::uint32_t, std::uint16_t) {
        return 0;
    };
    context.tuner_ops.tuner_sleep = [] { return 0; };
    context.tuner_ops.tuner_get_offset = [] { return 0; };
    context.tuner_ops.tuner_get_gain = [](std::uint32_t *) { return 0; };
    context.tuner_frequency_offset = 77;
    for (std::uint8_t &reading : context.strength_ring) {
        reading = 50;
    }
    context.strength_index = 15;
    context.ub_count = 8;
    context.scan_callback = nullptr;
    context.scan_cancel = 1;
    context.scan_passes = 2;
    context.scan_count = 40;
    context.scan_locked_count = 30;
    context.scan_cursor = 20;
    context.scan_cursor_at_end = 1;
    context.scan_last_match_khz = 1236000;
    context.scan_center_khz = 1240000;
    context.scan_ref_captured = 1;
    context.scan_ref_from_lock = 1;
    context.scan_ref_freq_khz = 1236000;
    context.scan_ref_width_ksps = 27500;
    context.scan_window_bins = 320;
    context.scan_span_khz = 30000;
}

TEST(ContextTest, load_values) { expect_load_state(at_load); }

TEST(ContextTest, one_assignment_restores_the_load_state) {
    disturb(ds3000_context);

    ds3000_context = {};

    expect_load_state(ds3000_context);
}

TEST(ContextTest, scan_events_are_ignored_until_a_callback_is_set) {
    ds3000_context = {};

    ds3000_context.scan_callback(0, nullptr);

    expect_load_state(ds3000_context);
}

TEST(ContextTest, codes_shared_by_the_chip_layer) {
    EXPECT_EQ(DS3000_OK, 0);
    EXPECT_EQ(DS3000_BAD_ARGUMENT, -3);
    EXPECT_EQ(DS3000_NOT_AVAILABLE, -4);
    EXPECT_EQ(DS3000_UNKNOWN_CHIP, -6);
    EXPECT_EQ(DS3000_I2C_FAILED, -8);
    EXPECT_EQ(DS3000_LIST_FULL, -10);
    EXPECT_EQ(DS3000_UNBOUND, -11);
    EXPECT_EQ(DS3000_DISEQC_TIMEOUT, -12);
    EXPECT_EQ(DS3000_DISEQC_REPLY, -13);
    EXPECT_EQ(DS3000_BAD_ALGORITHM, -13);

    EXPECT_EQ(CHIP_DS300X, 1);
    EXPECT_EQ(CHIP_DS3002B, 2);
    EXPECT_EQ(CHIP_DS3103, 3);
    EXPECT_EQ(CHIP_UNKNOWN, 4);

    EXPECT_EQ(STANDARD_DVBS, 4);
    EXPECT_EQ(STANDARD_DVBS2, 5);
    EXPECT_EQ(STANDARD_AUTO, 6);

    EXPECT_EQ(LOCK_FAILED, 1);
    EXPECT_EQ(LOCK_LOCKED, 2);
    EXPECT_EQ(LOCK_SEARCHING, 4);

    EXPECT_EQ(CODE_RATE_UNKNOWN, 0);
    EXPECT_EQ(CODE_RATE_1_4, 1);
    EXPECT_EQ(CODE_RATE_1_3, 2);
    EXPECT_EQ(CODE_RATE_2_5, 3);
    EXPECT_EQ(CODE_RATE_1_2, 4);
    EXPECT_EQ(CODE_RATE_3_5, 5);
    EXPECT_EQ(CODE_RATE_2_3, 6);
    EXPECT_EQ(CODE_RATE_3_4, 7);
    EXPECT_EQ(CODE_RATE_4_5, 8);
    EXPECT_EQ(CODE_RATE_5_6, 9);
    EXPECT_EQ(CODE_RATE_7_8, 10);
    EXPECT_EQ(CODE_RATE_8_9, 11);
    EXPECT_EQ(CODE_RATE_9_10, 12);

    EXPECT_EQ(MODULATION_UNKNOWN, 0);
    EXPECT_EQ(MODULATION_QPSK, 8);
    EXPECT_EQ(MODULATION_8PSK, 9);
    EXPECT_EQ(MODULATION_16APSK, 10);
    EXPECT_EQ(MODULATION_32APSK, 11);
}

}  // namespace
}  // namespace tests
