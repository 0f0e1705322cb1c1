/* SPDX-License-Identifier: MIT */
/* A blind scan in plain C on the chip layer: what an integrator's own program does with
 * libds3000.a. It starts the front end, supplies the LNB, scans one leg of the cable (vertical, low
 * band), prints what it is told on the way, and prints the list.
 *
 *     cc -std=c11 -o scan scan.c board.c $(pkg-config --cflags --libs ds3000)
 *     ./scan
 *
 * Given a number, as in `./scan 1`, it cancels the scan after so many transponders. board.c stands
 * for the hardware: it is what implements ds3000/hw/hdi.h. It all happens in real time, so the scan
 * covers no more than the first 200 MHz: 1950 is where the low band ends. */
#define _POSIX_C_SOURCE 200809L /* nanosleep, under -std=c11 */
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <time.h>

#include "ds3000/chip/ds3000_context.h"
#include "ds3000/demod/power.h"
#include "ds3000/diseqc/diseqc.h"
#include "ds3000/hw/driver_record.h"
#include "ds3000/hw/hdi.h"
#include "ds3000/hw/lnb_supply.h"
#include "ds3000/hw/register_access.h"
#include "ds3000/scan/blind_scan.h"
#include "ds3000/scan/scan_control.h"
#include "ds3000/scan/scan_request.h"

enum { LOW_BAND_LOF_MHZ = 9750, FIRST_MHZ = 950, LAST_MHZ = 1150, CAPACITY = 64 };

/* The scan also reads and writes one record beyond the capacity. */
static struct scan_candidate candidates[CAPACITY + 1];

/* The supply's switch is the plug-in's; of its record only has_lnbh23 counts here. */
static struct ds3000_driver supply;

static unsigned long wanted; /* transponders; 0: all there are */
static unsigned long found;

static const char *name_of_code_rate(uint32_t code) {
    static const char *const names[] = {"?",   "1/4", "1/3", "2/5", "1/2", "3/5", "2/3",
                                        "3/4", "4/5", "5/6", "7/8", "8/9", "9/10"};
    return code < sizeof(names) / sizeof(names[0]) ? names[code] : names[0];
}

static void print_transponder(const struct scan_candidate *candidate) {
    printf("%7.1f MHz V  %5u ksym/s  %-6s %s\n",
           (double)LOW_BAND_LOF_MHZ + (double)candidate->frequency_khz / 1000,
           candidate->symbol_rate, candidate->status == STANDARD_DVBS2 ? "DVB-S2" : "DVB-S",
           name_of_code_rate(candidate->code_rate));
}

/* Called from the scanning thread, so it must not take long: the scan waits for it. `argument` is
 * gone when it returns. Cancelling is no more than a flag, which the scan looks at before its next
 * register poll; any other thread, or a signal handler, may raise it just so. */
static void on_event(uint32_t event, void *argument) {
    switch (event) {
        case SCAN_EVENT_STARTED:
            puts("scanning");
            break;
        case SCAN_EVENT_PROGRESS:
            printf("  on to %u MHz\n", *(const uint32_t *)argument / 1000);
            break;
        case SCAN_EVENT_LOCKED:
            printf("  found ");
            print_transponder(argument);
            if (++found == wanted) {
                puts("  enough: cancelling");
                ds3000_set_scan_cancel(1);
            }
            break;
        case SCAN_EVENT_FINISHED:
            puts("finished");
            break;
        default: /* peaks as they are seen, and candidates that did not lock */
            break;
    }
}

static void wait_100_ms(void) { nanosleep(&(struct timespec){.tv_nsec = 100000000}, NULL); }

/* The chips must have been awake for 100 ms before they are initialised. */
static int start_front_end(void) {
    ds3000_context.i2c_bus = hdi_create_i2c_bus();
    if (ds3000_context.i2c_bus == NULL) {
        fputs("scan: no bus\n", stderr);
        return 0;
    }
    ds3000_wake();
    wait_100_ms();
    if (ds3000_init() != DS3000_OK) {
        fputs("scan: no demodulator of this family\n", stderr);
        return 0;
    }
    supply.has_lnbh23 = hdi_Check_i2c_address(ds3000_context.i2c_bus, LNBH23_ADDRESS) != 0;
    return 1;
}

/* 13 V for vertical, no tone for the low band, and time for the LNB to come up. */
static void select_leg(void) {
    set_lnb_supply(&supply, 1, 0);
    lnb_control(1, 0, 0, 0);
    wait_100_ms();
}

static void stop_front_end(void) {
    ds3000_sleep();
    set_lnb_supply(&supply, 0, 0);
    hdi_destroy_i2c_bus(ds3000_context.i2c_bus);
}

/* Rejected candidates stand behind the others; what a cancel left undecided is pending. */
static void print_list(void) {
    for (unsigned i = 0; i < ds3000_context.scan_count && i < CAPACITY; ++i) {
        const uint32_t status = candidates[i].status;
        if (status == STANDARD_DVBS || status == STANDARD_DVBS2) {
            print_transponder(&candidates[i]);
        }
    }
}

int main(int argc, char **argv) {
    char *rest = "";
    wanted = argc > 1 ? strtoul(argv[1], &rest, 10) : 0;
    if (argc > 2 || *rest != '\0') {
        fputs("usage: scan [TRANSPONDERS]\n", stderr);
        return EXIT_FAILURE;
    }
    if (!start_front_end()) {
        return EXIT_FAILURE;
    }
    select_leg();

    struct blind_scan_request request = {
        .passes = 1,
        .algorithm = SCAN_ALGO_STEPWISE,
        .capacity = CAPACITY,
        .candidates = candidates,
    };
    ds3000_set_scan_callback(on_event);
    const int32_t status = ds3000_blind_scan(FIRST_MHZ, LAST_MHZ, &request);
    printf("%u transponders\n", request.locked_count);
    print_list();
    stop_front_end();
    return status == DS3000_OK ? EXIT_SUCCESS : EXIT_FAILURE;
}
