/* SPDX-License-Identifier: MIT */
#ifndef DS3000_DISEQC_UNICABLE_H
#define DS3000_DISEQC_UNICABLE_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Ask an EN 50494 outdoor unit for a transponder and tune to the user band it arrives on.
 * Sends E0 00 5A with two data bytes: user band, bank and the 10-bit tuning word
 * (ub_freq_mhz + freq_khz / 1000) / 4 - 350. Then tunes to ub_freq_mhz through
 * tuner_ops.tuner_set_frequency. The results of both are ignored.
 * freq_khz: IF of the transponder before conversion, kHz.
 * tuner_arg: symbol rate handed to the tuner, ksym/s.
 * out_freq_khz: the IF that the unit's 4 MHz steps really place on the user band, kHz.
 * ub_index: user band, 0..7. bank: the unit's bank (position, polarisation, band), 0..7.
 * ub_freq_mhz: centre of the user band, MHz.
 * Returns 0; -11 when the tuner slot is not bound, with nothing sent.
 * For the worker thread, or for a host call while that thread is parked. */
int32_t unicable_channel_change(int32_t freq_khz, uint32_t tuner_arg, int32_t *out_freq_khz,
                                uint8_t ub_index, uint16_t bank, uint16_t ub_freq_mhz);

/* The same with the user band of ds3000_context: unicable_ub_index, unicable_bank and
 * unicable_ub_freq_mhz. */
int32_t unicable_tune(int32_t freq_khz, uint32_t tuner_arg, int32_t *out_freq_khz);

#ifdef __cplusplus
}
#endif

#endif
