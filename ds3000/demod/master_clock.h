/* SPDX-License-Identifier: MIT */
#ifndef DS3000_DEMOD_MASTER_CLOCK_H
#define DS3000_DEMOD_MASTER_CLOCK_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The demodulator's master clock, which the output clock is divided down from. Transfer results are
 * ignored. All for the worker thread, or for a host call while that thread is parked. */

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

/* Return the master clock that DVB-S2 of a symbol rate runs at on DS3002B and DS3103, kHz: 96000 up
 * to 18000 ksym/s, 144000 above; from 28001 ksym/s on 192000, but not in mode 1. No access. Any
 * thread. */
uint32_t ds3000_dvbs2_master_clock(int32_t symbol_rate_ksps, uint8_t ts_mode);

#ifdef __cplusplus
}
#endif

#endif
