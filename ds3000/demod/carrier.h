/* SPDX-License-Identifier: MIT */
#ifndef DS3000_DEMOD_CARRIER_H
#define DS3000_DEMOD_CARRIER_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Carrier offset and symbol rate, written and read back. The carrier registers count steps of
 * 96000/65536 kHz (about 1.465 kHz), whatever the master clock is.
 * Transfer results are ignored. All for the worker thread, or for a host call while that thread is
 * parked. Each returns 0. */

/* Program where the carrier is expected: the LO less the carrier, in kHz. Writes 0x5F (high), then
 * 0x5E (low), and stores the offset in ds3000_context.carrier_offset_khz.
 * offset_khz: about ±32000; the half-step rounding is exact for positive offsets only. */
int32_t ds3000_set_carrier_offset(int32_t offset_khz);

/* Program the symbol rate, rounded to steps of 96000/65536 ksym/s. Writes 0x61 (low), then 0x62. */
int32_t ds3000_set_symbol_rate(uint32_t symbol_rate_ksps);

/* Read back the programmed carrier offset, kHz. Reads 0x5D, writes it with bits 2..0 clear, reads
 * 0x5E and 0x5F. */
int32_t ds3000_get_carrier_offset(int32_t *offset_khz);

/* Read how far the programmed carrier lies from the measured one, programmed less measured, kHz.
 * Register 0x5D is left with bits 2..0 = 110. */
int32_t ds3000_get_carrier_offset_delta(int32_t *offset_khz);

/* Read the received symbol rate, ksym/s. Reads 0x6D and 0x6E. The product is kept in 32 bits:
 * rates from about 32768 ksym/s come back wrapped and negative. */
int32_t ds3000_get_symbol_rate(int32_t *symbol_rate_ksps);

#ifdef __cplusplus
}
#endif

#endif
