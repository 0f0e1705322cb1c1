/* SPDX-License-Identifier: MIT */
#ifndef DS3000_DEMOD_TS_CLOCK_H
#define DS3000_DEMOD_TS_CLOCK_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The transport-stream output port's clock. Transfer results are ignored. All for the worker
 * thread, or for a host call while that thread is parked. */

/* Size the output clock to the payload rate being received. DS300X: the divider; in DVB-S2 not in
 * mode 1. DS3002B and DS3103: the master clock in mode 1, the divider in modes 2 and 3; the clock
 * that would fit is stored in ds3000_context.master_clock_khz in every mode.
 * Returns 0; -3 when the demodulator reports a symbol rate of 0 (nothing is written); -6 for an
 * unknown chip. */
int32_t ds3000_adapt_ts_clock(void);

#ifdef __cplusplus
}
#endif

#endif
