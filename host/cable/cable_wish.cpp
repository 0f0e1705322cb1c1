// SPDX-License-Identifier: MIT
#include "host/cable/cable_wish.h"

#include "host/cable/request.h"

namespace host {

namespace {

constexpr std::uint32_t vertical = 1;

// Two oscillators are chosen between by the tone, or run at once, each for a polarisation.
bool takes_high_oscillator(const tune_request &request) {
    if (request.lof_high == 0) {
        return false;
    }
    return request.lof_switch == 0 ? request.polarisation != vertical
                                   : request.frequency >= request.lof_switch;
}

unsigned volts_wished(const tune_request &request) {
    const bool high = request.voltage_mode == 0 ? request.polarisation != vertical
                                                : request.voltage_mode == voltage_mode_18v;
    return high ? 18 : 13;
}

}  // namespace

CableWish wish_of(const tune_request &request) {
    const bool high = takes_high_oscillator(request);
    const std::uint32_t lof_khz = high ? request.lof_high : request.lof_low;
    return {.volts = volts_wished(request),
            .tone = high && request.lof_switch != 0,
            .switch_port = request.switch_pos,
            .if_khz = request.frequency > lof_khz ? request.frequency - lof_khz
                                                  : lof_khz - request.frequency};
}

}  // namespace host
