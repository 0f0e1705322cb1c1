// SPDX-License-Identifier: MIT
#include "ds3000/scan/spectrum_look.h"

#include <cstdint>

#include "ds3000/chip/ds3000_context.h"
#include "ds3000/chip/tuner_bound.h"
#include "ds3000/demod/carrier.h"
#include "ds3000/scan/scan_control.h"
#include "ds3000/scan/scan_state.h"
#include "ds3000/scan/spectrum_search.h"

int32_t ds3000_look_at_spectrum(uint32_t center_khz, struct scan_candidate *peaks,
                                uint16_t *count) {
    *count = 0;
    if (!ds3000::tuner_is_bound()) {
        return DS3000_UNBOUND;
    }
    blind_scan_request request{1, SCAN_ALGO_SWEEP, 0, SPECTRUM_PEAKS, peaks};
    ds3000_set_scan_cancel(0);
    ds3000_context.scan_passes = request.passes;
    ds3000_context.scan_count = 0;
    ds3000_context.scan_center_khz = center_khz;
    const std::int32_t status = ds3000_blind_scan_setup(0);
    if (status != DS3000_OK) {
        return status;
    }
    ds3000_context.tuner_ops.tuner_set_frequency(center_khz, ds3000::search_filter_ksps, 0);
    ds3000_expect_carrier(0);
    ds3000_blind_scan_read_peaks(&request, center_khz, 0);
    *count = ds3000_context.scan_count;
    return DS3000_OK;
}
