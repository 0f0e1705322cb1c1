/* SPDX-License-Identifier: MIT */
#ifndef DS3000_CHIP_DS3000_CONTEXT_H
#define DS3000_CHIP_DS3000_CONTEXT_H

#include <stdint.h>

#include "ds3000/chip/tuner_ops.h"

/* In C++ each member carries its load value; C has no member initialisers. */
#ifdef __cplusplus
#define DS3000_LOAD_VALUE(value) = value
extern "C" {
#else
#define DS3000_LOAD_VALUE(value)
#endif

/* Status of every chip-layer operation. The plug-in's own operations return 1 or 0 instead. */
enum ds3000_status {
    DS3000_OK = 0,
    DS3000_BAD_ARGUMENT = -3,    /* bad argument, or a state that cannot be read */
    DS3000_NOT_AVAILABLE = -4,   /* the chip variant has no such function */
    DS3000_UNKNOWN_CHIP = -6,    /* chip_type is not a known variant */
    DS3000_I2C_FAILED = -8,      /* an I2C transfer failed */
    DS3000_LIST_FULL = -10,      /* the candidate list is full */
    DS3000_UNBOUND = -11,        /* a tuner_ops slot is not bound, or a null callback */
    DS3000_DISEQC_TIMEOUT = -12, /* the DiSEqC transfer or its reply did not finish in time */
    DS3000_DISEQC_REPLY = -13,   /* the DiSEqC reply came with errors */
    DS3000_BAD_ALGORITHM = -13   /* the scan algorithm code is unknown */
};

/* Values of ds3000_context.chip_type. */
enum ds3000_chip_type { CHIP_DS300X = 1, CHIP_DS3002B = 2, CHIP_DS3103 = 3, CHIP_UNKNOWN = 4 };

/* Delivery-system codes. The automatic code is a request only, never the standard in force. */
enum ds3000_standard { STANDARD_DVBS = 4, STANDARD_DVBS2 = 5, STANDARD_AUTO = 6 };

/* What ds3000_poll_lock reports. */
enum ds3000_lock_state { LOCK_FAILED = 1, LOCK_LOCKED = 2, LOCK_SEARCHING = 4 };

/* Code-rate codes of struct ds3000_signal_info. */
enum ds3000_code_rate {
    CODE_RATE_UNKNOWN = 0,
    CODE_RATE_1_4 = 1,
    CODE_RATE_1_3 = 2,
    CODE_RATE_2_5 = 3,
    CODE_RATE_1_2 = 4,
    CODE_RATE_3_5 = 5,
    CODE_RATE_2_3 = 6,
    CODE_RATE_3_4 = 7,
    CODE_RATE_4_5 = 8,
    CODE_RATE_5_6 = 9,
    CODE_RATE_7_8 = 10,
    CODE_RATE_8_9 = 11,
    CODE_RATE_9_10 = 12
};

/* Modulation codes of struct ds3000_signal_info. */
enum ds3000_modulation {
    MODULATION_UNKNOWN = 0,
    MODULATION_QPSK = 8,
    MODULATION_8PSK = 9,
    MODULATION_16APSK = 10,
    MODULATION_32APSK = 11
};

/* The scan callback in force until ds3000_set_scan_callback stores another: does nothing. */
void ds3000_ignore_scan_event(uint32_t event, void *argument);

/* All state of the chip layer, one per process and without locks: it belongs to whichever thread
 * owns the hardware (the worker thread, or a host call while that thread is parked). Assigning
 * `(struct ds3000_context){}` in C++ restores the load state. */
struct ds3000_context {
    /* The bus. */
    void *i2c_bus DS3000_LOAD_VALUE(nullptr); /* host's handle or null; life cycle → all access */

    /* Power state; plug-in life cycle only. */
    uint8_t cold_start DS3000_LOAD_VALUE(1); /* 1 until the first full initialisation succeeded */
    uint8_t asleep DS3000_LOAD_VALUE(0);     /* 1 between finalize and the next init */

    /* Identity. */
    int32_t chip_type DS3000_LOAD_VALUE(0);  /* enum ds3000_chip_type, 0 before; init → all */
    uint8_t tuner_type DS3000_LOAD_VALUE(2); /* 0 unidentified, 1, 2; tuner start-up → tuner */

    /* Board configuration; nothing in the library writes these. */
    uint8_t board_iq_swap DS3000_LOAD_VALUE(0);     /* 1: the wiring swaps I and Q */
    uint8_t unicable_enabled DS3000_LOAD_VALUE(0);  /* 1: an EN 50494 unit is on the cable */
    uint8_t reg30_bit4_enable DS3000_LOAD_VALUE(0); /* 1: set bit 4 of demodulator register 0x30 */
    uint8_t unicable_ub_index DS3000_LOAD_VALUE(0); /* user band 0..7; integrator → connect, scan */
    uint16_t unicable_bank DS3000_LOAD_VALUE(1); /* EN 50494 bank; integrator → connect, scan */
    uint16_t unicable_ub_freq_mhz DS3000_LOAD_VALUE(1210); /* user-band centre, MHz */

    /* Channel: written by connect and cleared by init; the lock poll may change the standard, and
     * who programs a carrier offset stores it. */
    uint32_t standard DS3000_LOAD_VALUE(STANDARD_DVBS);           /* in force */
    uint32_t requested_standard DS3000_LOAD_VALUE(STANDARD_DVBS); /* may be STANDARD_AUTO */
    int32_t symbol_rate_ksps DS3000_LOAD_VALUE(0);                /* last connect's */
    int32_t carrier_offset_khz DS3000_LOAD_VALUE(0);              /* last one programmed */
    uint8_t spectrum_inverted DS3000_LOAD_VALUE(0); /* board_iq_swap XOR unicable_enabled */

    /* Acquisition: armed by connect, consumed by the lock poll. */
    uint32_t locked_once DS3000_LOAD_VALUE(0);     /* 1 after the first lock of this connect */
    uint8_t first_poll DS3000_LOAD_VALUE(0);       /* 1 until the first-poll check passed */
    uint8_t ts_clock_pending DS3000_LOAD_VALUE(0); /* 1: adapt the TS clock at the next lock */
    uint8_t s2_recovery_done DS3000_LOAD_VALUE(0); /* 1: the one DVB-S2 recovery reset is spent */

    /* TS output. */
    uint32_t master_clock_khz DS3000_LOAD_VALUE(96000); /* last clock the adaptation chose */

    /* Signal quality. */
    uint8_t snr_db DS3000_LOAD_VALUE(0);                /* last SNR, dB in two's complement */
    uint32_t ber_errors DS3000_LOAD_VALUE(0);           /* last error count */
    uint32_t ber_denominator DS3000_LOAD_VALUE(0xFFFF); /* what ber_errors is counted over */

    /* Tuner. */
    struct tuner_ops tuner_ops DS3000_LOAD_VALUE({});    /* bound by the initialisation */
    int32_t tuner_frequency_offset DS3000_LOAD_VALUE(0); /* synthesised less requested LO, kHz */

    /* Signal strength: written and read by signal_strength only. */
    uint8_t strength_ring[16] DS3000_LOAD_VALUE({}); /* the last sixteen readings, percent */
    uint8_t strength_index DS3000_LOAD_VALUE(0);     /* where the next reading goes, 0..15 */

    /* User-band detection. */
    uint16_t ub_count DS3000_LOAD_VALUE(0); /* valid bands of the last search */

    /* Blind scan: notification and cancel. */
    void (*scan_callback)(uint32_t event, void *argument)
        DS3000_LOAD_VALUE(ds3000_ignore_scan_event); /* never null */
    uint8_t scan_cancel DS3000_LOAD_VALUE(0);        /* nonzero: cancel; any thread → scan */

    /* Blind scan: candidates; the scanning thread only. */
    uint32_t scan_passes DS3000_LOAD_VALUE(0);         /* passes of the running scan */
    uint16_t scan_count DS3000_LOAD_VALUE(0);          /* candidates, refused ones included */
    uint16_t scan_locked_count DS3000_LOAD_VALUE(0);   /* candidates verified as locked */
    uint16_t scan_cursor DS3000_LOAD_VALUE(0);         /* entry that the next peak meets first */
    uint8_t scan_cursor_at_end DS3000_LOAD_VALUE(0);   /* 1: this step's peaks ran past the list */
    uint32_t scan_last_match_khz DS3000_LOAD_VALUE(0); /* frequency of the entry met last */

    /* Blind scan: spectrum search; the scanning thread only. */
    uint32_t scan_center_khz DS3000_LOAD_VALUE(0);     /* tuner frequency of this step, kHz */
    uint32_t scan_ref_captured DS3000_LOAD_VALUE(0);   /* 1: this step has its reference peak */
    uint32_t scan_ref_from_lock DS3000_LOAD_VALUE(0);  /* 1: a verified lock set the reference */
    uint32_t scan_ref_freq_khz DS3000_LOAD_VALUE(0);   /* reference peak's centre, kHz */
    uint32_t scan_ref_width_ksps DS3000_LOAD_VALUE(0); /* reference peak's width, ksym/s */
    uint32_t scan_window_bins DS3000_LOAD_VALUE(0);    /* analysis window, bins of 187.5 kHz */
    uint32_t scan_span_khz DS3000_LOAD_VALUE(60000);   /* span analysed around the tuner, kHz */
};

extern struct ds3000_context ds3000_context;

#ifdef __cplusplus
}
#endif

#endif
