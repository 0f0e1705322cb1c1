/* SPDX-License-Identifier: MIT */
#ifndef DS3000_HW_LNB_SUPPLY_H
#define DS3000_HW_LNB_SUPPLY_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

struct ds3000_driver;

/* Switch the LNB supply.
 * On: GPIO 7 to 1 for 18 V or 0 for 13 V; when driver->has_lnbh23, one byte to the LNBH23 (0x4C
 * for 18 V, 0x44 for 13 V); GPIO 6 to 1. Off: GPIO 6 to 0; when driver->has_lnbh23, 0x00 to the
 * LNBH23; the voltage line stays as it was. The voltage is selected before the supply comes on.
 * The results of the GPIO and I2C calls are ignored.
 * driver: only has_lnbh23 is read.
 * enable: on when its low 8 bits are not zero.
 * voltage_18v: 1 selects 18 V, anything else 13 V.
 * Host calls only, with the worker thread parked or ended. */
void set_lnb_supply(const struct ds3000_driver *driver, uint32_t enable, uint32_t voltage_18v);

#ifdef __cplusplus
}
#endif

#endif
