/* SPDX-License-Identifier: MIT */
#ifndef DS3000_DEMOD_FIRMWARE_H
#define DS3000_DEMOD_FIRMWARE_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The demodulator's micro-controller: its program and its reset.
 * All for the worker thread, or for a host call while that thread is parked. */

enum { FIRMWARE_SIZE = 8192, FIRMWARE_CHUNK = 64 };

/* The images embedded in the build: A for DS3002B and DS3103, B for DS300X. */
extern const uint8_t ds3000_firmware_a[FIRMWARE_SIZE];
extern const uint8_t ds3000_firmware_b[FIRMWARE_SIZE];

/* Load a program: hold (0xB2 = 0x01), 128 blocks of 64 bytes to register 0xB0 in order without
 * pause, release (0xB2 = 0x00). A block that fails ends the download; the release is sent all the
 * same. The results of the hold and the release are ignored.
 * image: FIRMWARE_SIZE bytes.
 * Returns 0, or -8 when a block failed. */
int32_t load_firmware(const uint8_t *image);

/* Restart the micro-controller with the program it has. Begins the acquisition anew for the lock
 * poll (first_poll 1, locked_once 0, s2_recovery_done 0), holds (0xB2 = 0x01), pulses the core
 * reset (DS300X: only 1000 us of wait; DS3002B and DS3103: 0x00 = 0x01, 1000 us, 0x00 = 0x00),
 * releases (0xB2 = 0x00). Transfer results are ignored.
 * Returns 0, or -6 for an unknown chip_type: the micro-controller is then left held. */
int32_t reset_mcu(void);

#ifdef __cplusplus
}
#endif

#endif
