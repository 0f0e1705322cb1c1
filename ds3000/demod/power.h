/* SPDX-License-Identifier: MIT */
#ifndef DS3000_DEMOD_POWER_H
#define DS3000_DEMOD_POWER_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Identification, initialisation and power states. Transfer results are ignored; a failed read
 * leaves the byte that the operation held. All for the worker thread, or for a host call while
 * that thread is parked. */

/* Tell which variant an identity is. Reads nothing: ds3000_identify does. Any thread.
 * id, id_high, mcu_control: registers 0x01, 0x02 and 0xB2.
 * Returns enum ds3000_chip_type, CHIP_UNKNOWN included. */
int32_t ds3000_chip_type_of(uint8_t id, uint8_t id_high, uint8_t mcu_control);

/* A variant's name, "DS3103" say; null for any code but the three known ones. Any thread. */
const char *ds3000_chip_name(int32_t chip_type);

/* Tell the chip variant from registers 0x01, 0x02 and 0xB2, read in that order, and name a known
 * one on standard error.
 * chip_type: enum ds3000_chip_type, CHIP_UNKNOWN included.
 * Returns 0. */
int32_t ds3000_identify(int32_t *chip_type);

/* Identify the chip into ds3000_context.chip_type, release a micro-controller left held, pulse the
 * global reset, enable the demodulator, and forget the last channel. 2000 us of waits.
 * Returns 0, or -6 for an unknown chip with no register written. */
int32_t ds3000_hard_init(void);

/* Bring the front end up from power-on: ds3000_hard_init, tuner_ops, tuner start-up, firmware
 * (image A for DS3002B and DS3103, B for DS300X), TS output mode 3, board options. The chip must
 * have been awake for 100 ms. A firmware download that fails is not reported.
 * Returns 0, or -6 for an unknown chip; tuner_ops is then bound and the tuner started all the
 * same. */
int32_t ds3000_init(void);

/* Leave power-down: register 0x08 bit 0 set, 0x04 bit 0 and 0x23 bit 4 cleared; then the tuner,
 * when bound. Returns 0. */
int32_t ds3000_wake(void);

/* Enter power-down: the tuner first, when bound; then register 0x08 bit 0 cleared, 0x04 bit 0 and
 * 0x23 bit 4 set. Returns 0. */
int32_t ds3000_sleep(void);

/* Select the chip's operating mode and the master clock that goes with it, adapt the TS clock of a
 * locked channel, and clear bit 5 of register 0x29. DS3002B and DS3103 only.
 * mode: 0..3.
 * Returns 0, or -6 for any other chip. */
int32_t ds3000_set_mode(uint8_t mode);

/* Write the driver's revision, 60303, to *revision. Any thread. Returns 0. */
int32_t ds3000_get_revision(uint32_t *revision);

#ifdef __cplusplus
}
#endif

#endif
