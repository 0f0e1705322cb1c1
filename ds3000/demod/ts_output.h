/* SPDX-License-Identifier: MIT */
#ifndef DS3000_DEMOD_TS_OUTPUT_H
#define DS3000_DEMOD_TS_OUTPUT_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The transport-stream output port: its mode, its clock, and the master clock behind it.
 * Mode 1 runs without a divider, mode 2 with a clock of up to 24000 kHz, mode 3 of up to 6000 kHz.
 * Transfer results are ignored. All for the worker thread, or for a host call while that thread is
 * parked. */

/* Read the output mode from register 0xFD into *ts_mode: 1, 2 or 3.
 * Returns 0, or -6 for an unknown chip without reading; *ts_mode is then 3. */
int32_t ds3000_get_ts_mode(uint8_t *ts_mode);

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

/* Return the master clock that DVB-S2 of a symbol rate runs at on DS3002B and DS3103, kHz: 96000 up
 * to 18000 ksym/s, 144000 above; from 28001 ksym/s on 192000, but not in mode 1. No access. Any
 * thread. */
uint32_t ds3000_dvbs2_master_clock(int32_t symbol_rate_ksps, uint8_t ts_mode);

/* Select the master clock in bits 7..6 of registers 0x22 and 0x24.
 * clock_khz: 72000, 96000, 115200, 144000 or 192000; any other value selects 96000.
 * Returns 0; -4 on DS300X, whose clock follows the standard; -6 for an unknown chip. */
int32_t ds3000_set_master_clock(int32_t clock_khz);

/* Read the selected master clock, kHz. DS300X reads no register: 144000 in DVB-S2, else 96000.
 * Returns 0; -3 for a selection that no clock has (*clock_khz is then 96000); -6 for an unknown
 * chip (likewise). */
int32_t ds3000_get_master_clock(uint32_t *clock_khz);

/* Change the master clock while the demodulator runs: register 0x06 = 0xE0,
 * ds3000_set_master_clock, 0x06 = 0x00. For DS3002B and DS3103.
 * Returns what ds3000_set_master_clock returns. */
int32_t ds3000_switch_master_clock(int32_t clock_khz);

/* Set the output mode. Registers 0x08, 0x27, 0x29, 0xFD and the divider.
 * mode: its low byte counts; 1, 2 or 3. Anything else gets mode 3 with mode 1's divider.
 * Returns 0. */
int32_t ds3000_set_ts_mode(uint32_t mode);

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
