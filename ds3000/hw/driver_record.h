/* SPDX-License-Identifier: MIT */
#ifndef DS3000_HW_DRIVER_RECORD_H
#define DS3000_HW_DRIVER_RECORD_H

#include <pthread.h>
#include <stdalign.h>
#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* One Tuner's state, shared by the host calls and the worker thread. "Mutex": under `mutex`.
 * "Parked": written by a tune while the worker thread is parked, read by that thread.
 * The 64-bit fields are 8-aligned on every target, so that the record of a 32-bit build is always
 * 96 bytes. All zero is the state before init; the mutex is valid in that state. */
struct ds3000_driver {
    uint8_t locked;                   /* 1: the last poll saw lock; worker only */
    alignas(8) uint64_t last_lock_ms; /* last lock, tune or re-connect; tune under mutex, worker */
    alignas(8) uint64_t last_unlock_ms;  /* when a poll last saw no lock; worker only */
    alignas(8) uint64_t drop_timeout_ms; /* loss-of-lock time-out, 4000 or 6000; parked */
    uint32_t retune_count;           /* automatic re-connects since the last tune; parked, worker */
    uint32_t tuned_freq_mhz;         /* IF at the tuner's input, MHz; parked */
    uint32_t tuned_symbol_rate_ksps; /* ksym/s; parked */
    uint32_t tuned_standard;         /* STANDARD_DVBS or STANDARD_DVBS2; parked */
    uint32_t voltage_18v;            /* 1: 18 V, 0: 13 V; host calls */
    uint8_t hiband;                  /* 1: 22 kHz tone on; host calls */
    uint8_t has_lnbh23;              /* nonzero: an LNBH23 answered at init; host calls */
    uint8_t lock_status;             /* 1: locked; mutex */
    uint8_t snr;                     /* last ds3000_get_snr value, dB; mutex */
    uint8_t strength;                /* last signal_strength value, percent; mutex */
    uint8_t idle;                    /* 1: the worker thread does not poll; mutex */
    uint8_t idle_request;            /* 1: a host call asks the worker to park; mutex */
    uint8_t thread_running;          /* 1: from thread creation to join; host calls */
    uint8_t stop_request;            /* 1: the worker thread must end; mutex */
    pthread_t thread;                /* the worker thread; host calls */
    pthread_mutex_t mutex;           /* default attributes */
    uint8_t switch_pos;              /* committed-switch port, 0 none; host calls */
};

#if UINTPTR_MAX == UINT32_MAX
#define DS3000_DRIVER_AT(field, offset)                              \
    static_assert(offsetof(struct ds3000_driver, field) == (offset), \
                  "32-bit record: " #field " has moved")
#ifndef __cplusplus
#include <assert.h>
#endif
static_assert(sizeof(struct ds3000_driver) == 96, "32-bit record: 96 bytes");
DS3000_DRIVER_AT(locked, 0);
DS3000_DRIVER_AT(last_lock_ms, 8);
DS3000_DRIVER_AT(last_unlock_ms, 16);
DS3000_DRIVER_AT(drop_timeout_ms, 24);
DS3000_DRIVER_AT(retune_count, 32);
DS3000_DRIVER_AT(tuned_freq_mhz, 36);
DS3000_DRIVER_AT(tuned_symbol_rate_ksps, 40);
DS3000_DRIVER_AT(tuned_standard, 44);
DS3000_DRIVER_AT(voltage_18v, 48);
DS3000_DRIVER_AT(hiband, 52);
DS3000_DRIVER_AT(has_lnbh23, 53);
DS3000_DRIVER_AT(lock_status, 54);
DS3000_DRIVER_AT(snr, 55);
DS3000_DRIVER_AT(strength, 56);
DS3000_DRIVER_AT(idle, 57);
DS3000_DRIVER_AT(idle_request, 58);
DS3000_DRIVER_AT(thread_running, 59);
DS3000_DRIVER_AT(stop_request, 60);
DS3000_DRIVER_AT(thread, 64);
DS3000_DRIVER_AT(mutex, 68);
DS3000_DRIVER_AT(switch_pos, 92);
#undef DS3000_DRIVER_AT
#endif

#ifdef __cplusplus
}
#endif

#endif
