/* SPDX-License-Identifier: MIT */
#ifndef DS3000_CHIP_TUNER_OPS_H
#define DS3000_CHIP_TUNER_OPS_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* What the demodulator asks of a tuner, so that another tuner driver can take this one's place.
 * All slots are null until the demodulator's initialisation binds them. A caller that needs a slot
 * and finds it null returns DS3000_UNBOUND; power-down and wake-up skip a null slot.
 * Every slot is called from the thread that owns the hardware. */
struct tuner_ops {
    /* Power the tuner up. Returns 0. */
    int32_t (*tuner_wake)(void);

    /* Tune to frequency_khz at the tuner's input (950000..2150000 kHz) with a baseband filter for
     * symbol_rate_ksps, widened by margin_khz. Returns 0; any other value means "not tuned". */
    int32_t (*tuner_set_frequency)(uint32_t frequency_khz, uint32_t symbol_rate_ksps,
                                   uint16_t margin_khz);

    /* Power the tuner down. Returns 0. */
    int32_t (*tuner_sleep)(void);

    /* Return the synthesised less the requested frequency of the last tuning, in kHz. */
    int32_t (*tuner_get_offset)(void);

    /* Write the gain figure, larger for a weaker signal, to *gain. Returns 0. */
    int32_t (*tuner_get_gain)(uint32_t *gain);
};

#ifdef __cplusplus
}
#endif

#endif
