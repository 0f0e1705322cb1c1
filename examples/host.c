/* SPDX-License-Identifier: MIT */
/* A receiver's host process in plain C, as small as one can be: it lends the plug-in the functions
 * of ds3000/hw/hdi.h, loads it, and lives a Tuner's life from create to free.
 *
 *     cc -std=c11 -rdynamic -o host host.c board.c $(pkg-config --cflags ds3000) -ldl
 *     ./host $(pkg-config --variable=plugin ds3000)
 *
 * -rdynamic is what lets the plug-in find hdi_* and log_print in the program. board.c stands for
 * the hardware. What it and the driver say goes to standard error. */
#define _POSIX_C_SOURCE 200809L /* nanosleep, under -std=c11 */
#include <dlfcn.h>
#include <stdarg.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <time.h>

#include "ds3000/hw/hdi.h"
#include "ds3000/plugin/plugin.h"

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
        nanosleep(&(struct timespec){.tv_nsec = 50000000}, NULL);
    }
    return 0;
}

/* One channel: 10744 MHz vertical, 22 Msym/s, DVB-S, through a universal LNB. */
static int receive(struct Tuner *tuner) {
    const struct tune_request request = {
        .frequency = 10744000,
        .symbol_rate = 22000000,
        .polarisation = TUNE_POLARISATION_13V,
        .delivery_system = TUNE_SYSTEM_DVBS,
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
        puts("init: chips up");
        received = receive(tuner);
        tuner->finalize(tuner); /* ends the worker thread: free does not */
        puts("finalize: chips asleep");
    }
    tuner->free(tuner);
    dlclose(plugin);
    puts("free: done");
    return received ? EXIT_SUCCESS : fail("nothing received");
}
