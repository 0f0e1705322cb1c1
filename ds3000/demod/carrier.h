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
 * parked. Each returns 0 unless stated. */

/* Program where the carrier is expected: the LO less the carrier, in kHz. Writes 0x5F (high), then
 * 0x5E (low), and stores the offset in ds3000_context.carrier_offset_khz.
 * offset_khz: about ±32000; the half-step rounding is exact for positive offsets only. */
int32_t ds3000_set_carrier_offset(int32_t offset_khz);

/* Return 1 when the demodulator sees the spectrum inverted, so that offsets change their sign: a
 * DS300X while ds3000_context.spectrum_inverted is 1. DS3002B and DS3103 turn the spectrum back, in
 * register 0x4D. Else 0. No access. */
int32_t ds3000_sees_inverted_spectrum(void);

/* Program where the carrier is expected after a tuning: beside_khz and the tuner's own offset, with
 * the sign that ds3000_sees_inverted_spectrum asks for. Writes as ds3000_set_carrier_offset does.
 * beside_khz: how far above the carrier the tuner was sent, 0 or a shift made on purpose.
 * Returns 0, or -11 without any access while tuner_get_offset is not bound. */
int32_t ds3000_expect_carrier(int32_t beside_khz);

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
