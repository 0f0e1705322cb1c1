/* SPDX-License-Identifier: MIT */
#ifndef DS3000_DEMOD_SIGNAL_STRENGTH_H
#define DS3000_DEMOD_SIGNAL_STRENGTH_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Write the signal strength to *percent, 0..100: the mean of the last sixteen readings, which
 * start at 0 when the library is loaded and are kept across tunes. A locked signal whose reading
 * is below 40 counts as reading / 2 + 20.
 * Asks the tuner for its gain figure (tuner_get_gain: demodulator register 0x3F and the tuner's
 * gain registers), then polls the lock with ds3000_poll_lock on every call, with all that a poll
 * does.
 * Returns 0, or -11 without any access while that slot is unbound. Worker thread only: the
 * readings are not locked. */
int32_t signal_strength(uint8_t *percent);

#ifdef __cplusplus
}
#endif

#endif
