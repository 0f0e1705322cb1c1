// SPDX-License-Identifier: MIT
#include <algorithm>
#include <cstdint>

#include "ds3000/chip/ds3000_context.h"
#include "ds3000/chip/ds3000_regs.h"
#include "ds3000/chip/ts2022_regs.h"
#include "ds3000/hw/bits.h"
#include "ds3000/hw/register_byte.h"
#include "ds3000/tuner/ts2022.h"

namespace ds3000 {

namespace {

// The tuner's own gain settings: RF steps, baseband steps.
struct gain_steps {
    std::int32_t rf;
    std::int32_t baseband;
};

std::int32_t type_1_gain(const gain_steps &steps, std::int32_t agc) {
    std::int32_t agc_part = agc * 24 / 10;
    if (agc < 400) {
        agc_part = 960;
    } else if (agc >= 1101) {
        agc_part = 2640;
    }
    return 233 * steps.rf + 350 * std::min(steps.baseband, 13) + 1000 + agc_part;
}

std::int32_t type_2_gain(const gain_steps &steps, std::int32_t agc, std::int32_t rf_part) {
    const std::int32_t baseband = 338 * std::clamp(steps.baseband, 2, 16);
    const std::int32_t rf = 285 * std::min(rf_part, 6);
    const std::int32_t agc_part = agc >= 1601 ? 2816 : 176 * std::max(agc, 600) / 100;
    return 265 * steps.rf - 3000 + baseband + rf + agc_part;
}

// The demodulator's AGC level as the gain formulas take it; 0 for an unidentified tuner.
std::uint16_t read_agc() {
    const std::uint8_t level = demod_byte().read(reg::agc_level);
    std::int32_t agc = 0;
    if (ds3000_context.tuner_type == 1) {
        agc = 20 * level - 1166;
    } else if (ds3000_context.tuner_type == 2) {
        agc = 16 * level - 670;
    }
    return static_cast<std::uint16_t>(std::max(agc, 0));
}

}  // namespace

extern "C" {

int32_t ts2022_gain(uint16_t agc) {
    tuner_byte byte;
    gain_steps steps{};
    steps.rf = std::min(byte.read(ts2022::reg::rf_gain) & 0x1F, 15);
    steps.baseband = byte.read(ts2022::reg::agc_state) & 0x1F;
    if (ds3000_context.tuner_type == 1) {
        return type_1_gain(steps, agc);
    }
    if (ds3000_context.tuner_type == 2) {
        return type_2_gain(steps, agc, field_get(byte.read(ts2022::reg::band_state), 5, 3));
    }
    return 0;
}

int32_t ts2022_get_gain(uint32_t *gain) {
    *gain = static_cast<std::uint32_t>(ts2022_gain(read_agc()));
    return DS3000_OK;
}

}  // extern "C"

}  // namespace ds3000
