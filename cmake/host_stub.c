/* SPDX-License-Identifier: MIT */
/* The functions of ds3000/hw/hdi.h without a receiver behind them: what a check-only link finds a
 * host's symbols in. Nothing calls them. */
#include <stddef.h>

#include "ds3000/hw/hdi.h"

void *hdi_create_i2c_bus(void) { return NULL; }

void hdi_destroy_i2c_bus(void *bus) { (void)bus; }

int hdi_Check_i2c_address(void *bus, unsigned address) {
    (void)bus;
    (void)address;
    return 0;
}

int hdi_Write_i2c_port(void *bus, unsigned address, const uint8_t *data, unsigned length,
                       unsigned flags) {
    (void)bus;
    (void)address;
    (void)data;
    (void)length;
    (void)flags;
    return 0;
}

int hdi_Read_i2c_port(void *bus, unsigned address, uint8_t *data, unsigned length, unsigned flags) {
    (void)bus;
    (void)address;
    (void)data;
    (void)length;
    (void)flags;
    return 0;
}

void hdi_set_gpio(void *bus, unsigned line, unsigned level) {
    (void)bus;
    (void)line;
    (void)level;
}

int log_print(const char *format, ...) {
    (void)format;
    return 0;
}
