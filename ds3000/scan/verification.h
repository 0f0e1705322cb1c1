/* SPDX-License-Identifier: MIT */
#ifndef DS3000_SCAN_VERIFICATION_H
#define DS3000_SCAN_VERIFICATION_H

#include <stdint.h>

#include "ds3000/scan/scan_request.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Decide the pending candidates of records first..end-1: connect each, as DVB-S and then as
 * DVB-S2, and mark it as locked, with what was measured, or as rejected. A candidate that turns out
 * to be a transponder already found is rejected without an event. A candidate whose tuning failed
 * stays pending. Polls ds3000_context.scan_cancel before every candidate, attempt and 50 ms poll.
 * Returns 0, or -11 when the tuner is not bound.
 * The scanning thread only. */
int32_t ds3000_verify_candidates(struct blind_scan_request *request, uint16_t first, uint16_t end);

#ifdef __cplusplus
}
#endif

#endif
