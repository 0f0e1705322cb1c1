/* SPDX-License-Identifier: MIT */
/* For programs that cannot export functions for the driver to call, such as Python's: the bus and
 * the GPIO lines of ds3000/hw/hdi.h, each passed on to a function that the program hands over.
 * scan.py says how it is built and used. */
#include <stddef.h>
#include <stdint.h>

#include "ds3000/hw/hdi.h"

struct board {
    void *(*open)(void);
    void (*close)(void *bus);
    int (*check)(void *bus, unsigned address);
    int (*write)(void *bus, unsigned address, const uint8_t *data, unsigned length, unsigned flags);
    int (*read)(void *bus, unsigned address, uint8_t *data, unsigned length, unsigned flags);
    void (*set_gpio)(void *bus, unsigned line, unsigned level);
};

static struct board board;

/* Call it before anything else, with a function in every place. */
void forward_to(const struct board *functions);
void forward_to(const struct board *functions) { board = *functions; }

void *hdi_create_i2c_bus(void) { return board.open(); }

void hdi_destroy_i2c_bus(void *bus) { board.close(bus); }

int hdi_Check_i2c_address(void *bus, unsigned address) { return board.check(bus, address); }

int hdi_Write_i2c_port(void *bus, unsigned address, const uint8_t *data, unsigned length,
                       unsigned flags) {
    return board.write(bus, address, data, length, flags);
}

int hdi_Read_i2c_port(void *bus, unsigned address, uint8_t *data, unsigned length, unsigned flags) {
    return board.read(bus, address, data, length, flags);
}

void hdi_set_gpio(void *bus, unsigned line, unsigned level) { board.set_gpio(bus, line, level); }
