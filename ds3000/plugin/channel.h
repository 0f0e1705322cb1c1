/* SPDX-License-Identifier: MIT */
#ifndef DS3000_PLUGIN_CHANNEL_H
#define DS3000_PLUGIN_CHANNEL_H

#include <stdint.h>

#include "ds3000/plugin/plugin.h"

#ifdef __cplusplus
extern "C" {
#endif

/* What Tuner::tune makes of a request, without doing it: arithmetic alone, no state and no access
 * to the hardware. Any thread. */

/* The intermediate frequencies that a tune accepts, kHz, both ends included. */
enum { CHANNEL_IF_MIN_KHZ = 950000, CHANNEL_IF_MAX_KHZ = 2150000 };

/* Why a tune refuses a request. */
enum ds3000_channel_refusal {
    CHANNEL_ACCEPTED = 0,
    CHANNEL_WRONG_SYSTEM = 1, /* delivery_system is neither DVB-S nor DVB-S2 */
    CHANNEL_OUT_OF_RANGE = 2  /* if_khz is outside CHANNEL_IF_MIN_KHZ..CHANNEL_IF_MAX_KHZ */
};

/* A transponder's place on the cable and what the receiver sets up for it. */
struct ds3000_channel {
    uint32_t lof_khz;          /* the oscillator that serves the request; above its frequency the
                                  spectrum arrives inverted */
    uint32_t if_khz;           /* |frequency - lof_khz| of the difference in signed 32 bits */
    uint32_t freq_mhz;         /* what the tuner is set to: if_khz in whole MHz, truncated */
    uint32_t symbol_rate_ksps; /* ksym/s, truncated */
    uint32_t standard;         /* STANDARD_DVBS or STANDARD_DVBS2; 0 for another system */
    uint32_t voltage_18v;      /* 1: 18 V, 0: 13 V */
    uint8_t hiband;            /* 1: 22 kHz tone on */
    uint8_t switch_pos;        /* committed-switch port, 0 none; diseqc_committed_switch has the
                                  message that selects it */
};

/* Work out a request's channel.
 * The oscillator is lof_low for an LNB that has no other; by polarisation (1: lof_low, else
 * lof_high) without lof_switch; by frequency (below lof_switch: lof_low, else lof_high) with it.
 * The tone follows that last choice, unless tone_mode says otherwise, and is off for other LNBs.
 * The voltage follows voltage_mode or, when that is 0, the polarisation.
 * channel: written whole, also for a refused request.
 * Returns enum ds3000_channel_refusal; a wrong delivery system comes before the range. */
int32_t ds3000_plan_channel(const struct tune_request *request, struct ds3000_channel *channel);

#ifdef __cplusplus
}
#endif

#endif
