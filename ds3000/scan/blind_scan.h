/* SPDX-License-Identifier: MIT */
#ifndef DS3000_SCAN_BLIND_SCAN_H
#define DS3000_SCAN_BLIND_SCAN_H

#include <stdint.h>

#include "ds3000/scan/scan_request.h"
#include "ds3000/scan/spectrum_search.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Blind scan: find transponders in the IF band without being told.
 *
 * The tuner steps across the band; at each step the demodulator's spectrum engine reports up to 31
 * peaks, which become candidates in the caller's list; the candidates are then connected one by
 * one and marked as locked or rejected. Everything runs in the caller's thread, which must own the
 * hardware; the list and the request are touched by that thread only, between the call and its
 * return. A step waits 0.1 s or more and covers up to 96 MHz; a candidate takes 0.1 s of tuning and
 * then up to 40 polls of 50 ms in each standard; a scan ends with a wait of 1 s. */

/* Scan from start_mhz to stop_mhz (IF, MHz; the last step is at 2149 MHz at most).
 * Afterwards the list holds the locked candidates and those never decided, in order, with the
 * rejected ones behind them; ds3000_context.scan_count says how many records are candidates
 * (capacity at most are held: a peak that finds the list full is counted and lost). The compaction
 * counts in 8 bits: it reorders the first (scan_count mod 256) + 1 records.
 * ds3000_set_scan_cancel ends the scan early, within one register poll: the list is then as it
 * stands, compacted, and SCAN_EVENT_FINISHED is sent.
 * The demodulator is left as the last candidate or step programmed it: connect before receiving.
 * Returns 0, also when cancelled; -3 for a null request or list or a capacity of 0, with no event;
 * -13 for an unknown algorithm, noticed when a pass begins. */
int32_t ds3000_blind_scan(uint32_t start_mhz, uint32_t stop_mhz,
                          struct blind_scan_request *request);

/* One pass of either algorithm, kHz. Returns 0, or -11 when the tuner is not bound. */
int32_t ds3000_blind_scan_sweep(int32_t start_khz, int32_t stop_khz,
                                struct blind_scan_request *request, uint8_t pass);
int32_t ds3000_blind_scan_stepwise(int32_t start_khz, int32_t stop_khz,
                                   struct blind_scan_request *request, uint8_t pass);

#ifdef __cplusplus
}
#endif

#endif
