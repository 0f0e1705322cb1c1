/* SPDX-License-Identifier: MIT */
#ifndef DS3000_DEMOD_TS_DIVIDER_H
#define DS3000_DEMOD_TS_DIVIDER_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The divider between the master clock and the transport-stream output port's clock. Transfer
 * results are ignored. All for the worker thread, or for a host call while that thread is
 * parked. */

/* Program the output clock's divider: high_count master-clock periods high, low_count low.
 * DS300X: register 0xFE, which DVB-S and DVB-S2 divide up differently. DS3002B and DS3103:
 * registers 0xFE and 0xEA hold the counts less 1, in 6 bits; a count of 0 becomes 63.
 * standard: STANDARD_DVBS2, or anything else for DVB-S; matters on DS300X only.
 * Returns 0, or -6 for an unknown chip. */
int32_t ds3000_set_ts_clock_divider(uint32_t standard, uint32_t high_count, uint32_t low_count);

/* Program the divider to a ratio, in as even halves as it allows: the odd period is a low one.
 * ratio: master-clock periods to one of the output clock, up to 128; 0 is mode 1's, no divider.
 * Otherwise as ds3000_set_ts_clock_divider. */
int32_t ds3000_set_ts_clock_ratio(uint32_t standard, uint32_t ratio);

#ifdef __cplusplus
}
#endif

#endif
