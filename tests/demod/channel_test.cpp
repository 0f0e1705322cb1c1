// SPDX-License-Identifier: MIT
#include "tests/demod/channel_test.h"

#include <cstddef>
#include <iterator>
#include <type_traits>

#include "ds3000/hw/hdi.h"
#include "ds3000/hw/register_access.h"
#include "trace/transcript.h"

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

// Where a text of whole lines stands in a transcript; npos unless it stands there exactly once.
std::size_t find_once(const std::string &transcript, std::string_view lines) {
    const std::string wanted = '\n' + std::string(lines) + '\n';
    const std::size_t at = transcript.find(wanted);
    if (at == std::string::npos || transcript.find(wanted, at + 1) != std::string::npos) {
        ADD_FAILURE() << "not there exactly once:\n" << lines;
        return std::string::npos;
    }
    return at + 1;
}

template <typename Value>
std::int64_t as_number(Value value) {
    if constexpr (std::is_pointer_v<Value>) {
        return value != nullptr ? 1 : 0;
    } else {
        return static_cast<std::int64_t>(value);
    }
}

// Calls visit(name, value in a, value in b) for each field.
template <typename Visitor>
void visit_fields(const struct ds3000_context &a, const struct ds3000_context &b,
                  const Visitor &visit) {
    visit("i2c_bus", a.i2c_bus, b.i2c_bus);
    visit("cold_start", a.cold_start, b.cold_start);
    visit("asleep", a.asleep, b.asleep);
    visit("chip_type", a.chip_type, b.chip_type);
    visit("tuner_type", a.tuner_type, b.tuner_type);
    visit("board_iq_swap", a.board_iq_swap, b.board_iq_swap);
    visit("unicable_enabled", a.unicable_enabled, b.unicable_enabled);
    visit("reg30_bit4_enable", a.reg30_bit4_enable, b.reg30_bit4_enable);
    visit("unicable_ub_index", a.unicable_ub_index, b.unicable_ub_index);
    visit("unicable_bank", a.unicable_bank, b.unicable_bank);
    visit("unicable_ub_freq_mhz", a.unicable_ub_freq_mhz, b.unicable_ub_freq_mhz);
    visit("standard", a.standard, b.standard);
    visit("requested_standard", a.requested_standard, b.requested_standard);
    visit("symbol_rate_ksps", a.symbol_rate_ksps, b.symbol_rate_ksps);
    visit("carrier_offset_khz", a.carrier_offset_khz, b.carrier_offset_khz);
    visit("spectrum_inverted", a.spectrum_inverted, b.spectrum_inverted);
    visit("locked_once", a.locked_once, b.locked_once);
    visit("first_poll", a.first_poll, b.first_poll);
    visit("ts_clock_pending", a.ts_clock_pending, b.ts_clock_pending);
    visit("s2_recovery_done", a.s2_recovery_done, b.s2_recovery_done);
    visit("master_clock_khz", a.master_clock_khz, b.master_clock_khz);
    visit("snr_db", a.snr_db, b.snr_db);
    visit("ber_errors", a.ber_errors, b.ber_errors);
    visit("ber_denominator", a.ber_denominator, b.ber_denominator);
    visit("tuner_wake", a.tuner_ops.tuner_wake, b.tuner_ops.tuner_wake);
    visit("tuner_set_frequency", a.tuner_ops.tuner_set_frequency, b.tuner_ops.tuner_set_frequency);
    visit("tuner_sleep", a.tuner_ops.tuner_sleep, b.tuner_ops.tuner_sleep);
    visit("tuner_get_offset", a.tuner_ops.tuner_get_offset, b.tuner_ops.tuner_get_offset);
    visit("tuner_get_gain", a.tuner_ops.tuner_get_gain, b.tuner_ops.tuner_get_gain);
    visit("tuner_frequency_offset", a.tuner_frequency_offset, b.tuner_frequency_offset);
    visit("strength_index", a.strength_index, b.strength_index);
    for (std::size_t i = 0; i < std::size(a.strength_ring); ++i) {
        visit("strength_ring", a.strength_ring[i], b.strength_ring[i]);
    }
    visit("scan_callback", a.scan_callback, b.scan_callback);
    visit("scan_cancel", a.scan_cancel, b.scan_cancel);
}

}  // namespace

std::int32_t ChannelTest::tuner_result = 0;

std::string edited(const std::string &transcript, std::initializer_list<Edit> edits) {
    std::string text = '\n' + transcript;
    for (const Edit &edit : edits) {
        const std::size_t at = find_once(text, edit.before);
        if (at != std::string::npos) {
            text.replace(at, edit.before.size(), edit.after);
        }
    }
    return text;
}

std::string lines_between(const std::string &transcript, std::string_view first,
                          std::string_view end) {
    const std::string text = '\n' + transcript;
    const std::size_t begin_at = find_once(text, first);
    const std::size_t end_at = find_once(text, end);
    if (begin_at == std::string::npos || end_at == std::string::npos || end_at < begin_at) {
        return {};
    }
    return text.substr(begin_at, end_at - begin_at);
}

std::string blocks_of(const std::uint8_t *image, int count) {
    std::string lines;
    for (int block = 0; block < count; ++block) {
        trace::Event event;
        event.kind = trace::EventKind::write;
        event.address = DEMOD_ADDRESS;
        event.data = {0xB0};
        const std::uint8_t *bytes = image + std::ptrdiff_t{block} * FIRMWARE_CHUNK;
        event.data.insert(event.data.end(), bytes, bytes + FIRMWARE_CHUNK);
        lines += (block == 0 ? "" : "\n") + trace::format_event(event);
    }
    return lines;
}

std::string initialisation(const std::string &name, const std::uint8_t *image) {
    return edited(golden(name), {{image_goes_here, blocks_of(image)}});
}

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
    Fields changes;
    visit_fields(remembered_, ds3000_context,
                 [&changes](const char *name, const auto &before, const auto &after) {
                     if (before != after) {
                         changes[name] = as_number(after);
                     }
                 });
    return changes;
}

}  // namespace tests
