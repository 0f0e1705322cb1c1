// SPDX-License-Identifier: MIT
#include "tests/support/context_fields.h"

#include <cstddef>
#include <iterator>

namespace tests {

Fields fields_of(const struct ds3000_context &context) {
    // By position, so that a new field does not compile until it stands here too.
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
    const auto &[wake, set_frequency, sleep, get_offset, get_gain] = ops;
    Fields fields{{"i2c_bus", field_value(i2c_bus)},
                  {"cold_start", cold_start},
                  {"asleep", asleep},
                  {"chip_type", chip_type},
                  {"tuner_type", tuner_type},
                  {"board_iq_swap", board_iq_swap},
                  {"unicable_enabled", unicable_enabled},
                  {"reg30_bit4_enable", reg30_bit4_enable},
                  {"unicable_ub_index", unicable_ub_index},
                  {"unicable_bank", unicable_bank},
                  {"unicable_ub_freq_mhz", unicable_ub_freq_mhz},
                  {"standard", standard},
                  {"requested_standard", requested_standard},
                  {"symbol_rate_ksps", symbol_rate_ksps},
                  {"carrier_offset_khz", carrier_offset_khz},
                  {"spectrum_inverted", spectrum_inverted},
                  {"locked_once", locked_once},
                  {"first_poll", first_poll},
                  {"ts_clock_pending", ts_clock_pending},
                  {"s2_recovery_done", s2_recovery_done},
                  {"master_clock_khz", master_clock_khz},
                  {"snr_db", snr_db},
                  {"ber_errors", ber_errors},
                  {"ber_denominator", ber_denominator},
                  {"tuner_wake", field_value(wake)},
                  {"tuner_set_frequency", field_value(set_frequency)},
                  {"tuner_sleep", field_value(sleep)},
                  {"tuner_get_offset", field_value(get_offset)},
                  {"tuner_get_gain", field_value(get_gain)},
                  {"tuner_frequency_offset", tuner_frequency_offset},
                  {"strength_index", strength_index},
                  {"ub_count", ub_count},
                  {"scan_callback", field_value(scan_callback)},
                  {"scan_cancel", scan_cancel},
                  {"scan_passes", scan_passes},
                  {"scan_count", scan_count},
                  {"scan_locked_count", scan_locked_count},
                  {"scan_cursor", scan_cursor},
                  {"scan_cursor_at_end", scan_cursor_at_end},
                  {"scan_last_match_khz", scan_last_match_khz},
                  {"scan_center_khz", scan_center_khz},
                  {"scan_ref_captured", scan_ref_captured},
                  {"scan_ref_from_lock", scan_ref_from_lock},
                  {"scan_ref_freq_khz", scan_ref_freq_khz},
                  {"scan_ref_width_ksps", scan_ref_width_ksps},
                  {"scan_window_bins", scan_window_bins},
                  {"scan_span_khz", scan_span_khz}};
    for (std::size_t i = 0; i < std::size(strength_ring); ++i) {
        fields["strength_ring[" + std::to_string(i) + "]"] = strength_ring[i];
    }
    return fields;
}

Fields with(Fields fields, const Fields &more) {
    for (const auto &[name, value] : more) {
        fields[name] = value;
    }
    return fields;
}

}  // namespace tests
