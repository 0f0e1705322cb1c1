/* SPDX-License-Identifier: MIT */
/* A receiver's host process in plain C, as small as one can be: it lends the plug-in the seven
 * functions of ds3000/hw/hdi.h, loads it, and lives a Tuner's life from create to free.
 *
 *     cc -std=c11 -Iinclude -rdynamic host.c -o host -ldl
 *     ./host ./dvb_ts_tuner_ds3000_and_ts2022.so
 *
 * -rdynamic is what lets the plug-in find hdi_* and log_print in the program. The hardware behind
 * them is a board of chips that are nothing but registers, and whose demodulator has lock as soon
 * as it is asked: put your own bus and GPIO lines in its place. What the driver itself writes goes
 * to standard error. */
#include <dlfcn.h>
#include <stdarg.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include "ds3000/hw/hdi.h"
#include "ds3000/hw/register_access.h"
#include "ds3000/plugin/plugin.h"

/* The board: a demodulator and a tuner on one bus. */

struct chip {
    uint8_t states[256];  /* not 0: what a register reads as, whatever is written to it */
    uint8_t written[256]; /* every other register reads as written */
    uint8_t selected;     /* the register that the next read is of */
};

static struct chip demodulator = {
    .states =
        {
            [0x01] = 0xD0, /* a DS3103, */
            [0xB2] = 0xC0, /* by its control register too */
            [0xB3] = 0x04, /* the search has begun, */
            [0x59] = 0x05, /* the carrier is good, */
            [0xD1] = 0x07, /* and there is lock */
            [0x0D] = 0x07,
            [0xFF] = 0x50, /* 10 dB */
        },
};
static struct chip tuner_chip = {
    .states =
        {
            [0x00] = 0xC3, /* powered, and its identity */
            [0x14] = 0x40, /* calibrations that end well */
            [0x15] = 0x40,
            [0x21] = 0x10,
            [0x26] = 0x20,
            [0x3C] = 0x01,
        },
};
static char bus_handle;        /* its address is the bus: the driver passes it back and no more */
static unsigned program_bytes; /* of the demodulator's program, loaded through its port */
enum { PROGRAM_PORT = 0xB0 };

static struct chip *chip_at(unsigned address) {
    return address == DEMOD_ADDRESS ? &demodulator : address == TUNER_ADDRESS ? &tuner_chip : NULL;
}

/* What the host provides; ds3000/hw/hdi.h says what each function owes. */

void *hdi_create_i2c_bus(void) {
    puts("  bus opened");
    return &bus_handle;
}

void hdi_destroy_i2c_bus(void *bus) {
    puts(bus == &bus_handle ? "  bus closed" : "  an unknown bus closed");
}

/* Asked once, in init, for the address of an LNBH23. This board has none: GPIO lines alone. */
int hdi_Check_i2c_address(void *bus, unsigned address) {
    return bus == &bus_handle && chip_at(address) != NULL;
}

/* The first byte is the register. With HDI_OPEN nothing else follows: the transfer stays open and
 * hdi_Read_i2c_port goes on with a repeated start, which this board has no need to tell apart. */
int hdi_Write_i2c_port(void *bus, unsigned address, const uint8_t *data, unsigned length,
                       unsigned flags) {
    struct chip *chip = chip_at(address);
    (void)flags;
    if (bus != &bus_handle || chip == NULL || length == 0) {
        return 0;
    }
    chip->selected = data[0];
    if (address == DEMOD_ADDRESS && data[0] == PROGRAM_PORT) {
        program_bytes += length - 1;
    } else if (length == 2) {
        chip->written[data[0]] = data[1];
    }
    return 1;
}

/* The driver reads one byte at a time. */
int hdi_Read_i2c_port(void *bus, unsigned address, uint8_t *data, unsigned length, unsigned flags) {
    const struct chip *chip = chip_at(address);
    (void)flags;
    if (bus != &bus_handle || chip == NULL || length != 1) {
        return 0;
    }
    const uint8_t state = chip->states[chip->selected];
    data[0] = state != 0 ? state : chip->written[chip->selected];
    return 1;
}

/* Line 6 enables the LNB supply, line 7 selects 18 V. */
void hdi_set_gpio(void *bus, unsigned line, unsigned level) {
    (void)bus;
    printf("  GPIO %u = %u\n", line, level);
}

/* The message comes without a newline. */
int log_print(const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    fputs("  log: ", stdout);
    const int printed = vprintf(format, arguments);
    va_end(arguments);
    putchar('\n');
    return printed;
}

/* The host. */

static int fail(const char *what) { return fprintf(stderr, "host: %s\n", what), EXIT_FAILURE; }

/* Look the one export up. ISO C has no conversion from an object's pointer to a function's. */
static const struct dvb_ts_tuner_metadata *descriptor_of(void *plugin) {
    const struct dvb_ts_tuner_metadata *(*get_metadata)(void) = NULL;
    *(void **)&get_metadata = dlsym(plugin, "dvb_ts_tuner_get_metadata_ds3000_and_ts2022");
    return get_metadata != NULL ? get_metadata() : NULL;
}

/* The worker thread looks at the chips every 50 ms; a host that asks more often learns no more. */
static int wait_for_lock(struct Tuner *tuner) {
    for (int look = 0; look < 100; ++look) {
        if (tuner->get_lock(tuner) == 1) {
            return 1;
        }
        usleep(50000);
    }
    return 0;
}

/* One channel: 12551.5 MHz vertical, 27.5 Msym/s, DVB-S, through a universal LNB. */
static int receive(struct Tuner *tuner) {
    const struct tune_request request = {
        .frequency = 12551500,
        .symbol_rate = 27500000,
        .polarisation = 1,
        .delivery_system = 5,
        .lof_low = 9750000,
        .lof_high = 10600000,
        .lof_switch = 11700000,
    };
    if (tuner->tune(tuner, &request) != 1) {
        return 0;
    }
    puts("tune: set up; lock is the worker thread's to report");
    if (!wait_for_lock(tuner)) {
        return 0;
    }
    /* signal[1] is the strength in percent, a mean over sixteen polls: it has just begun. */
    uint8_t signal[2] = {0, 0};
    tuner->get_signal(tuner, signal);
    printf("locked, %d dB\n", (int8_t)signal[0]);
    return 1;
}

int main(int argc, char **argv) {
    void *plugin = argc == 2 ? dlopen(argv[1], RTLD_NOW | RTLD_LOCAL) : NULL;
    if (plugin == NULL) {
        return fail(argc == 2 ? dlerror() : "usage: host PLUGIN");
    }
    const struct dvb_ts_tuner_metadata *descriptor = descriptor_of(plugin);
    if (descriptor == NULL || descriptor->descriptor_version != 1) {
        return fail("not a plug-in of this kind");
    }
    puts("loaded: descriptor version 1");

    struct Tuner *tuner = descriptor->create(0);
    if (tuner == NULL) {
        return fail("no memory for a Tuner");
    }
    int received = 0;
    if (tuner->init(tuner) == 1) {
        printf("init: chips up, %u bytes of firmware loaded\n", program_bytes);
        received = receive(tuner);
        tuner->finalize(tuner); /* ends the worker thread: free does not */
        puts("finalize: chips asleep");
    }
    tuner->free(tuner);
    dlclose(plugin);
    puts("free: done");
    return received ? EXIT_SUCCESS : fail("nothing received");
}
