/* SPDX-License-Identifier: MIT */
#ifndef DS3000_EXAMPLES_SIMULATED_BOARD_H
#define DS3000_EXAMPLES_SIMULATED_BOARD_H

#ifdef __cplusplus
extern "C" {
#endif

/* Put a simulated receiver behind this process's hdi_* functions, its dish on a satellite with a
 * handful of vertical transponders, and time on the virtual clock: waiting costs nothing. Call it
 * first and once. */
void power_simulated_receiver(void);

#ifdef __cplusplus
}
#endif

#endif
