// SPDX-License-Identifier: MIT
#pragma once

#include <cstring>

#include "ds3000/plugin/plugin.h"

namespace tests {

// DVB-S, 27500 ksym/s, 13 V, at the band switch of a universal LNB: an IF of 1100 MHz in the high
// band. Every word that the plug-in has no business with is set to nonsense.
inline tune_request universal_lnb_request() {
    tune_request request;
    std::memset(&request, 0xA5, sizeof request);
    request.frequency = 11'700'000;
    request.symbol_rate = 27'500'000;
    request.polarisation = 1;
    request.delivery_system = 5;
    request.switch_pos = 0;
    request.voltage_mode = 0;
    request.tone_mode = 0;
    request.lof_low = 9'750'000;
    request.lof_high = 10'600'000;
    request.lof_switch = 11'700'000;
    return request;
}

}  // namespace tests
