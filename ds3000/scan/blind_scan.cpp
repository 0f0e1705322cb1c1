// SPDX-License-Identifier: MIT
#include "ds3000/scan/blind_scan.h"

#include <algorithm>
#include <cstdint>

#include "ds3000/chip/ds3000_context.h"
#include "ds3000/chip/ds3000_regs.h"
#include "ds3000/chip/tuner_bound.h"
#include "ds3000/demod/board_options.h"
#include "ds3000/demod/carrier.h"
#include "ds3000/demod/mcu.h"
#include "ds3000/demod/programming.h"
#include "ds3000/diseqc/unicable.h"
#include "ds3000/hw/bits.h"
#include "ds3000/hw/register_byte.h"
#include "ds3000/hw/wait.h"
#include "ds3000/scan/scan_list.h"
#include "ds3000/scan/scan_state.h"
#include "ds3000/scan/spectrum_search.h"
#include "ds3000/scan/verification.h"

namespace ds3000 {

namespace {

constexpr std::int32_t last_step_khz = 2149000;
constexpr std::int32_t least_advance_khz = 8000;
constexpr std::int32_t blank_advance_khz = 36000;  // where the engine sees nothing at all
constexpr std::int32_t compaction_limit_khz = 9999000;

// A search under way: where the tuner goes next.
struct search {
    blind_scan_request &request;
    std::uint8_t pass;
    std::int32_t frequency_khz;
    std::int32_t stop_khz;
    bool last = false;

    void advance(std::int32_t by_khz) { frequency_khz = wrap_add(frequency_khz, by_khz); }
    [[nodiscard]] bool over() const { return stop_khz <= frequency_khz || scan_cancelled(); }
};

void tune_step(search &s) {
    if (ds3000_context.unicable_enabled != 0) {
        std::int32_t reached_khz = s.frequency_khz;
        unicable_tune(s.frequency_khz, search_filter_ksps, &reached_khz);
        s.frequency_khz = reached_khz;
    } else {
        ds3000_context.tuner_ops.tuner_set_frequency(static_cast<std::uint32_t>(s.frequency_khz),
                                                     search_filter_ksps, 0);
    }
    ds3000_expect_carrier(0);
}

// Tune, search, and return the occupied span in bins.
std::int32_t scan_step(search &s) {
    tune_step(s);
    const auto center_khz = static_cast<std::uint32_t>(s.frequency_khz);
    ds3000_context.scan_ref_width_ksps = search_filter_ksps;
    ds3000_context.scan_center_khz = center_khz;
    ds3000_context.scan_ref_freq_khz = center_khz;
    ds3000_context.scan_ref_from_lock = 0;
    ds3000_blind_scan_read_peaks(&s.request, center_khz, s.pass);
    const std::uint8_t high = demod_byte().read(reg::search_occupied_high);
    const std::uint8_t low = demod_byte().read(reg::search_occupied_low);
    return (field_get(high, 7, 6) << 8U) | low;
}

// Read the analysis window and the number of peaks: an inverted spectrum is crossed from one
// reference peak to the next. Returns whether the step had a peak.
bool read_reference_state() {
    demod_byte byte;
    ds3000_context.scan_window_bins = 12U << (field_get(byte.read(reg::search_window), 6, 5) + 2U);
    return is_set(byte.read(reg::search_control), reg::search_peaks);
}

void advance_without_peak(search &s, std::int32_t bins, std::int32_t most_khz) {
    const auto window = static_cast<std::int32_t>(ds3000_context.scan_window_bins);
    const std::int32_t span_khz = bins < window ? khz_of_bins(bins) : khz_of_bins(window) - 1000;
    s.advance(std::clamp(span_khz, least_advance_khz, most_khz));
}

// How far the reference peak's far edge lies inside the span that was analysed.
std::int32_t reference_reach_khz() {
    const auto half = [](std::uint32_t value) { return static_cast<std::int32_t>(value) / 2; };
    return half(ds3000_context.scan_ref_width_ksps) -
           static_cast<std::int32_t>(ds3000_context.scan_center_khz) +
           static_cast<std::int32_t>(ds3000_context.scan_ref_freq_khz) +
           half(ds3000_context.scan_span_khz);
}

bool has_reference() {
    return ds3000_context.scan_ref_freq_khz != 0 && ds3000_context.scan_ref_width_ksps != 0;
}

void advance_past_reference(search &s, std::int32_t advance_khz, std::int32_t most_khz) {
    s.advance(std::clamp(advance_khz, least_advance_khz, most_khz) - 4000);
}

void advance_sweep_past_reference(search &s) {
    std::int32_t advance_khz = least_advance_khz;
    if (has_reference()) {
        advance_khz = reference_reach_khz();
        if (advance_khz >= 24001) {
            advance_khz -= 12000;
        }
    }
    advance_past_reference(s, advance_khz, 20000);
}

void advance_stepwise_past_reference(search &s) {
    const bool from_lock = ds3000_context.scan_ref_from_lock == 1;
    const std::int32_t advance_khz =
        from_lock || has_reference() ? reference_reach_khz() : least_advance_khz;
    advance_past_reference(s, advance_khz, from_lock ? 24000 : 20000);
}

// The general case: past the occupied span, or a long way where nothing is.
void advance_past_span(search &s, std::int32_t bins) {
    std::int32_t advance_khz = khz_of_bins(bins);
    if (advance_khz > 96000) {
        advance_khz = 10000;
    }
    if (advance_khz == 0) {
        advance_khz = blank_advance_khz;
    } else if (ds3000_context.unicable_enabled == 1) {
        advance_khz = std::max(advance_khz, 4000);
    }
    s.advance(advance_khz);
}

void verify(search &s) { ds3000_verify_candidates(&s.request, 0, ds3000_context.scan_count); }

void notify_progress(const search &s) {
    auto frequency_khz = static_cast<std::uint32_t>(s.frequency_khz);
    notify(SCAN_EVENT_PROGRESS, &frequency_khz);
}

// The next step's frequency is known: mark the last one, and say where the search is.
void announce_step(search &s) {
    s.last = s.frequency_khz >= last_step_khz;
    s.frequency_khz = std::min(s.frequency_khz, last_step_khz);
    notify_progress(s);
}

void advance_sweep(search &s, std::int32_t bins) {
    if (ds3000_sees_inverted_spectrum() == 0) {
        advance_past_span(s, bins);
    } else if (read_reference_state()) {
        advance_sweep_past_reference(s);
    } else {
        advance_without_peak(s, bins, 20000);
    }
}

// Verify what the last step added, then go on. With a reference peak the way on is known only
// after the verification, which may lock the reference and measure it.
void advance_stepwise(search &s, std::int32_t bins, std::uint16_t &verified) {
    bool past_reference = false;
    if (ds3000_sees_inverted_spectrum() == 0) {
        advance_past_span(s, bins);
    } else if (read_reference_state()) {
        past_reference = true;
    } else {
        advance_without_peak(s, bins, 24000);
    }
    if (ds3000_context.scan_count > verified) {
        verify(s);
        verified = ds3000_context.scan_count;
    }
    if (past_reference) {
        advance_stepwise_past_reference(s);
    }
}

std::int32_t run_pass(blind_scan_request &request, std::int32_t start_khz, std::int32_t stop_khz,
                      std::uint8_t pass) {
    switch (request.algorithm) {
        case SCAN_ALGO_STEPWISE:
            ds3000_blind_scan_stepwise(start_khz, stop_khz, &request, pass);
            return DS3000_OK;
        case SCAN_ALGO_SWEEP:
            ds3000_blind_scan_sweep(start_khz, stop_khz, &request, pass);
            return DS3000_OK;
        default:
            return DS3000_BAD_ALGORITHM;
    }
}

void begin_scan(blind_scan_request &request) {
    clear_scan_cancel();
    ds3000_context.scan_locked_count = 0;
    ds3000_context.scan_count = 0;
    ds3000_context.scan_passes = request.passes;
    update_spectrum_inversion();
    request.locked_count = 0;
}

}  // namespace

extern "C" {

int32_t ds3000_blind_scan(uint32_t start_mhz, uint32_t stop_mhz,
                          struct blind_scan_request *request) {
    if (request == nullptr || request->candidates == nullptr || request->capacity == 0) {
        return DS3000_BAD_ARGUMENT;
    }
    if (is_ds310x()) {
        ds3000_soft_reset();
    }
    notify(SCAN_EVENT_STARTED, nullptr);
    begin_scan(*request);
    const auto start_khz = static_cast<std::int32_t>(start_mhz * 1000U);
    const auto stop_khz = static_cast<std::int32_t>(stop_mhz * 1000U);
    for (std::uint32_t pass = 0; pass < request->passes; ++pass) {
        const std::int32_t status =
            run_pass(*request, start_khz, stop_khz, static_cast<std::uint8_t>(pass));
        if (status != DS3000_OK) {
            notify(SCAN_EVENT_FINISHED, nullptr);
            return status;
        }
        if (scan_cancelled()) {
            clear_scan_cancel();
            break;
        }
    }
    wait_us(1000000);
    scan_list_compact(request, compaction_limit_khz);
    notify(SCAN_EVENT_FINISHED, nullptr);
    return DS3000_OK;
}

int32_t ds3000_blind_scan_sweep(int32_t start_khz, int32_t stop_khz,
                                struct blind_scan_request *request, uint8_t pass) {
    if (!tuner_is_bound()) {
        return DS3000_UNBOUND;
    }
    search s{*request, pass, start_khz, stop_khz};
    ds3000_blind_scan_setup(pass);
    while (!s.over()) {
        advance_sweep(s, scan_step(s));
        if (s.last) {
            notify_progress(s);
            break;
        }
        announce_step(s);
    }
    verify(s);
    return DS3000_OK;
}

int32_t ds3000_blind_scan_stepwise(int32_t start_khz, int32_t stop_khz,
                                   struct blind_scan_request *request, uint8_t pass) {
    if (!tuner_is_bound()) {
        return DS3000_UNBOUND;
    }
    search s{*request, pass, start_khz, stop_khz};
    std::uint16_t verified = 0;
    while (!s.over()) {
        // Again after every verification, which has programmed the demodulator for reception.
        ds3000_blind_scan_setup(pass);
        advance_stepwise(s, scan_step(s), verified);
        if (s.last) {
            notify_progress(s);
            break;
        }
        announce_step(s);
    }
    return DS3000_OK;
}

}  // extern "C"

}  // namespace ds3000
