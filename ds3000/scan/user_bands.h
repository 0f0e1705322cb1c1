/* SPDX-License-Identifier: MIT */
#ifndef DS3000_SCAN_USER_BANDS_H
#define DS3000_SCAN_USER_BANDS_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Finding the user bands of an EN 50494 outdoor unit from the test tones that it puts on them.
 * Progress and findings are written to standard error. The demodulator is left programmed for the
 * measurement: connect before receiving.
 * The caller's thread must own the hardware. */

/* One user band, in the order of the sweep. */
struct ub_entry {
    uint32_t frequency_mhz;          /* centre, MHz */
    uint8_t valid;                   /* 1 accepted, 0 rejected by the gain check */
    uint32_t measured_frequency_mhz; /* the same */
    uint32_t reserved;               /* not written */
    int32_t gain;                    /* gain figure */
};

/* Sweep the IF band in steps of 30 MHz from 15 MHz above start_mhz, and keep every narrow carrier
 * that a second measurement 5 MHz higher confirms. The result is ds3000_context.ub_count, the
 * number of valid bands, and the entries, rejected ones included.
 * start_mhz, end_mhz: IF, MHz. A step waits 0.2 s or more, 0.3 s or more where it finds a tone.
 * entries: room for one per step, (end_mhz - start_mhz) / 30 + 1.
 * send_command: nonzero first asks the unit for all its test tones (18 V, E0 10 5B 00 00).
 * Returns 0. */
int32_t ub_detect(uint16_t start_mhz, uint16_t end_mhz, struct ub_entry *entries,
                  uint8_t send_command);

/* Measure the carrier near a frequency.
 * frequency_khz: IF, kHz. result_mhz: the carrier's IF, MHz. amplitude: the chip's figure.
 * gain: the gain figure, a constant 1151. All three are 0 unless a carrier was measured.
 * A chip that is none of the three known is programmed no symbol rate.
 * Returns 1 when a stable carrier was measured, else 0; -11 when the tuner is not bound. */
int32_t ub_measure(uint32_t frequency_khz, int32_t *result_mhz, int32_t *amplitude, int32_t *gain);

#ifdef __cplusplus
}
#endif

#endif
