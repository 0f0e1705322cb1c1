/* SPDX-License-Identifier: MIT */
#ifndef DS3000_PLUGIN_PLUGIN_H
#define DS3000_PLUGIN_PLUGIN_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The plug-in as a host sees it: one export returns the descriptor, the descriptor creates Tuners,
 * and each Tuner carries its operations. Order of a life: create, init, any number of tune,
 * get_lock and get_signal, finalize, free. finalize and init may alternate.
 * The words of the descriptor and of a Tuner are as wide as a pointer. */

struct ds3000_driver;

/* Values of a tune request's words. What any other value means stands with the word. */
enum tune_polarisation { TUNE_POLARISATION_13V = 1 };
enum tune_system { TUNE_SYSTEM_DVBS = 5, TUNE_SYSTEM_DVBS2 = 6 };
enum tune_voltage { TUNE_VOLTAGE_BY_POLARISATION = 0, TUNE_VOLTAGE_18V = 2 };
enum tune_tone { TUNE_TONE_ON = 1, TUNE_TONE_OFF = 2 };

/* A tune request: words of 32 bits on every target. Only the named ones are read. */
struct tune_request {
    uint32_t reserved_0[1];
    uint32_t frequency;   /* word 1: downlink frequency, kHz */
    uint32_t symbol_rate; /* word 2: sym/s */
    uint32_t reserved_3[10];
    uint32_t polarisation;    /* word 13: 1 selects 13 V, anything else 18 V; with lof_high and
                                 without lof_switch, 1 also selects lof_low, else lof_high */
    uint32_t delivery_system; /* word 14: 5 DVB-S, 6 DVB-S2 */
    uint32_t reserved_15[1];
    uint32_t switch_pos;   /* word 16: committed-switch port 1..4, 0 none; the low byte counts */
    uint32_t voltage_mode; /* word 17: 0 by polarisation, 2 18 V, anything else 13 V */
    uint32_t tone_mode;    /* word 18: 1 on, 2 off, anything else by band; counts only with
                              lof_high and lof_switch */
    uint32_t reserved_19[4];
    uint32_t lof_low;    /* word 23: low local oscillator, kHz */
    uint32_t lof_high;   /* word 24: high local oscillator, kHz; 0 for a single-oscillator LNB */
    uint32_t lof_switch; /* word 25: band switch frequency, kHz; 0 none */
};

/* One reception path. The results are 1 for success and 0 for failure unless stated. */
struct Tuner {
    /* Open the bus and bring the hardware up, or wake it when it was up before; start the worker
     * thread, parked. Where the system has no thread to give, init succeeds without one. finalize
     * must precede another init of the same Tuner: init clears its state.
     * 0: no bus, or no known chip; the next init then tries again from the start. */
    uint32_t (*init)(struct Tuner *tuner);

    /* Set up a channel. 1: set up, lock not yet known. 0: refused (delivery system, or an IF
     * outside 950000..2150000 kHz; nothing was touched), no worker thread that could leave the
     * hardware to the caller (after a failed init, or after finalize; nothing was touched), or the
     * connect failed (the channel stays stored). For a request that changes nothing, a failed
     * connect's repeated included: the lock status, with no access to the hardware.
     * Waits until the worker thread has finished the poll under way, however long that takes. */
    uint32_t (*tune)(struct Tuner *tuner, const struct tune_request *request);

    /* Always 0. */
    uintptr_t unused;

    /* Write the last poll's signal quality to out[0] (dB, in DVB-S2 also negative, as two's
     * complement) and the strength to out[1] (percent). Returns 0. Any thread. */
    uint32_t (*get_signal)(struct Tuner *tuner, uint8_t *out);

    /* Return 1 when the last poll saw lock, else 0. The channel before a tune counts until the
     * first poll after it. Any thread. */
    uint32_t (*get_lock)(struct Tuner *tuner);

    /* End the worker thread, which takes the poll under way and up to 50 ms; put the chips to
     * sleep, switch the LNB supply off. Returns 1. */
    uint32_t (*finalize)(struct Tuner *tuner);

    /* Release the Tuner and close the bus, which is that of all Tuners of the process. Does not end
     * the worker thread: finalize does. */
    void (*free)(struct Tuner *tuner);

    uintptr_t host_arg;           /* what the host passed to create, never read here */
    struct ds3000_driver *driver; /* the Tuner's state */
};

/* What dvb_ts_tuner_get_metadata_ds3000_and_ts2022 returns; read-only. */
struct dvb_ts_tuner_metadata {
    uintptr_t descriptor_version;              /* 1 */
    uint32_t (*accepts_kind_a)(uint32_t kind); /* 1 for kind 2, else 0 */
    uint32_t (*accepts_kind_b)(uint32_t kind); /* 1 for kind 2, else 0 */
    uintptr_t null_4;

    /* Create a Tuner; touches no hardware. Null when memory is exhausted. */
    struct Tuner *(*create)(uintptr_t host_arg);

    const uint32_t *(*get_list_a)(void); /* ends with 0xFFFFFFFF, which is all there is */
    uintptr_t null_7;
    uintptr_t any_id;                    /* 0xFFFFFFFF */
    const uint32_t *(*get_list_b)(void); /* ends with 0xFFFFFFFF, which is all there is */
    uintptr_t null_10;
    uintptr_t null_11;
};

/* Return the descriptor. The library's one export. */
#ifdef __GNUC__
__attribute__((visibility("default")))
#endif
const struct dvb_ts_tuner_metadata *
dvb_ts_tuner_get_metadata_ds3000_and_ts2022(void);

#ifdef __cplusplus
}
#endif

/* Whoever includes this checks the layout on the way, where the language can. */
#if defined(__cplusplus) && __cplusplus >= 201703L
static_assert(sizeof(tune_request) == 26 * sizeof(uint32_t), "tune request: 26 words");
static_assert(offsetof(tune_request, frequency) == 1 * sizeof(uint32_t));
static_assert(offsetof(tune_request, polarisation) == 13 * sizeof(uint32_t));
static_assert(offsetof(tune_request, switch_pos) == 16 * sizeof(uint32_t));
static_assert(offsetof(tune_request, lof_low) == 23 * sizeof(uint32_t));
static_assert(offsetof(tune_request, lof_switch) == 25 * sizeof(uint32_t));
static_assert(sizeof(Tuner) == 9 * sizeof(uintptr_t), "Tuner: nine words");
static_assert(offsetof(Tuner, unused) == 2 * sizeof(uintptr_t));
static_assert(offsetof(Tuner, driver) == 8 * sizeof(uintptr_t));
static_assert(sizeof(dvb_ts_tuner_metadata) == 11 * sizeof(uintptr_t), "descriptor: eleven words");
static_assert(offsetof(dvb_ts_tuner_metadata, create) == 4 * sizeof(uintptr_t));
static_assert(offsetof(dvb_ts_tuner_metadata, any_id) == 7 * sizeof(uintptr_t));
#endif

#endif
