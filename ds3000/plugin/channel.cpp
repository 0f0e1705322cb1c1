// SPDX-License-Identifier: MIT
#include "ds3000/plugin/channel.h"

#include <cstdint>

#include "ds3000/chip/ds3000_context.h"
#include "ds3000/hw/bits.h"

namespace ds3000 {

namespace {

struct oscillator {
    std::uint32_t lof_khz;
    std::uint8_t hiband;
};

std::uint32_t standard_of(std::uint32_t delivery_system) {
    switch (delivery_system) {
        case TUNE_SYSTEM_DVBS:
            return STANDARD_DVBS;
        case TUNE_SYSTEM_DVBS2:
            return STANDARD_DVBS2;
        default:
            return 0;
    }
}

std::uint32_t selects_18v(const tune_request &request) {
    const bool high = request.voltage_mode != TUNE_VOLTAGE_BY_POLARISATION
                          ? request.voltage_mode == TUNE_VOLTAGE_18V
                          : request.polarisation != TUNE_POLARISATION_13V;
    return high ? 1 : 0;
}

std::uint8_t tone_of(std::uint32_t tone_mode, std::uint8_t band) {
    if (tone_mode == TUNE_TONE_ON) {
        return 1;
    }
    return tone_mode == TUNE_TONE_OFF ? 0 : band;
}

// One oscillator; two chosen by polarisation; or two chosen by a switch frequency, the only kind
// for which the request's tone mode counts.
oscillator oscillator_of(const tune_request &request) {
    if (request.lof_high == 0) {
        return {request.lof_low, 0};
    }
    if (request.lof_switch == 0) {
        const bool low = request.polarisation == TUNE_POLARISATION_13V;
        return {low ? request.lof_low : request.lof_high, 0};
    }
    const bool low = request.frequency < request.lof_switch;
    return {low ? request.lof_low : request.lof_high, tone_of(request.tone_mode, low ? 0 : 1)};
}

}  // namespace

extern "C" {

int32_t ds3000_plan_channel(const struct tune_request *request, struct ds3000_channel *channel) {
    const oscillator path = oscillator_of(*request);
    // An oscillator may lie on either side of a transponder.
    const std::uint32_t if_khz = wrap_distance(request->frequency, path.lof_khz);
    *channel = {
        .lof_khz = path.lof_khz,
        .if_khz = if_khz,
        .freq_mhz = if_khz / 1000,
        .symbol_rate_ksps = request->symbol_rate / 1000,
        .standard = standard_of(request->delivery_system),
        .voltage_18v = selects_18v(*request),
        .hiband = path.hiband,
        .switch_pos = low_byte(request->switch_pos),
    };
    if (channel->standard == 0) {
        return CHANNEL_WRONG_SYSTEM;
    }
    const bool in_range = if_khz >= CHANNEL_IF_MIN_KHZ && if_khz <= CHANNEL_IF_MAX_KHZ;
    return in_range ? CHANNEL_ACCEPTED : CHANNEL_OUT_OF_RANGE;
}

}  // extern "C"

}  // namespace ds3000
