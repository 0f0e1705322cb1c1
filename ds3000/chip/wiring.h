/* SPDX-License-Identifier: MIT */
#ifndef DS3000_CHIP_WIRING_H
#define DS3000_CHIP_WIRING_H

/* What the receiver's board connects the driver to. */

/* I2C addresses, 8-bit write form. The tuner is behind the demodulator's repeater. */
enum i2c_address { DEMOD_ADDRESS = 0xD0, TUNER_ADDRESS = 0xC0, LNBH23_ADDRESS = 0x14 };

/* GPIO lines of the LNB supply: it is on while the first is 1; the second selects 18 V, else
 * 13 V. */
enum gpio_line { GPIO_SUPPLY_ENABLE = 6, GPIO_SUPPLY_18V = 7 };

#endif
