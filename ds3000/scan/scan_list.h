/* SPDX-License-Identifier: MIT */
#ifndef DS3000_SCAN_SCAN_LIST_H
#define DS3000_SCAN_SCAN_LIST_H

#include <stdint.h>

#include "ds3000/scan/scan_request.h"

#ifdef __cplusplus
extern "C" {
#endif

/* The candidate list of a blind scan. No register is touched; the scanning thread only. No record
 * past number `capacity` (the spare one) is read or written, whatever ds3000_context.scan_count
 * says. */

/* Take a candidate into the list as pending. The caller has counted it in
 * ds3000_context.scan_count before the call; the count is not taken back when the candidate is
 * refused or merged. The first pass, or a scan of one pass, appends; later passes, and every pass
 * of a DS300X with inverted spectrum, insert in ascending frequency and, with Unicable, merge a
 * candidate within 999 kHz and 999 ksym/s of an entry into it.
 * Returns 0; -10 when the count exceeds the capacity; -3 when the count is 0. */
int32_t scan_list_insert(struct blind_scan_request *request, int32_t frequency_khz,
                         uint32_t symbol_rate_ksps, uint8_t pass);

/* Move the rejected records among the first ones (up to the first entry at or above limit_khz, or
 * all, and the record after them) behind the others, whose order stays. Indices are 8 bits wide.
 * Returns 0. */
int32_t scan_list_compact(struct blind_scan_request *request, int32_t limit_khz);

#ifdef __cplusplus
}
#endif

#endif
