// SPDX-License-Identifier: MIT
#include "host/cable/cable_wish.h"

#include <algorithm>
#include <iterator>

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

// Only an LNB whose bands a frequency parts is told its band by the tone.
bool tone_wished(const tune_request &request) {
    if (request.lof_high == 0 || request.lof_switch == 0) {
        return false;
    }
    switch (request.tone_mode) {
        case tone_mode_on:
            return true;
        case tone_mode_off:
            return false;
        default:
            return takes_high_oscillator(request);
    }
}

unsigned volts_wished(const tune_request &request) {
    const bool high = request.voltage_mode == 0 ? request.polarisation != vertical
                                                : request.voltage_mode == voltage_mode_18v;
    return high ? 18 : 13;
}

}  // namespace

CableWish wish_of(const tune_request &request) {
    constexpr std::uint32_t port_bits = 0xFF;
    const std::uint32_t lof_khz =
        takes_high_oscillator(request) ? request.lof_high : request.lof_low;
    return {.volts = volts_wished(request),
            .tone = tone_wished(request),
            .switch_port = request.switch_pos & port_bits,
            .if_khz = request.frequency > lof_khz ? request.frequency - lof_khz
                                                  : lof_khz - request.frequency};
}

tune_request in_other_words(const tune_request &request) {
    constexpr std::uint32_t other_18v_polarisation = 3;
    constexpr std::uint32_t other_13v_mode = 3;
    const CableWish wish = wish_of(request);
    tune_request other = request;
    const auto scribble = [](auto &words) {
        std::fill(std::begin(words), std::end(words), 0xA5A5A5A5);
    };
    scribble(other.reserved_0);
    scribble(other.reserved_3);
    scribble(other.reserved_15);
    scribble(other.reserved_19);
    if (request.polarisation != vertical) {
        other.polarisation = other_18v_polarisation;
    }
    other.switch_pos |= 0x100U;
    other.voltage_mode = wish.volts == 18 ? voltage_mode_18v : other_13v_mode;
    fix_tone(other, wish.tone || request.lof_high == 0 || request.lof_switch == 0);
    if (request.lof_high == 0) {
        other.lof_switch = request.lof_low;
    }
    return other;
}

}  // namespace host
