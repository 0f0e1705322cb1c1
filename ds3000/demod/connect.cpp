// SPDX-License-Identifier: MIT
#include "ds3000/demod/connect.h"

#include <cstdint>

#include "ds3000/chip/ds3000_context.h"
#include "ds3000/chip/tuner_bound.h"
#include "ds3000/demod/board_options.h"
#include "ds3000/demod/carrier.h"
#include "ds3000/demod/low_rate.h"
#include "ds3000/demod/mcu.h"
#include "ds3000/diseqc/unicable.h"
#include "ds3000/hw/bits.h"
#include "ds3000/hw/register_byte.h"

namespace ds3000 {

namespace {

void arm_acquisition(std::int32_t symbol_rate_ksps, std::uint32_t standard_code) {
    ds3000_context.requested_standard = standard_code;
    ds3000_context.locked_once = 0;
    ds3000_context.symbol_rate_ksps = symbol_rate_ksps;
    ds3000_context.s2_recovery_done = 0;
    ds3000_context.first_poll = 1;
    update_spectrum_inversion();
    ds3000_context.ts_clock_pending = 1;
}

// Tune the front end. Returns how far above the request it came to stand: on purpose, or by the
// Unicable unit's steps.
std::int32_t tune(std::int32_t frequency_khz, std::int32_t symbol_rate_ksps) {
    const auto tuner_rate_ksps = static_cast<std::uint32_t>(symbol_rate_ksps);
    if (ds3000_context.unicable_enabled == 1) {
        std::int32_t reached_khz = frequency_khz;
        unicable_tune(frequency_khz, tuner_rate_ksps, &reached_khz);
        return wrap_subtract(reached_khz, frequency_khz);
    }
    const std::int32_t shift_khz = low_rate_shift_khz(symbol_rate_ksps);
    ds3000_context.tuner_ops.tuner_set_frequency(
        static_cast<std::uint32_t>(wrap_add(frequency_khz, shift_khz)), tuner_rate_ksps,
        static_cast<std::uint16_t>(shift_khz));
    return shift_khz;
}

}  // namespace

extern "C" {

int32_t ds3000_connect(uint32_t frequency_mhz, int32_t symbol_rate_ksps, uint32_t standard_code) {
    if (!tuner_is_bound()) {
        return DS3000_UNBOUND;
    }
    arm_acquisition(symbol_rate_ksps, standard_code);
    if (!is_known_chip()) {
        return DS3000_UNKNOWN_CHIP;
    }
    demod_byte byte;
    release_held_mcu(byte);
    ds3000_context.standard =
        standard_code == STANDARD_AUTO ? std::uint32_t{STANDARD_DVBS} : standard_code;
    const std::int32_t beside_khz =
        tune(static_cast<std::int32_t>(frequency_mhz * 1000U), symbol_rate_ksps);
    hold_mcu();
    ds3000_program_standard(symbol_rate_ksps, ds3000_context.standard);
    ds3000_expect_carrier(beside_khz);
    release_mcu();
    return DS3000_OK;
}

}  // extern "C"

}  // namespace ds3000
