// SPDX-License-Identifier: MIT
#include "host/cable/plan.h"

#include <fmt/format.h>

#include "host/cable/frequency.h"

namespace host {

namespace {

// The request's word: any value but the one for 13 V selects 18 V.
constexpr std::uint32_t polarisation_13v = TUNE_POLARISATION_13V;
constexpr std::uint32_t polarisation_18v = 2;

std::string out_of_range(const tune_request &request, const ds3000_channel &channel) {
    return fmt::format(
        "{} with an oscillator of {} gives an intermediate frequency of {}; the plug-in takes {} "
        "to "
        "{}. Choose an LNB for this band with --lnb NAME or --lnb LOW[,HIGH[,SWITCH]]",
        format_mhz(request.frequency), format_mhz(channel.lof_khz), format_mhz(channel.if_khz),
        format_mhz(CHANNEL_IF_MIN_KHZ), format_mhz(CHANNEL_IF_MAX_KHZ));
}

std::optional<std::string> words_of(std::int32_t refusal, const tune_request &request,
                                    const ds3000_channel &channel) {
    switch (refusal) {
        case CHANNEL_ACCEPTED:
            return std::nullopt;
        case CHANNEL_WRONG_SYSTEM:
            return "the delivery system is neither DVB-S nor DVB-S2, which is all that the "
                   "plug-in takes; choose one of them";
        default:
            return out_of_range(request, channel);
    }
}

}  // namespace

tune_request request_for(const broadcast::Transponder &transponder, const broadcast::Lnb &lnb,
                         unsigned port) {
    tune_request request{};
    request.frequency = transponder.frequency_khz;
    request.symbol_rate = transponder.symbol_rate;
    request.polarisation =
        is_selected_by_18v(transponder.polarisation) ? polarisation_18v : polarisation_13v;
    request.delivery_system =
        transponder.system == broadcast::System::dvbs2 ? TUNE_SYSTEM_DVBS2 : TUNE_SYSTEM_DVBS;
    request.switch_pos = port;
    request.lof_low = lnb.low_khz;
    request.lof_high = lnb.high_khz;
    request.lof_switch = lnb.switch_khz;
    return request;
}

TunePlan plan_tune(const tune_request &request) {
    TunePlan plan{};
    const std::int32_t refusal = ds3000_plan_channel(&request, &plan);
    plan.inverted = plan.lof_khz > request.frequency;
    plan.residual_khz = plan.if_khz % 1000;
    plan.refusal = words_of(refusal, request, plan);
    return plan;
}

unsigned volts_of(const ds3000_channel &channel) { return channel.voltage_18v != 0 ? 18 : 13; }

}  // namespace host
