/* SPDX-License-Identifier: MIT */
#ifndef DS3000_DEMOD_PROGRAMMING_H
#define DS3000_DEMOD_PROGRAMMING_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* What a connect programs the demodulator with. Transfer results are ignored unless a status is
 * named. All for the worker thread, or for a host call while that thread is parked. */

/* Program the demodulator for a standard and a symbol rate, as a connect does. The micro-controller
 * must be held.
 * standard: STANDARD_DVBS2, or anything else for DVB-S.
 * Returns 0; -8 when the register table failed, with the programming after it done all the same;
 * -6 for an unknown chip (only register 0x08 was written). */
int32_t ds3000_program_standard(int32_t symbol_rate_ksps, uint32_t standard);

/* As ds3000_program_standard, with the wider search that the blind scan's verification needs.
 * Returns the same; for an unknown chip nothing is written. */
int32_t ds3000_program_standard_scan(int32_t symbol_rate_ksps, uint32_t standard);

/* Pulse the demodulator's global reset: register 0x07 = 0x80, then 0x00. Returns 0. */
int32_t ds3000_soft_reset(void);

/* Clear bit 0 of register 0x56 when mode is 1, set it otherwise. Returns 0. */
int32_t ds3000_set_reg56_bit0(uint32_t mode);

#ifdef __cplusplus
}
#endif

#endif
