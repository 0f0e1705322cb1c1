/* SPDX-License-Identifier: MIT */
#ifndef DS3000_HW_HDI_H
#define DS3000_HW_HDI_H

#include <stdint.h>

#include "ds3000/chip/wiring.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Functions that the host process provides. The driver resolves them when it is loaded and calls
 * the bus and GPIO functions from one thread at a time; log_print may come from a host call while
 * the worker thread uses the bus. Addresses are those of i2c_address, lines those of gpio_line. */

/* Flags of a transfer. */
enum hdi_flags {
    HDI_OPEN = 1,    /* start, no stop: the following read begins with a repeated start */
    HDI_COMPLETE = 3 /* start and stop */
};

/* Open the I2C bus. Returns its handle, or null when there is none. */
void *hdi_create_i2c_bus(void);

/* Close a bus that hdi_create_i2c_bus returned. */
void hdi_destroy_i2c_bus(void *bus);

/* Return nonzero when a device acknowledges `address`. */
int hdi_Check_i2c_address(void *bus, unsigned address);

/* Write `length` bytes of `data` to `address`. Returns nonzero on success, 0 on failure. */
int hdi_Write_i2c_port(void *bus, unsigned address, const uint8_t *data, unsigned length,
                       unsigned flags);

/* Read `length` bytes from `address` into `data`. Returns nonzero on success, 0 on failure. */
int hdi_Read_i2c_port(void *bus, unsigned address, uint8_t *data, unsigned length, unsigned flags);

/* Set GPIO `line` to `level` (0 or 1). */
void hdi_set_gpio(void *bus, unsigned line, unsigned level);

/* Log one message of the Tuner operations; no newline at its end. The result is ignored. */
int log_print(const char *format, ...);

#ifdef __cplusplus
}
#endif

#endif
