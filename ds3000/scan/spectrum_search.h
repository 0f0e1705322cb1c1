/* SPDX-License-Identifier: MIT */
#ifndef DS3000_SCAN_SPECTRUM_SEARCH_H
#define DS3000_SCAN_SPECTRUM_SEARCH_H

#include <stdint.h>

#include "ds3000/scan/scan_request.h"

#ifdef __cplusplus
extern "C" {
#endif

/* The spectrum engine: one step of a blind scan. The scanning thread only. */

/* Program the spectrum engine for a pass: ds3000_context.scan_passes and pass choose its
 * resolution. Returns 0, or -6 for an unknown chip, whose micro-controller is then left held. */
int32_t ds3000_blind_scan_setup(uint8_t pass);

/* Run one peak search around center_khz and take its peaks into the list. Waits up to 1 s for the
 * engine, once more after moving the carrier offset, and then reads what there is. Returns 0. */
int32_t ds3000_blind_scan_read_peaks(struct blind_scan_request *request, uint32_t center_khz,
                                     uint8_t pass);

#ifdef __cplusplus
}
#endif

#endif
