/* SPDX-License-Identifier: MIT */
#ifndef DS3000_DEMOD_SIGNAL_QUALITY_H
#define DS3000_DEMOD_SIGNAL_QUALITY_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* What the demodulator says of the received signal; meaningful after lock. The standard in force
 * (ds3000_context.standard) decides which registers are read. Transfer results are ignored.
 * All for the worker thread, or for a host call while that thread is parked. Each returns 0. */

/* The received carrier's parameters. */
struct ds3000_signal_info {
    uint32_t standard;   /* ds3000_context.standard */
    uint32_t modulation; /* enum ds3000_modulation */
    uint32_t roll_off;   /* 1, 2, 3 as the chip codes it, 0 unknown; 1 in DVB-S */
    uint32_t code_rate;  /* enum ds3000_code_rate */
    uint32_t pilots;     /* 1: pilots on; 0 in DVB-S */
    uint32_t inversion;  /* 1 normal, 2 inverted spectrum */
};

/* Estimate the signal-to-noise ratio in whole dB, truncated: DVB-S 0..14, DVB-S2 -19..19 with a
 * negative value in two's complement. DVB-S: ten reads of 0xFF. DVB-S2: ten rounds of reads of
 * 0x8C, 0x8D and 0x8E. Also stored in ds3000_context.snr_db. */
int32_t ds3000_get_snr(uint8_t *snr_db);

/* Read the error counter and what it was counted over.
 * DVB-S: bits; reads 0xF8 after starting with 0xF9 = 0x04, and 0xF6, 0xF7 when the window is over.
 * While the window runs the count is 0. DVB-S2: packets; reads the code rate and 0xD7, 0xD6, 0xD5,
 * 0xF8, 0xF7. Until 3001 frames have been counted the outputs are what the previous call counted;
 * then the counters are restarted. Divide errors by denominator, which is 0 for an unknown code
 * rate or before the first frame. */
int32_t ds3000_get_ber(uint32_t *denominator, uint32_t *errors);

/* Read all parameters. DVB-S: 0xE6, 0xE0. DVB-S2: 0x7E, 0x89, 0xF2. */
int32_t ds3000_get_signal_info(struct ds3000_signal_info *info);

/* Read info->code_rate alone, as the given standard codes it: 0x7E for STANDARD_DVBS2, else 0xE6.
 * No other field is written. */
int32_t ds3000_get_code_rate(struct ds3000_signal_info *info, uint32_t standard);

#ifdef __cplusplus
}
#endif

#endif
