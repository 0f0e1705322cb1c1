/* SPDX-License-Identifier: MIT */
#ifndef DS3000_DEMOD_TS_MODE_H
#define DS3000_DEMOD_TS_MODE_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The transport-stream output port's mode. Mode 1 runs without a divider, mode 2 with a clock of up
 * to 24000 kHz, mode 3 of up to 6000 kHz. Transfer results are ignored. All for the worker thread,
 * or for a host call while that thread is parked. */

/* Read the output mode from register 0xFD into *ts_mode: 1, 2 or 3.
 * Returns 0, or -6 for an unknown chip without reading; *ts_mode is then 3. */
int32_t ds3000_get_ts_mode(uint8_t *ts_mode);

/* Set the output mode. Registers 0x08, 0x27, 0x29, 0xFD and the divider.
 * mode: its low byte counts; 1, 2 or 3. Anything else gets mode 3 with mode 1's divider.
 * Returns 0. */
int32_t ds3000_set_ts_mode(uint32_t mode);

#ifdef __cplusplus
}
#endif

#endif
