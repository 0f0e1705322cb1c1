/* SPDX-License-Identifier: MIT */
#ifndef DS3000_SCAN_SCAN_REQUEST_H
#define DS3000_SCAN_SCAN_REQUEST_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* What a blind scan is asked for, what it finds and what it tells on the way. */

/* Values of scan_candidate.status besides STANDARD_DVBS (4) and STANDARD_DVBS2 (5), which mean
 * "locked" in that standard. */
enum scan_candidate_status { CANDIDATE_PENDING = 6, CANDIDATE_REJECTED = 7 };

/* One transponder candidate, 16 bytes. */
struct scan_candidate {
    uint32_t frequency_khz; /* IF, kHz, compared as signed: the peak's, then the locked one's */
    uint16_t symbol_rate;   /* ksym/s: estimated from the spectrum, then as measured */
    uint16_t reserved;      /* not written by the scan */
    uint32_t status;        /* 4, 5, CANDIDATE_PENDING or CANDIDATE_REJECTED */
    uint32_t code_rate;     /* 0, then enum ds3000_code_rate of the lock */
};

/* Values of blind_scan_request.algorithm. */
enum scan_algorithm {
    SCAN_ALGO_STEPWISE = 1, /* verify the candidates of every tuner step */
    SCAN_ALGO_SWEEP = 2     /* sweep the band, verify at the end of each pass */
};

/* What a scan is asked for and what it found. */
struct blind_scan_request {
    uint8_t passes;        /* passes over the band; 0 runs none. The first of several looks for
                               wide carriers only */
    uint8_t algorithm;     /* enum scan_algorithm */
    uint16_t locked_count; /* out: transponders locked so far */
    uint16_t capacity;     /* candidates the list takes, 1..65535 */
    struct scan_candidate *candidates; /* capacity + 1 records, the spare one included, all
                                          initialised (zero is best): records past the last
                                          candidate are scratch that the scan also looks at */
};

/* What the callback is told; the argument is valid during the call only. */
enum scan_event {
    SCAN_EVENT_PEAK = 0,     /* uint32_t[2]: a plausible peak's IF in kHz and rate in ksym/s */
    SCAN_EVENT_LOCKED = 1,   /* struct scan_candidate *: just verified */
    SCAN_EVENT_FAILED = 2,   /* struct scan_candidate *: about to be rejected */
    SCAN_EVENT_STARTED = 3,  /* null */
    SCAN_EVENT_FINISHED = 4, /* null; always the last event of a scan that sent STARTED */
    SCAN_EVENT_PROGRESS = 5  /* uint32_t *: the next step's frequency in kHz */
};

#ifdef __cplusplus
}

static_assert(sizeof(scan_candidate) == 16, "candidate: 16 bytes");
static_assert(offsetof(scan_candidate, symbol_rate) == 4);
static_assert(offsetof(scan_candidate, status) == 8);
static_assert(offsetof(scan_candidate, code_rate) == 12);
#endif

#endif
