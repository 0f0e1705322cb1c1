/* SPDX-License-Identifier: MIT */
#ifndef DS3000_DEMOD_CONNECT_H
#define DS3000_DEMOD_CONNECT_H

#include <stdint.h>

#include "ds3000/demod/programming.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Putting the front end on one transponder. Transfer results are ignored unless a status is named.
 * All for the worker thread, or for a host call while that thread is parked. */

/* Connect: tune the tuner (or send the Unicable channel change), program the demodulator for the
 * standard and the symbol rate, tell it where to expect the carrier and let it acquire. Does not
 * wait for lock: ds3000_poll_lock reports it.
 * Below 5000 ksym/s without Unicable the tuner is placed 3000 kHz above the carrier, and the
 * demodulator is told to expect it there.
 * frequency_mhz: IF, 950..2150 MHz. symbol_rate_ksps: 1000..45000 ksym/s.
 * standard_code: enum ds3000_standard; STANDARD_AUTO begins with DVB-S and leaves the choice to
 * the lock poll; a code that is none of these is stored and programmed as DVB-S.
 * Returns 0; -11 when the tuner is not bound (nothing is changed); -6 for an unknown chip (the
 * context is changed, no register is). */
int32_t ds3000_connect(uint32_t frequency_mhz, int32_t symbol_rate_ksps, uint32_t standard_code);

#ifdef __cplusplus
}
#endif

#endif
