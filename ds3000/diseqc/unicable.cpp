// SPDX-License-Identifier: MIT
#include "ds3000/diseqc/unicable.h"

#include <cstdint>

#include "ds3000/chip/ds3000_context.h"
#include "ds3000/chip/tuner_bound.h"
#include "ds3000/diseqc/diseqc.h"
#include "ds3000/hw/bits.h"

namespace ds3000 {

namespace {

constexpr std::int32_t step_mhz = 4;      // the unit's converter moves in steps of 4 MHz
constexpr std::int32_t first_word = 350;  // the step that tuning word 0 stands for

}  // namespace

extern "C" {

int32_t unicable_channel_change(int32_t freq_khz, uint32_t tuner_arg, int32_t *out_freq_khz,
                                uint8_t ub_index, uint16_t bank, uint16_t ub_freq_mhz) {
    if (!tuner_can_be_set()) {
        return DS3000_UNBOUND;
    }
    const std::int32_t step = (ub_freq_mhz + freq_khz / 1000) / step_mhz;
    const auto word = static_cast<std::uint32_t>(step - first_word);
    const std::uint32_t address = ((bank * 4U) & 0x1CU) +
                                  (static_cast<std::uint32_t>(ub_index) << 5U) +
                                  ((word >> 8U) & 0x03U);
    diseqc_message message{.msg = {0xE0, 0x00, 0x5A, low_byte(address), low_byte(word)},
                           .msg_len = 5,
                           .expect_reply = 0,
                           .option = 0,
                           .reply = {},
                           .reply_len = 0};
    diseqc_send(&message);
    *out_freq_khz = wrap_multiply(step * step_mhz - ub_freq_mhz, 1000);
    ds3000_context.tuner_ops.tuner_set_frequency(ub_freq_mhz * 1000U, tuner_arg, 0);
    return DS3000_OK;
}

int32_t unicable_tune(int32_t freq_khz, uint32_t tuner_arg, int32_t *out_freq_khz) {
    return unicable_channel_change(freq_khz, tuner_arg, out_freq_khz,
                                   ds3000_context.unicable_ub_index, ds3000_context.unicable_bank,
                                   ds3000_context.unicable_ub_freq_mhz);
}

}  // extern "C"

}  // namespace ds3000
