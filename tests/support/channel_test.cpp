// SPDX-License-Identifier: MIT
#include "tests/support/channel_test.h"

#include "ds3000/hw/hdi.h"

namespace tests {

namespace {

std::int32_t offset_of_logging_tuner = 0;

std::int32_t log_wake() {
    log_print("tuner_wake");
    return 0;
}

std::int32_t log_sleep() {
    log_print("tuner_sleep");
    return 0;
}

std::int32_t log_get_offset() {
    log_print("tuner_get_offset");
    return offset_of_logging_tuner;
}

}  // namespace

std::int32_t ChannelTest::tuner_result = 0;

void ChannelTest::leave_old_channel() {
    ds3000_context.standard = 9;
    ds3000_context.requested_standard = 8;
    ds3000_context.symbol_rate_ksps = 9999;
    ds3000_context.carrier_offset_khz = 777;
    ds3000_context.spectrum_inverted = 7;
    ds3000_context.locked_once = 7;
    ds3000_context.first_poll = 7;
    ds3000_context.ts_clock_pending = 7;
    ds3000_context.s2_recovery_done = 7;
    ds3000_context.master_clock_khz = 115200;
    ds3000_context.tuner_frequency_offset = 55;
}

void ChannelTest::bind_logging_tuner(std::int32_t offset_khz) {
    offset_of_logging_tuner = offset_khz;
    tuner_result = 0;
    ds3000_context.tuner_ops.tuner_wake = log_wake;
    ds3000_context.tuner_ops.tuner_sleep = log_sleep;
    ds3000_context.tuner_ops.tuner_get_offset = log_get_offset;
    ds3000_context.tuner_ops.tuner_set_frequency = [](std::uint32_t frequency_khz,
                                                      std::uint32_t symbol_rate_ksps,
                                                      std::uint16_t margin_khz) -> std::int32_t {
        log_print("tuner_set_frequency %u %u %u", frequency_khz, symbol_rate_ksps, margin_khz);
        return tuner_result;
    };
}

Fields ChannelTest::changed_fields() const {
    const Fields before = fields_of(remembered_);
    Fields changes = fields_of(ds3000_context);
    std::erase_if(changes,
                  [&before](const auto &field) { return before.at(field.first) == field.second; });
    return changes;
}

}  // namespace tests
