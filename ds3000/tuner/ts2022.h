/* SPDX-License-Identifier: MIT */
#ifndef DS3000_TUNER_TS2022_H
#define DS3000_TUNER_TS2022_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The TS2022-class tuner. Its registers are reached through the demodulator's repeater; the result
 * of an access is ignored, and a failed read leaves the byte that the operation read last (0 before
 * the first). All for the worker thread, or for a host call while that thread is parked. */

/* Power the tuner up, identify it into ds3000_context.tuner_type and write its start-up registers.
 * Reads register 0x00; when bits 1..0 are clear, 0x00 = 0x01 and 2000 us. Then 0x00 = 0x03 and
 * 2000 us, and reads 0x00 as the identity: 0x01, 0x41, 0x81 type 1; 0xC3, 0x83 type 2; anything
 * else type 0, which gets no start-up writes. Returns 0. */
int32_t ts2022_init(void);

/* Wake the tuner: reads register 0x00; when bit 0 is clear, 0x00 = 0x01 and 50000 us; then
 * 0x00 = 0x03 and 50000 us. Does not identify it again. Returns 0. */
int32_t ts2022_wake(void);

/* Put the tuner to sleep: register 0x00 = 0x00 and 50000 us, whatever state it is in. Returns 0. */
int32_t ts2022_sleep(void);

/* Tune: band and divider, VCO calibration and band check, LO calibration, RF gain trim (type 1),
 * baseband filter with its calibrations, AGC start, a last RF gain step (type 1 whose trim found no
 * room), 40000 us. A calibration that fails is repeated once; a second failure is accepted.
 * Waits: type 1 79 to 153 ms, type 2 78 to 126 ms.
 * Stores the synthesised less the requested frequency for tuner_get_offset. An unidentified tuner
 * is not accessed; the offset is then the rounding to whole MHz.
 * frequency_khz: IF at the tuner's input, 950000..2150000 kHz; rounded to whole MHz.
 * symbol_rate_ksps: sets the filter, 135/200 of it + 2000 kHz, limited to 7000..40000 kHz.
 * margin_khz: added to the filter's bandwidth before the limits.
 * Returns 0. */
int32_t ts2022_set_frequency(uint32_t frequency_khz, uint32_t symbol_rate_ksps,
                             uint16_t margin_khz);

/* Return the offset that ts2022_set_frequency stored last, kHz, 0 before the first tuning. */
int32_t tuner_get_offset(void);

/* Return the gain figure of an AGC figure; it grows as the signal gets weaker. Reads tuner
 * registers 0x3D, 0x21 and, on type 2, 0x66. A tuner of type 0 gives 0.
 * agc: 0..65535, as ts2022_get_gain derives it. */
int32_t ts2022_gain(uint16_t agc);

/* Write the gain figure of the AGC level in demodulator register 0x3F to *gain. Reads that
 * register, then as ts2022_gain. Returns 0. */
int32_t ts2022_get_gain(uint32_t *gain);

#ifdef __cplusplus
}
#endif

#endif
