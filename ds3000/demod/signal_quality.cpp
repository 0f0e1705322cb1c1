// SPDX-License-Identifier: MIT
#include "ds3000/demod/signal_quality.h"

#include <algorithm>
#include <cstdint>
#include <iterator>

#include "ds3000/chip/ds3000_context.h"
#include "ds3000/chip/ds3000_regs.h"
#include "ds3000/hw/bits.h"
#include "ds3000/hw/register_access.h"
#include "ds3000/hw/register_byte.h"

namespace ds3000 {

namespace {

// 10000 × ln(i + 1).
constexpr std::uint16_t ln_table[] = {
    0,     6931,  10986, 13863, 16094, 17918, 19459, 20794, 21972, 23026, 23979,
    24849, 25649, 26391, 27081, 27726, 28332, 28904, 29444, 29957, 30445, 30910,
    31355, 31781, 32189, 32581, 32958, 33322, 33673, 34012, 34340, 34657,
};
static_assert(std::size(ln_table) == 32);

// About 10000 × log10(i + 1).
constexpr std::uint16_t log10_table[] = {
    0,     3010,  4771,  6021,  6990,  7781,  8451,  9031,  9542,  10000, 10414, 10792,
    11139, 11461, 11761, 12041, 12304, 12553, 12788, 13010, 13222, 13424, 13617, 13802,
    13979, 14150, 14314, 14472, 14624, 14771, 14914, 15052, 15185, 15315, 15441, 15563,
    15682, 15798, 15911, 16021, 16128, 16232, 16335, 16435, 16532, 16628, 16721, 16812,
    16902, 16990, 17076, 17160, 17243, 17324, 17404, 17482, 17559, 17634, 17709, 17782,
    17853, 17924, 17993, 18062, 18129, 18195, 18261, 18325, 18388, 18451, 18513, 18573,
    18633, 18692, 18751, 18808, 18865, 18921, 18976, 19031,
};
static_assert(std::size(log10_table) == 80);

constexpr int averaging_rounds = 10;

bool in_dvbs2() { return ds3000_context.standard == STANDARD_DVBS2; }

// Whole dB of a power ratio of at least 1, limited to the table's 19 dB. The estimates below are
// at most 32512 (signal) and 4095 (noise), so a ratio always fits 16 bits.
std::int32_t decibels(std::int32_t ratio) {
    const auto index = std::min<std::int32_t>(ratio, std::size(log10_table));
    return log10_table[index - 1] / 1000;
}

std::int32_t dvbs2_snr_db() {
    std::int32_t noise = 0;
    std::int32_t signal = 0;
    demod_byte noise_low;
    demod_byte noise_high;
    demod_byte signal_level;
    for (int round = 0; round < averaging_rounds; ++round) {
        const std::uint8_t low = noise_low.read(reg::s2_noise_low) & 0x3F;
        noise += (64 * noise_high.read(reg::s2_noise_high) + low) >> 2U;
        const std::uint8_t amplitude = signal_level.read(reg::s2_signal);
        signal += (amplitude * amplitude) >> 1U;
    }
    noise /= averaging_rounds;
    signal /= averaging_rounds;
    if (signal == 0) {
        return 0;
    }
    if (noise == 0) {
        return 19;
    }
    return noise >= signal ? -decibels(noise / signal) : decibels(signal / noise);
}

// The register holds eight times the power ratio; the table is limited to a ratio of 32.
std::int32_t dvbs_snr_db() {
    std::int32_t sum = 0;
    demod_byte reading;
    for (int round = 0; round < averaging_rounds; ++round) {
        sum += reading.read(reg::s_snr);
    }
    const std::int32_t ratio = sum / (8 * averaging_rounds);
    if (ratio == 0) {
        return 0;
    }
    const auto index = std::min<std::int32_t>(ratio, std::size(ln_table));
    return ln_table[index - 1] * 10 / 23026;
}

// Bits 3..0 of the MODCOD register.
std::uint32_t dvbs2_code_rate(std::uint8_t modcod) {
    constexpr std::uint8_t codes[] = {
        CODE_RATE_1_4, CODE_RATE_1_3, CODE_RATE_2_5, CODE_RATE_1_2, CODE_RATE_3_5,  CODE_RATE_2_3,
        CODE_RATE_3_4, CODE_RATE_4_5, CODE_RATE_5_6, CODE_RATE_8_9, CODE_RATE_9_10,
    };
    const std::uint8_t field = modcod & 0x0F;
    return field < std::size(codes) ? codes[field] : std::uint32_t{CODE_RATE_UNKNOWN};
}

std::uint32_t dvbs_code_rate(std::uint8_t byte) {
    constexpr std::uint8_t codes[] = {
        CODE_RATE_7_8, CODE_RATE_5_6,     CODE_RATE_3_4,     CODE_RATE_2_3,
        CODE_RATE_1_2, CODE_RATE_UNKNOWN, CODE_RATE_UNKNOWN, CODE_RATE_UNKNOWN,
    };
    return codes[field_get(byte, 7, 5)];
}

void read_dvbs2_parameters(ds3000_signal_info &info) {
    constexpr std::uint8_t roll_offs[] = {1, 2, 3, 0};
    demod_byte byte;
    const std::uint8_t modcod = byte.read(reg::modcod);
    info.modulation = std::uint32_t{MODULATION_QPSK} + field_get(modcod, 7, 6);
    info.pilots = is_set(modcod, reg::modcod_pilots) ? 1 : 0;
    info.code_rate = dvbs2_code_rate(modcod);
    info.inversion = is_set(byte.read(reg::s2_inversion), bit(7)) ? 2 : 1;
    info.roll_off = roll_offs[field_get(byte.read(reg::s2_roll_off), 1, 0)];
}

void read_dvbs_parameters(ds3000_signal_info &info) {
    demod_byte byte;
    info.modulation = MODULATION_QPSK;
    info.roll_off = 1;
    info.pilots = 0;
    info.code_rate = dvbs_code_rate(byte.read(reg::s_code_rate));
    info.inversion = is_set(byte.read(reg::s_inversion), bit(2)) ? 2 : 1;
}

// Payload bits of a normal frame: its BCH payload less the 80 bits of the base-band header.
std::int32_t frame_payload_bits(std::uint32_t code_rate) {
    constexpr std::int32_t bits[] = {0,     15928, 21328, 25648, 32128, 38608, 42960,
                                     48328, 51568, 53760, 0,     57392, 58112};
    static_assert(std::size(bits) == CODE_RATE_9_10 + 1);
    return bits[code_rate];
}

constexpr std::int32_t packet_bits = 188 * 8;
constexpr std::int32_t enough_frames = 3001;

void restart_dvbs2_counters() {
    demod_write(reg::s2_counter_reset, 0x01);
    demod_write(reg::errors_control, 0x01);
    demod_write(reg::errors_control, 0x00);
    demod_write(reg::s2_counter_reset, 0x00);
}

// Count in packets. Returns whether the counters hold enough frames to report.
bool count_dvbs2_errors() {
    ds3000_signal_info info{};
    ds3000_get_signal_info(&info);
    const std::uint8_t high = demod_byte().read(reg::s2_frames_high);
    const std::uint8_t mid = demod_byte().read(reg::s2_frames_mid);
    const std::uint8_t low = demod_byte().read(reg::s2_frames_low);
    const std::int32_t frames = (high << 16U) | (mid << 8U) | low;
    const std::uint8_t errors_high = demod_byte().read(reg::errors_high);
    const std::uint8_t errors_low = demod_byte().read(reg::errors_mid);
    ds3000_context.ber_errors = static_cast<std::uint32_t>((errors_high << 8U) | errors_low);
    ds3000_context.ber_denominator = static_cast<std::uint32_t>(
        wrap_multiply(frame_payload_bits(info.code_rate), frames) / packet_bits);
    if (frames < enough_frames) {
        return false;
    }
    restart_dvbs2_counters();
    return true;
}

// Count in bits, over a window of 2^20 or 2^23.
void count_dvbs_errors() {
    demod_write(reg::errors_control, 0x04);
    const std::uint8_t state = demod_byte().read(reg::errors_high);
    if (!is_set(state, reg::errors_running)) {
        const std::uint8_t low = demod_byte().read(reg::s_errors_low);
        const std::uint8_t high = demod_byte().read(reg::errors_mid);
        ds3000_context.ber_errors = static_cast<std::uint32_t>((high << 8U) | low);
        demod_write(reg::errors_high, state | reg::errors_running);
    }
    ds3000_context.ber_denominator = is_set(state, reg::errors_short_window) ? 0x100000 : 0x800000;
}

}  // namespace

extern "C" {

int32_t ds3000_get_snr(uint8_t *snr_db) {
    ds3000_context.snr_db = static_cast<std::uint8_t>(in_dvbs2() ? dvbs2_snr_db() : dvbs_snr_db());
    *snr_db = ds3000_context.snr_db;
    return DS3000_OK;
}

int32_t ds3000_get_ber(uint32_t *denominator, uint32_t *errors) {
    *denominator = ds3000_context.ber_denominator;
    *errors = ds3000_context.ber_errors;
    ds3000_context.ber_errors = 0;
    bool report = true;
    if (in_dvbs2()) {
        report = count_dvbs2_errors();
    } else {
        count_dvbs_errors();
    }
    if (report) {
        *denominator = ds3000_context.ber_denominator;
        *errors = ds3000_context.ber_errors;
    }
    return DS3000_OK;
}

int32_t ds3000_get_signal_info(struct ds3000_signal_info *info) {
    info->standard = ds3000_context.standard;
    if (in_dvbs2()) {
        read_dvbs2_parameters(*info);
    } else {
        read_dvbs_parameters(*info);
    }
    return DS3000_OK;
}

int32_t ds3000_get_code_rate(struct ds3000_signal_info *info, uint32_t standard) {
    info->code_rate = standard == STANDARD_DVBS2
                          ? dvbs2_code_rate(demod_byte().read(reg::modcod))
                          : dvbs_code_rate(demod_byte().read(reg::s_code_rate));
    return DS3000_OK;
}

}  // extern "C"

}  // namespace ds3000
