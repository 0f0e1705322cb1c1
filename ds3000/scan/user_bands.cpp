// SPDX-License-Identifier: MIT
#include "ds3000/scan/user_bands.h"

#include <algorithm>
#include <cstdint>
#include <iterator>

#include "ds3000/chip/ds3000_context.h"
#include "ds3000/chip/ds3000_regs.h"
#include "ds3000/chip/tuner_bound.h"
#include "ds3000/demod/board_options.h"
#include "ds3000/demod/carrier.h"
#include "ds3000/demod/lock_status.h"
#include "ds3000/demod/mcu.h"
#include "ds3000/diseqc/diseqc.h"
#include "ds3000/hw/bits.h"
#include "ds3000/hw/message.h"
#include "ds3000/hw/register_access.h"
#include "ds3000/hw/register_byte.h"
#include "ds3000/hw/wait.h"

namespace ds3000 {

namespace {

constexpr std::uint32_t measuring_rate_ksps = 40000;
constexpr std::int32_t step_mhz = 30;
constexpr std::int32_t verification_shift_khz = 5000;

// The gain figure that every measurement reports: the tuner's own is read and not used.
constexpr std::int32_t reported_gain = 1151;

// clang-format off
constexpr std::uint8_t measure_table[][2] = {
    {0x23, 0x07}, {0x08, 0x03}, {0x0C, 0x06}, {0x21, 0x54}, {0x25, 0x82}, {0x30, 0x08},
    {0x32, 0x32}, {0x33, 0x35}, {0x35, 0x20}, {0x4A, 0x80}, {0x4D, 0x91}, {0x5D, 0xC8},
    {0x50, 0x36}, {0x51, 0x36}, {0x52, 0x36}, {0x53, 0x36}, {0x56, 0x00}, {0x63, 0x0F},
    {0x64, 0x10}, {0x65, 0x20}, {0x68, 0x46}, {0x69, 0xCD}, {0x90, 0x33}, {0xC4, 0x01},
    {0xC6, 0xFF}, {0xC7, 0xFF}, {0xC8, 0x00}, {0xC9, 0x80},
};
// clang-format on
static_assert(std::size(measure_table) == 28);

void program_measurement(demod_byte &byte) {
    hold_mcu();
    demod_write_table(measure_table[0], static_cast<std::int32_t>(std::size(measure_table)));
    put_board_options(byte);
    if (is_known_chip()) {
        ds3000_set_symbol_rate(measuring_rate_ksps);
    }
    release_mcu();
    wait_us(100000);
}

std::int32_t read_signed(std::uint8_t high_reg, std::uint8_t low_reg) {
    const std::uint8_t high = demod_byte().read(high_reg);
    return signed_word(high, demod_byte().read(low_reg));
}

struct sample {
    std::int32_t frequency;  // the chip's units
    std::int32_t amplitude;
};

sample read_sample() {
    sample s{};
    s.frequency = read_signed(reg::cci_frequency_high, reg::cci_frequency_low);
    s.amplitude = read_signed(reg::carrier_amplitude, reg::carrier_amplitude_low) / 128;
    message("\tFreq = %d, Amp = %d\n", s.frequency, s.amplitude);
    return s;
}

struct extent {
    std::int32_t least;
    std::int32_t most;

    void include(std::int32_t value) {
        least = std::min(least, value);
        most = std::max(most, value);
    }
    [[nodiscard]] bool reaches(std::int32_t width) const { return most - least >= width; }
};

// Five samples of a carrier that keeps its amplitude and its frequency. Writes the last one.
bool sample_stable_carrier(sample &last) {
    extent amplitude{};
    extent frequency{};
    for (int i = 0; i < 5; ++i) {
        if (i != 0) {
            wait_us(10000);
        }
        last = read_sample();
        if (i == 0) {
            amplitude = {last.amplitude, last.amplitude};
            frequency = {last.frequency, last.frequency};
        }
        amplitude.include(last.amplitude);
        frequency.include(last.frequency);
        if (amplitude.reaches(16)) {
            message("\tMaxAmp = %d, MinAmp = %d\n", amplitude.most, amplitude.least);
            return false;
        }
        if (frequency.reaches(256)) {
            message("\tMaxFreq = %d, MinFreq = %d\n", frequency.most, frequency.least);
            return false;
        }
    }
    return true;
}

// The programmed carrier offset, in its register's steps.
std::int32_t read_programmed_carrier(demod_byte &byte) {
    byte.clear(reg::carrier_select, reg::carrier_select_mask);
    return read_signed(reg::carrier_high, reg::carrier_low);
}

// How far the carrier lies from the centre, kHz. Its own figure is decimated, the programmed one
// is not.
double carrier_offset_khz(std::int32_t frequency, std::int32_t programmed, int decimation) {
    constexpr double reference_khz = 96000;
    return frequency / 65536.0 * reference_khz / decimation - programmed / 65536.0 * reference_khz;
}

// Whole kHz, truncated; the largest figure stands for what 32 bits do not hold.
std::int32_t whole_khz(double khz) {
    return khz > INT32_MIN && khz < INT32_MAX ? static_cast<std::int32_t>(khz) : INT32_MAX;
}

// A carrier that was measured: where, and how strong.
struct carrier {
    std::int32_t frequency_khz;
    std::int32_t amplitude;
};

carrier locate(std::uint32_t frequency_khz, const sample &last, double offset_khz) {
    const std::int32_t tuner_khz = ds3000_context.tuner_ops.tuner_get_offset();
    message("\tCCI Offset = [%d], TN_Offset = [%d]\n", whole_khz(offset_khz), tuner_khz);
    const bool turned = ds3000_sees_inverted_spectrum() != 0;
    const double total_khz = turned ? tuner_khz + offset_khz : offset_khz - tuner_khz;
    const double result_khz = turned ? frequency_khz + total_khz : frequency_khz - total_khz;
    const carrier found{whole_khz(result_khz), last.amplitude};
    message("\tAmp=[%d],Freq=[%d],CciFo=[%d],TnFo=[%d],Result=[%d]\n", found.amplitude,
            static_cast<std::int32_t>(frequency_khz), whole_khz(total_khz),
            ds3000_context.tuner_ops.tuner_get_offset(), found.frequency_khz);
    return found;
}

bool measure_carrier(std::uint32_t frequency_khz, carrier &found) {
    update_spectrum_inversion();
    ds3000_context.tuner_ops.tuner_set_frequency(frequency_khz, measuring_rate_ksps, 0);
    demod_byte byte;
    program_measurement(byte);
    if (!wait_for_search(byte)) {
        message("\tFailed to get CCI 1!\n");
        return false;
    }
    if (!amplitude_is_good(byte, amplitude_round::with_mcu_state)) {
        message("\tFailed to get CCI 2!\n");
        return false;
    }
    wait_us(1000);
    const std::int32_t programmed = read_programmed_carrier(byte);
    const int decimation = 1 << field_get(byte.read(reg::reg_c9), 6, 4);
    sample last{};
    if (!sample_stable_carrier(last)) {
        return false;
    }
    found = locate(frequency_khz, last, carrier_offset_khz(last.frequency, programmed, decimation));
    return true;
}

void request_test_tones() {
    lnb_control(1, 0, 1, 0);
    diseqc_message all_tones{.msg = {0xE0, 0x10, 0x5B, 0x00, 0x00},
                             .msg_len = 5,
                             .expect_reply = 0,
                             .option = 0,
                             .reply = {},
                             .reply_len = 0};
    diseqc_send(&all_tones);
    wait_us(10000);
    message("\tDiSEqC messages have been sent out!\n");
}

// The search's findings so far.
struct findings {
    ub_entry *entries;
    std::int32_t count = 0;
    std::int32_t most_gain = 0;
    std::int32_t least_gain = -1;  // so no gain of 0 or more is ever the least

    [[nodiscard]] bool has(std::int32_t frequency_mhz) const {
        return std::any_of(entries, entries + count, [frequency_mhz](const ub_entry &entry) {
            const auto found_mhz = static_cast<std::int32_t>(entry.frequency_mhz);
            return found_mhz - 1 <= frequency_mhz && frequency_mhz <= found_mhz + 1;
        });
    }

    void add(std::int32_t frequency_mhz, std::int32_t gain) {
        ub_entry &entry = entries[count++];
        entry.frequency_mhz = static_cast<std::uint32_t>(frequency_mhz);
        entry.valid = 1;
        entry.measured_frequency_mhz = entry.frequency_mhz;
        entry.gain = gain;
        most_gain = std::max(most_gain, gain);
        least_gain = std::min(least_gain, gain);
        ds3000_context.ub_count += 1;
    }
};

void search_step(std::uint32_t frequency_mhz, findings &found) {
    std::int32_t result_mhz = 0;
    std::int32_t amplitude = 0;
    std::int32_t gain = 0;
    message("\n\t--------[%4d]MHz--------\n", static_cast<std::int32_t>(frequency_mhz));
    if (ub_measure(frequency_mhz * 1000, &result_mhz, &amplitude, &gain) != 1 ||
        found.has(result_mhz)) {
        return;
    }
    message("\t[CCI -- %4d]MHz----[AMP -- %4d]----[Gain -- %d]\n", result_mhz, amplitude, gain);
    std::int32_t verified_mhz = 0;
    if (ub_measure(static_cast<std::uint32_t>(result_mhz * 1000 + verification_shift_khz),
                   &verified_mhz, &amplitude, &gain) != 1) {
        return;
    }
    message("\t[VFY -- %4d]MHz----[AMP -- %4d]----[Gain -- %d]\n", verified_mhz, amplitude, gain);
    if (verified_mhz == result_mhz) {
        found.add(result_mhz, gain);
    }
}

// The average gain of the entries that lie near the reference; 0 when there is none.
std::int32_t average_gain(const findings &found) {
    const std::int32_t reference = std::min(found.most_gain, found.least_gain);
    std::int32_t sum = 0;
    std::int32_t counted = 0;
    for (std::int32_t i = 0; i < found.count; ++i) {
        const std::int32_t gain = found.entries[i].gain;
        if (found.entries[i].valid != 0 && gain * 10 / reference < 15) {
            sum += gain;
            ++counted;
        }
    }
    return counted != 0 ? sum / counted : 0;
}

void check_gains(const findings &found, std::int32_t average) {
    for (std::int32_t i = 0; i < found.count; ++i) {
        ub_entry &entry = found.entries[i];
        const std::int32_t ratio = entry.gain * 100 / average;
        const bool plausible = ratio < 151;
        message("\t[%02d]--Freq = [%4d] Gain = [%d], Avg = [%d], Ratio = [%d]--%s!\n", i,
                static_cast<std::int32_t>(entry.frequency_mhz), entry.gain, average, ratio,
                plausible ? "OK" : "FAIL");
        if (!plausible) {
            entry.valid = 0;
            ds3000_context.ub_count -= 1;
        }
    }
}

}  // namespace

extern "C" {

int32_t ub_detect(uint16_t start_mhz, uint16_t end_mhz, struct ub_entry *entries,
                  uint8_t send_command) {
    update_spectrum_inversion();
    ds3000_context.ub_count = 0;
    if (send_command != 0) {
        request_test_tones();
    }
    findings found{entries};
    for (std::uint32_t frequency_mhz = static_cast<std::uint16_t>(start_mhz + step_mhz / 2);
         frequency_mhz < end_mhz; frequency_mhz += step_mhz) {
        search_step(frequency_mhz, found);
    }
    message("\n\tTotal %d %s found!\n\n", ds3000_context.ub_count,
            ds3000_context.ub_count == 1 ? "UB is" : "UBs are");
    if (const std::int32_t average = average_gain(found); average != 0) {
        check_gains(found, average);
    }
    return DS3000_OK;
}

int32_t ub_measure(uint32_t frequency_khz, int32_t *result_mhz, int32_t *amplitude, int32_t *gain) {
    *result_mhz = 0;
    *amplitude = 0;
    *gain = 0;
    const tuner_ops &tuner = ds3000_context.tuner_ops;
    if (!tuner_is_bound() || tuner.tuner_get_gain == nullptr) {
        return DS3000_UNBOUND;
    }
    carrier found{};
    if (!measure_carrier(frequency_khz, found)) {
        return 0;
    }
    *result_mhz = wrap_add(found.frequency_khz, 500) / 1000;
    *amplitude = found.amplitude;
    std::uint32_t measured_gain = 0;
    tuner.tuner_get_gain(&measured_gain);
    *gain = reported_gain;
    return 1;
}

}  // extern "C"

}  // namespace ds3000
