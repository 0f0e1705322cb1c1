// SPDX-License-Identifier: MIT
#include "host/cable/plan.h"

#include <fmt/format.h>

#include "host/cable/committed_switch.h"
#include "host/cable/frequency.h"

namespace host {

namespace {

bool takes_high_oscillator(const tune_request &request) {
    if (request.lof_high == 0) {
        return false;
    }
    return request.lof_switch == 0 ? request.polarisation != request_13v
                                   : request.frequency >= request.lof_switch;
}

bool tone_on(const tune_request &request, bool high_oscillator) {
    if (request.lof_high == 0 || request.lof_switch == 0) {
        return false;
    }
    switch (request.tone_mode) {
        case 1:
            return true;
        case 2:
            return false;
        default:
            return high_oscillator;
    }
}

std::string out_of_range(const tune_request &request, const TunePlan &plan) {
    return fmt::format(
        "{} with an oscillator of {} gives an intermediate frequency of {}; the plug-in takes {} "
        "to "
        "{}. Choose an LNB for this band with --lnb NAME or --lnb LOW[,HIGH[,SWITCH]]",
        format_mhz(request.frequency), format_mhz(plan.lof_khz), format_mhz(plan.if_khz),
        format_mhz(lowest_if_khz), format_mhz(highest_if_khz));
}

}  // namespace

tune_request request_for(const broadcast::Transponder &transponder, const broadcast::Lnb &lnb,
                         unsigned port) {
    tune_request request{};
    request.frequency = transponder.frequency_khz;
    request.symbol_rate = transponder.symbol_rate;
    request.polarisation = is_selected_by_18v(transponder.polarisation) ? request_18v : request_13v;
    request.delivery_system =
        transponder.system == broadcast::System::dvbs2 ? request_dvbs2 : request_dvbs;
    request.switch_pos = port;
    request.lof_low = lnb.low_khz;
    request.lof_high = lnb.high_khz;
    request.lof_switch = lnb.switch_khz;
    return request;
}

bool TunePlan::same_channel(const TunePlan &other) const {
    return tuned_if_mhz == other.tuned_if_mhz && symbol_rate_ksps == other.symbol_rate_ksps &&
           delivery_system == other.delivery_system && voltage_18v == other.voltage_18v &&
           tone == other.tone && switch_pos == other.switch_pos;
}

TunePlan plan_tune(const tune_request &request) {
    const bool high = takes_high_oscillator(request);
    TunePlan plan;
    plan.lof_khz = high ? request.lof_high : request.lof_low;
    plan.inverted = plan.lof_khz > request.frequency;
    plan.if_khz =
        plan.inverted ? plan.lof_khz - request.frequency : request.frequency - plan.lof_khz;
    plan.tuned_if_mhz = plan.if_khz / 1000;
    plan.residual_khz = plan.if_khz % 1000;
    plan.symbol_rate_ksps = request.symbol_rate / 1000;
    plan.voltage_18v =
        request.voltage_mode == 0 ? request.polarisation != request_13v : request.voltage_mode == 2;
    plan.tone = tone_on(request, high);
    plan.delivery_system = request.delivery_system;
    plan.switch_pos = request.switch_pos & 0xFFU;
    if (plan.switch_pos != 0) {
        plan.switch_message =
            committed_switch_message(plan.switch_pos, plan.voltage_18v, plan.tone);
    }
    if (request.delivery_system != request_dvbs && request.delivery_system != request_dvbs2) {
        plan.refusal =
            "the delivery system is neither DVB-S nor DVB-S2, which is all that the "
            "plug-in takes; choose one of them";
    } else if (plan.if_khz < lowest_if_khz || plan.if_khz > highest_if_khz) {
        plan.refusal = out_of_range(request, plan);
    }
    return plan;
}

}  // namespace host
