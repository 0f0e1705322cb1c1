/* SPDX-License-Identifier: MIT */
#ifndef DS3000_HW_REGISTER_ACCESS_H
#define DS3000_HW_REGISTER_ACCESS_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Register access to the demodulator (0xD0) and, through the demodulator's repeater, to the tuner
 * (0xC0). One call makes exactly the transfers listed, with no retry, no wait and no lock: each
 * function is for the worker thread, or for a host call while that thread is parked.
 * Every function returns 0, or -8 when a transfer failed; what follows it is then not sent.
 * Pointers are never null. */

/* The longest run of bytes that demod_write_block takes. */
enum { DEMOD_BLOCK_MAX = 64 };

/* Write one demodulator register: {reg, value}, complete transfer. */
int32_t demod_write(uint8_t reg, uint8_t value);

/* Read one demodulator register: {reg} left open, then one byte with a repeated start.
 * After a failure *value is what it was before. */
int32_t demod_read(uint8_t reg, uint8_t *value);

/* Write `count` (register, value) pairs in order, each as demod_write does. Stops at the first
 * pair that fails. A count below 1 writes nothing and returns 0.
 * table: 2 × count bytes. */
int32_t demod_write_table(const uint8_t *table, int32_t count);

/* Write `length` bytes to one demodulator register in one transfer {reg, data...}.
 * length: 0..64; a longer block returns -3 and nothing is sent. */
int32_t demod_write_block(uint8_t reg, const uint8_t *data, uint32_t length);

/* Write one tuner register: opens the repeater (demodulator register 0x03 = 0x11), then
 * {reg, value} to the tuner. */
int32_t tuner_write(uint8_t reg, uint8_t value);

/* Read one tuner register: opens the repeater, then {reg} left open and one byte with a repeated
 * start, which keeps the repeater open. After a failure *value is what it was before. */
int32_t tuner_read(uint8_t reg, uint8_t *value);

/* Write `length` bytes to the tuner in one transfer; the first is the start register. Opens the
 * repeater first. */
int32_t tuner_write_block(const uint8_t *data, uint32_t length);

#ifdef __cplusplus
}
#endif

#endif
