/* SPDX-License-Identifier: MIT */
#ifndef DS3000_SCAN_SCAN_CONTROL_H
#define DS3000_SCAN_SCAN_CONTROL_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Ask a running blind scan to end. No register is touched.
 * value: its low byte is stored; nonzero cancels, 0 takes the request back.
 * Returns 0. Any thread. */
int32_t ds3000_set_scan_cancel(uint32_t value);

/* Set the function that a blind scan notifies. It is called from the scanning thread.
 * callback: gets the event's code and an argument that depends on it.
 * Returns 0, or -11 when callback is null; the previous one then stays. Before a scan only. */
int32_t ds3000_set_scan_callback(void (*callback)(uint32_t event, void *argument));

#ifdef __cplusplus
}
#endif

#endif
