// SPDX-License-Identifier: MIT
#include "ds3000/scan/spectrum_search.h"

#include <cstdint>

#include "ds3000/chip/ds3000_context.h"
#include "ds3000/chip/ds3000_regs.h"
#include "ds3000/demod/board_options.h"
#include "ds3000/demod/carrier.h"
#include "ds3000/demod/mcu.h"
#include "ds3000/hw/bits.h"
#include "ds3000/hw/register_access.h"
#include "ds3000/hw/register_byte.h"
#include "ds3000/hw/wait.h"
#include "ds3000/scan/peak.h"
#include "ds3000/scan/peak_filter.h"
#include "ds3000/scan/scan_list.h"
#include "ds3000/scan/scan_state.h"

namespace ds3000 {

namespace {

constexpr std::int32_t if_min_khz = 950000;
constexpr std::uint8_t peak_results = 4;  // bytes of one peak

// What a pass looks for: the first pass of several sees wide carriers only.
struct pass_setting {
    bool wide;
    std::uint8_t reg_91;
    std::uint8_t reg_92;
};

pass_setting setting_of(std::uint8_t pass) {
    const std::uint32_t passes = ds3000_context.scan_passes;
    if (pass == 0 && passes != 1) {
        return {true, 0xC6, 0x17};
    }
    const bool fine = (pass == 1 && passes == 2) || pass == 2;
    return {false, 0x46, static_cast<std::uint8_t>(fine ? 0x01 : 0x03)};
}

void program_window(const pass_setting &setting, demod_byte &byte) {
    demod_write(0x4A, 0x00);
    byte.update(reg::spectrum, static_cast<std::uint8_t>(~0x6E), 0x91);
    byte.set(0x90, 0x73);
    demod_write(reg::search_window, setting.reg_91);
    demod_write(0x92, setting.reg_92);
    byte.read(0x93);
    demod_write(0x93, 0x8F);
    byte.set(0x94, setting.wide ? 0x11 : 0x15);
    demod_write(0x95, setting.wide ? 0x78 : 0x64);
    demod_write(0x97, setting.wide ? 0xB5 : 0xB3);
    demod_write(0x99, setting.wide ? 0x18 : 0x1C);
}

std::uint8_t reg_30_value() {
    return is_ds310x() && ds3000_context.reg30_bit4_enable == 1 ? 0x18 : 0x08;
}

void program_front(demod_byte &byte) {
    demod_write(reg::reg_30, reg_30_value());
    demod_write(0x32, 0x44);
    demod_write(reg::reg_33, 0x99);
    demod_write(0x35, 0x7F);
    demod_write(0x4B, 0x04);
    demod_write(reg::reg_56, 0x01);
    demod_write(0xA0, 0x44);
    demod_write(reg::mode, 0x83);
    byte.set(reg::reg_25, bit(3));
    demod_write(0x70, 0x00);
}

void restart_core(demod_byte &byte) {
    if (is_ds310x()) {
        put_spectrum_inversion(byte);
        demod_write(reg::core_reset, 0x00);
        return;
    }
    demod_write(reg::core_reset_ds300x, 0x04);
    demod_write(reg::clock_reset, 0x08);
    demod_write(reg::clock_reset, 0x00);
    demod_write(reg::core_reset_ds300x, 0x00);
}

// Wait for the engine. Returns whether a peak search may be started.
bool wait_for_engine(demod_byte &byte) {
    constexpr int reads = 10;
    for (int read = 1; read <= reads; ++read) {
        const bool ready = is_set(byte.read(reg::search_status), bit(0));
        wait_us(50000);
        // Readiness that comes with the last read comes too late to be used.
        if (ready) {
            return read < reads;
        }
        if (scan_cancelled()) {
            return true;
        }
    }
    return false;
}

// Start a peak search and wait for its end. Returns whether it ended.
bool run_peak_search(demod_byte &byte) {
    demod_write(reg::search_control, reg::search_start);
    for (int poll = 0; poll < 50; ++poll) {
        const bool running = is_set(byte.read(reg::search_control), reg::search_start);
        wait_us(10000);
        if (!running) {
            return true;
        }
        if (scan_cancelled()) {
            return false;
        }
    }
    return false;
}

// Search; when the engine did not come to an end, once more beside a small carrier offset.
void search_peaks(demod_byte &byte) {
    if (!wait_for_engine(byte) || run_peak_search(byte)) {
        return;
    }
    demod_write(reg::carrier_high, 0x00);
    demod_write(reg::carrier_low, 0x70);
    if (wait_for_engine(byte)) {
        run_peak_search(byte);
    }
}

// The next peak's offset from the centre and its width, in bins.
struct raw_peak {
    std::int32_t offset;
    std::int32_t width;
};

raw_peak read_raw_peak() {
    std::uint8_t result[peak_results] = {};
    demod_write(reg::search_control, reg::search_next);
    for (std::uint8_t &byte : result) {
        demod_read(reg::search_result, &byte);
    }
    std::int32_t offset = ((result[1] & 0x03) << 8U) | result[0];
    if (offset >= 512) {
        offset -= 1024;
    }
    return {ds3000_sees_inverted_spectrum() != 0 ? -offset : offset,
            ((result[2] & 0x03) << 8U) | result[3]};
}

// The symbol rate that a peak's width stands for in this pass; 0 when the pass has no use for it.
std::int32_t plausible_rate_ksps(std::int32_t width, std::uint8_t pass) {
    const std::int32_t raw_ksps = khz_of_bins(width);
    if (raw_ksps < 2001 || raw_ksps > 50000) {
        return 0;
    }
    if (raw_ksps > 15000 && pass == 2) {
        return 0;
    }
    if (raw_ksps < 10000 && pass == 0 && ds3000_context.scan_passes >= 2) {
        return 0;
    }
    return raw_ksps >= 45001 ? 45000 : raw_ksps - 400;
}

// On an inverted spectrum the peaks come in falling order: the first one that leaves room for the
// next step becomes the reference that the step is measured from. Returns whether this peak is to
// be kept.
bool capture_reference(const peak &p) {
    if (ds3000_sees_inverted_spectrum() == 0 || ds3000_context.scan_ref_captured != 0) {
        return true;
    }
    const auto center_khz = static_cast<std::int32_t>(ds3000_context.scan_center_khz);
    const auto half_span_khz = static_cast<std::int32_t>(ds3000_context.scan_span_khz / 2);
    if (wrap_add(p.frequency_khz, p.symbol_rate_ksps / 2) >=
            wrap_add(center_khz, half_span_khz - 3999) ||
        p.frequency_khz > wrap_add(center_khz, 7000)) {
        return false;
    }
    ds3000_context.scan_ref_captured = 1;
    ds3000_context.scan_ref_freq_khz = static_cast<std::uint32_t>(p.frequency_khz);
    ds3000_context.scan_ref_width_ksps = static_cast<std::uint32_t>(p.symbol_rate_ksps);
    return true;
}

void take_peak(blind_scan_request &request, const peak &p, std::uint8_t pass) {
    std::uint32_t argument[] = {static_cast<std::uint32_t>(p.frequency_khz),
                                static_cast<std::uint32_t>(p.symbol_rate_ksps)};
    notify(SCAN_EVENT_PEAK, argument);
    if (pass == 0 || ds3000_context.scan_passes == 1) {
        ds3000_context.scan_count += 1;
        scan_list_insert(&request, p.frequency_khz, static_cast<std::uint32_t>(p.symbol_rate_ksps),
                         pass);
    } else {
        filter_peak(request, p.frequency_khz, p.symbol_rate_ksps, pass);
    }
}

void read_peak(blind_scan_request &request, std::uint32_t center_khz, std::uint8_t pass) {
    const raw_peak raw = read_raw_peak();
    // 187, not 187.5: the engine's own figure for a position.
    const peak p{wrap_add(static_cast<std::int32_t>(center_khz), raw.offset * 187),
                 plausible_rate_ksps(raw.width, pass)};
    if (p.frequency_khz >= if_min_khz && p.symbol_rate_ksps != 0 && capture_reference(p)) {
        take_peak(request, p, pass);
    }
}

void forget_step() {
    ds3000_context.scan_ref_captured = 0;
    ds3000_context.scan_ref_width_ksps = 0;
    ds3000_context.scan_ref_freq_khz = 0;
    ds3000_context.scan_cursor = 0;
    ds3000_context.scan_cursor_at_end = 0;
}

}  // namespace

extern "C" {

int32_t ds3000_blind_scan_setup(uint8_t pass) {
    demod_byte byte;
    hold_mcu();
    program_window(setting_of(pass), byte);
    if (!is_known_chip()) {
        // Left held: nothing is known that would let this chip run.
        return DS3000_UNKNOWN_CHIP;
    }
    program_front(byte);
    restart_core(byte);
    demod_write(reg::mcu_control, 0x00);
    return DS3000_OK;
}

int32_t ds3000_blind_scan_read_peaks(struct blind_scan_request *request, uint32_t center_khz,
                                     uint8_t pass) {
    demod_byte byte;
    search_peaks(byte);
    const std::uint8_t peaks = byte.read(reg::search_control) & reg::search_peaks;
    forget_step();
    for (std::uint8_t i = 0; i < peaks && !scan_cancelled(); ++i) {
        read_peak(*request, center_khz, pass);
    }
    if (pass == 2) {
        return_cursor_to_last_match(*request);
    }
    return DS3000_OK;
}

}  // extern "C"

}  // namespace ds3000
