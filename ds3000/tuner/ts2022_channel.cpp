// SPDX-License-Identifier: MIT
#include <algorithm>
#include <cstdint>

#include "ds3000/chip/ds3000_context.h"
#include "ds3000/chip/ts2022_regs.h"
#include "ds3000/hw/bits.h"
#include "ds3000/hw/register_access.h"
#include "ds3000/hw/register_byte.h"
#include "ds3000/hw/wait.h"
#include "ds3000/tuner/ts2022.h"

namespace ds3000 {

namespace tuner_reg = ts2022::reg;

namespace {

constexpr std::uint8_t cal_select_idle = 0x1F;
constexpr std::uint8_t cal_filter_mask = 0x3F;

// One of the tuner's self-calibrations: which, how it is started, how long it takes.
struct calibration_strobe {
    std::uint8_t select;
    std::uint8_t start;
    std::uint32_t settle_us;
};

constexpr calibration_strobe vco_calibration{0x0F, 0x10, 5000};
constexpr calibration_strobe lo_calibration{0x17, 0x08, 5000};
constexpr calibration_strobe lo_calibration_after_gain{0x17, 0x08, 20000};
constexpr calibration_strobe filter_calibration{0x1B, 0x04, 2000};
constexpr calibration_strobe agc_start{0x1E, 0x01, 20000};

void strobe(const calibration_strobe &calibration) {
    tuner_write(tuner_reg::calibration_select, calibration.select);
    tuner_write(tuner_reg::calibration_select, cal_select_idle);
    tuner_write(tuner_reg::calibration_start, calibration.start);
    tuner_write(tuner_reg::calibration_start, 0x00);
    wait_us(calibration.settle_us);
}

// The synthesiser's divider and band.
struct synthesiser {
    bool low_band;         // the VCO runs at twice the LO's multiple
    std::int32_t divider;  // N, always even
};

// One tuning under way.
struct tuning {
    bool type_1;
    std::int32_t frequency_mhz;
    tuner_byte byte{};
};

// Calibrate, and once more when the status register then reads as zero under the mask. Returns what
// was read.
std::uint8_t calibrate(tuning &t, const calibration_strobe &calibration, std::uint8_t status_reg,
                       std::uint8_t mask) {
    strobe(calibration);
    const std::uint8_t status = t.byte.read(status_reg);
    if (!is_set(status, mask)) {
        strobe(calibration);
    }
    return status;
}

// N = 28000 (high band) or 56000 (low band) × MHz / 27000, made even by rounding up: the
// synthesiser divides a VCO of 2 × or 4 × the LO from a 27 MHz reference.
std::int32_t divider_for(std::int32_t frequency_mhz, bool low_band) {
    const std::int32_t divider = wrap_multiply(low_band ? 56000 : 28000, frequency_mhz) / 27000;
    return wrap_add(divider, divider % 2 != 0 ? 1 : 0);
}

// Type 2's encoding of the divider is not continuous: 4095 and 6143 begin new ranges.
std::int32_t type_2_divider_code(std::int32_t divider) {
    if (divider < 4095) {
        return divider - 1024;
    }
    return wrap_add(divider, divider < 6143 ? 1024 : 3072);
}

void write_type_1_divider(std::int32_t divider) {
    const auto high = static_cast<std::uint8_t>((wrap_subtract(divider, 1024) >> 8) & 0x0F);
    tuner_write(tuner_reg::divider_high, high);
    tuner_write(tuner_reg::divider_low, low_byte(static_cast<std::uint32_t>(divider)));
}

synthesiser program_type_1_divider(const tuning &t) {
    const bool low_band = t.frequency_mhz < 1146;
    const synthesiser s{low_band, divider_for(t.frequency_mhz, low_band)};
    tuner_write(tuner_reg::band, 0x00);
    tuner_write(tuner_reg::band, low_band ? 0x11 : 0x01);
    write_type_1_divider(s.divider);
    return s;
}

synthesiser program_type_2_divider(const tuning &t) {
    const bool low_band = t.frequency_mhz < 1103;
    const synthesiser s{low_band, divider_for(t.frequency_mhz, low_band)};
    tuner_write(tuner_reg::band, 0x0B);
    tuner_write(tuner_reg::reg_11, 0x40);
    if (low_band) {
        tuner_write(tuner_reg::band, 0x1B);
    }
    const std::int32_t code = type_2_divider_code(s.divider);
    tuner_write(tuner_reg::divider_high, static_cast<std::uint8_t>((code >> 8) & 0x3F));
    tuner_write(tuner_reg::divider_low, low_byte(static_cast<std::uint32_t>(code)));
    return s;
}

void calibrate_vco(tuning &t) {
    calibrate(t, vco_calibration, tuner_reg::vco_status, tuner_reg::vco_calibrated);
}

// Type 1 reports the band its VCO came up in. When that is the other one, the low band is forced,
// also for a channel that was to use it.
void check_type_1_band(tuning &t, synthesiser &s) {
    if (is_set(t.byte.read(tuner_reg::band_state), bit(7)) == s.low_band) {
        return;
    }
    s = {true, divider_for(t.frequency_mhz, true)};
    tuner_write(tuner_reg::band, 0x11);
    write_type_1_divider(s.divider);
    strobe(vco_calibration);
}

// Type 2 gets a second VCO calibration when the first settled low in its range, and less VCO gain
// when it settled high.
void check_type_2_band(tuning &t) {
    if ((t.byte.read(tuner_reg::vco_band) & 0x7F) < 64) {
        t.byte.set(tuner_reg::band, bit(7));
        tuner_write(tuner_reg::reg_11, 0x6F);
        calibrate_vco(t);
    }
    if ((t.byte.read(tuner_reg::vco_band) & 0x1F) >= 20) {
        t.byte.clear(tuner_reg::band, bit(1));
    }
}

// LO in kHz: N × 13500 / 14, halved in the low band; each division truncates.
std::int32_t synthesised_khz(const synthesiser &s) {
    return wrap_multiply(13500, s.divider) / 14 / (s.low_band ? 2 : 1);
}

// Type 1: back the RF gain off the calibrated trim by three steps. Returns the trim; 15 means that
// the calibration found no room and the trim was left alone.
std::uint8_t trim_type_1_rf_gain(tuning &t) {
    std::uint8_t trim = t.byte.read(tuner_reg::rf_gain) & 0x0F;
    if (trim == 15) {
        return trim;
    }
    trim = trim < 4 ? std::uint8_t{0} : static_cast<std::uint8_t>(trim - 3);
    tuner_write(tuner_reg::reg_60, static_cast<std::uint8_t>(((trim * 8) & 0x78) | 1));
    strobe(lo_calibration);
    return trim;
}

// Calibrate the filter and return its state, calibrated once more when that reads as zero.
std::uint8_t calibrate_filter(tuning &t) {
    const std::uint8_t state = calibrate(t, filter_calibration, tuner_reg::filter_state, 0xFF);
    return state != 0 ? state : t.byte.read(tuner_reg::filter_state);
}

// Bandwidth in kHz: 135/200 of the symbol rate, 2000 kHz and the margin, within the filter's range.
std::int32_t filter_bandwidth_khz(std::uint32_t symbol_rate_ksps, std::uint16_t margin_khz) {
    const std::int32_t bandwidth = wrap_add(
        wrap_multiply(135, static_cast<std::int32_t>(symbol_rate_ksps)) / 200, 2000 + margin_khz);
    if (bandwidth < 7000) {
        return 7000;
    }
    return bandwidth >= 40001 ? 40000 : bandwidth;
}

struct filter_setting {
    std::uint8_t fine;
    std::uint8_t coarse;
};

// The filter's coarse steps and the fine value within one, from its calibration result (0..63).
// The constants are the tuner type's clock ratios.
filter_setting filter_for(bool type_1, std::int32_t bandwidth_khz, std::uint8_t calibration) {
    const std::int32_t fine_constant = type_1 ? 149364 : 172800;
    const std::int32_t coarse_constant = type_1 ? 2766 : 3200;
    const std::int32_t speed = 9522 / (2 * calibration + 151);
    const auto fine_of = [&](std::int32_t coarse) {
        return static_cast<std::uint8_t>((coarse * fine_constant / bandwidth_khz + 1) / 2);
    };

    const std::int32_t steps = speed * (2 * bandwidth_khz) / coarse_constant;
    std::int32_t coarse = std::clamp((steps / 27 + 1) / 2, 1, 23);
    std::uint8_t fine = fine_of(coarse);
    if (fine < static_cast<std::uint8_t>(78 * speed / 100)) {
        ++coarse;
        fine = fine_of(coarse);
    }
    const std::uint8_t fine_limit =
        std::min(static_cast<std::uint8_t>(135 * speed / 100), std::uint8_t{63});
    return {std::min(fine, fine_limit), static_cast<std::uint8_t>(coarse)};
}

void program_filter(tuning &t, std::int32_t bandwidth_khz) {
    tuner_write(tuner_reg::filter_fine, 0x2E);
    std::uint8_t calibration = calibrate_filter(t) & cal_filter_mask;
    if (!t.type_1) {
        tuner_write(tuner_reg::reg_41, 0x0D);
        const std::uint8_t second = calibrate_filter(t) & cal_filter_mask;
        calibration = static_cast<std::uint8_t>((calibration + second) >> 1U);
    }
    const filter_setting setting = filter_for(t.type_1, bandwidth_khz, calibration);
    tuner_write(tuner_reg::filter_fine, setting.fine);
    tuner_write(tuner_reg::filter_coarse, setting.coarse);
}

void verify_filter(tuning &t) {
    const std::uint8_t first = calibrate_filter(t) & cal_filter_mask;
    if (t.type_1) {
        return;
    }
    tuner_write(tuner_reg::reg_41, 0x09);
    const std::uint8_t second = calibrate_filter(t) & cal_filter_mask;
    tuner_write(tuner_reg::reg_25, static_cast<std::uint8_t>(((first + second) >> 1U) | bit(7)));
    tuner_write(tuner_reg::reg_27, 0x30);
    tuner_write(tuner_reg::reg_08, 0x09);
}

void prepare_type_2_filter() {
    tuner_write(tuner_reg::reg_25, 0x00);
    tuner_write(tuner_reg::reg_27, 0x70);
    tuner_write(tuner_reg::reg_41, 0x09);
    tuner_write(tuner_reg::reg_08, 0x0B);
}

// Type 1 whose trim found no room: raise the RF gain when the baseband gain came out low.
void raise_type_1_rf_gain(tuning &t) {
    wait_us(20000);
    if ((t.byte.read(tuner_reg::agc_state) & 0x0F) < 3) {
        tuner_write(tuner_reg::reg_60, 0x61);
        strobe(lo_calibration_after_gain);
    }
}

void calibrate_lo(tuning &t) { calibrate(t, lo_calibration, tuner_reg::lo_state, 0xFF); }
void start_agc(tuning &t) { calibrate(t, agc_start, tuner_reg::agc_state, 0xFF); }

// Program one channel; returns the synthesised LO in kHz.
std::int32_t tune_type_1(tuning &t, std::int32_t bandwidth_khz) {
    synthesiser s = program_type_1_divider(t);
    tuner_write(tuner_reg::reg_03, 0x06);
    calibrate_vco(t);
    check_type_1_band(t, s);
    tuner_write(tuner_reg::reg_60, 0x79);
    calibrate_lo(t);
    const std::uint8_t trim = trim_type_1_rf_gain(t);
    program_filter(t, bandwidth_khz);
    verify_filter(t);
    start_agc(t);
    if (trim == 15) {
        raise_type_1_rf_gain(t);
    }
    return synthesised_khz(s);
}

std::int32_t tune_type_2(tuning &t, std::int32_t bandwidth_khz) {
    const synthesiser s = program_type_2_divider(t);
    tuner_write(tuner_reg::reg_03, 0x06);
    calibrate_vco(t);
    check_type_2_band(t);
    calibrate_lo(t);
    prepare_type_2_filter();
    program_filter(t, bandwidth_khz);
    verify_filter(t);
    start_agc(t);
    return synthesised_khz(s);
}

void store_offset(std::int32_t lo_khz, std::uint32_t frequency_khz) {
    ds3000_context.tuner_frequency_offset =
        wrap_subtract(lo_khz, static_cast<std::int32_t>(frequency_khz));
}

}  // namespace

extern "C" {

int32_t ts2022_set_frequency(uint32_t frequency_khz, uint32_t symbol_rate_ksps,
                             uint16_t margin_khz) {
    const std::int32_t frequency_mhz =
        wrap_add(static_cast<std::int32_t>(frequency_khz), 500) / 1000;
    const std::uint8_t type = ds3000_context.tuner_type;
    if (type != 1 && type != 2) {
        store_offset(wrap_multiply(1000, frequency_mhz), frequency_khz);
        return DS3000_OK;
    }
    tuning t{.type_1 = type == 1, .frequency_mhz = frequency_mhz};
    const std::int32_t bandwidth_khz = filter_bandwidth_khz(symbol_rate_ksps, margin_khz);
    const std::int32_t lo_khz =
        t.type_1 ? tune_type_1(t, bandwidth_khz) : tune_type_2(t, bandwidth_khz);
    wait_us(40000);
    store_offset(lo_khz, frequency_khz);
    return DS3000_OK;
}

int32_t tuner_get_offset(void) { return ds3000_context.tuner_frequency_offset; }

}  // extern "C"

}  // namespace ds3000
