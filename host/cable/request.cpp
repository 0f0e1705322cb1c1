// SPDX-License-Identifier: MIT
#include "host/cable/request.h"

#include <cstdint>

namespace host {

namespace {

// The request's word: any value but the one for 13 V selects 18 V.
constexpr std::uint32_t polarisation_13v = 1;
constexpr std::uint32_t polarisation_18v = 2;

}  // namespace

tune_request request_for(const broadcast::Transponder &transponder, const broadcast::Lnb &lnb,
                         unsigned port) {
    tune_request request{};
    request.frequency = transponder.frequency_khz;
    request.symbol_rate = transponder.symbol_rate;
    request.polarisation =
        is_selected_by_18v(transponder.polarisation) ? polarisation_18v : polarisation_13v;
    request.delivery_system =
        transponder.system == broadcast::System::dvbs2 ? system_dvbs2 : system_dvbs;
    request.switch_pos = port;
    request.lof_low = lnb.low_khz;
    request.lof_high = lnb.high_khz;
    request.lof_switch = lnb.switch_khz;
    return request;
}

void fix_voltage(tune_request &request, unsigned volts) {
    request.voltage_mode = volts == 18 ? voltage_mode_18v : voltage_mode_13v;
}

void fix_tone(tune_request &request, bool on) {
    request.tone_mode = on ? tone_mode_on : tone_mode_off;
}

}  // namespace host
