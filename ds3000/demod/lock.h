/* SPDX-License-Identifier: MIT */
#ifndef DS3000_DEMOD_LOCK_H
#define DS3000_DEMOD_LOCK_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Watching for lock. Transfer results are ignored.
 * All for the worker thread, or for a host call while that thread is parked. */

/* Report where the acquisition stands, and move it on: polls after a connect run
 * ds3000_check_first_lock until it passes; an automatic request alternates between DVB-S and DVB-S2
 * until the first lock; DS3002B and DS3103 get one DVB-S2 recovery reset per connect; DS300X has
 * its DVB-S2 loop registers set to the received MODCOD; a carrier 4000 kHz or more from where it
 * was expected is taken for a false lock and the chip is held until the next connect; the first
 * lock, and each one after an unlocked poll, adapts the TS clock. Waits up to 101 ms for the
 * search, 1 to 2 ms for a reset.
 * lock_state: enum ds3000_lock_state.
 * Returns 0; -3 when lock_state is null; -6 when an unknown chip reports lock, with lock_state
 * LOCK_FAILED. */
int32_t ds3000_poll_lock(uint32_t *lock_state);

/* Wait for the demodulator's search to begin: up to 11 reads of 0xB3, 10000 us apart; then look at
 * fifteen readings of 0x59, fewer when one is negative, set bit 0 of register 0x56 when they are
 * weak, and wait 1000 us.
 * lock_state: set to LOCK_FAILED when the search did not begin, else left as it is.
 * Returns 0. */
int32_t ds3000_check_first_lock(uint32_t *lock_state);

#ifdef __cplusplus
}
#endif

#endif
