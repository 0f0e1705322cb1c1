/* SPDX-License-Identifier: MIT */
#ifndef DS3000_DEMOD_TS_OUTPUT_H
#define DS3000_DEMOD_TS_OUTPUT_H

/* The transport-stream output port: its mode, its clock, and the master clock behind it. */

#include "ds3000/demod/master_clock.h"
#include "ds3000/demod/ts_clock.h"
#include "ds3000/demod/ts_divider.h"
#include "ds3000/demod/ts_mode.h"

#endif
