/* SPDX-License-Identifier: MIT */
#ifndef DS3000_SCAN_SPECTRUM_LOOK_H
#define DS3000_SCAN_SPECTRUM_LOOK_H

#include <stdint.h>

#include "ds3000/scan/scan_request.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Peaks that the spectrum engine reports of one place, at most. */
enum { SPECTRUM_PEAKS = 31 };

/* Look at what stands within some 29 MHz of a place on the cable: one step of a scan of one pass,
 * whose peaks are not tried. The tuner is set to the place itself, also with a Unicable unit.
 * Takes a scan's cancel back, programs the engine as ds3000_blind_scan_setup(0) does, tunes with
 * the tuner's widest filter, programs the tuner's offset as the carrier's, and reads the peaks as
 * ds3000_blind_scan_read_peaks does, its waits and SCAN_EVENT_PEAK included; a cancel ends that.
 * The spectrum counts as inverted as ds3000_context.spectrum_inverted says, which a connect, a
 * scan and a measurement of user bands set. Connect before receiving again.
 * center_khz: the place, IF, kHz.
 * peaks: SPECTRUM_PEAKS + 1 records, all initialised. Frequency and estimated symbol rate of each
 * peak, pending, in the order that scan_list_insert gives them; the last record is scratch.
 * count: how many peaks there are.
 * Returns 0; -11 when no tuner is bound, with no access; -6 for an unknown chip, whose
 * micro-controller is then left held. The count is 0 then.
 * The thread that owns the hardware, and no scan running. */
int32_t ds3000_look_at_spectrum(uint32_t center_khz, struct scan_candidate *peaks, uint16_t *count);

#ifdef __cplusplus
}
#endif

#endif
