// SPDX-License-Identifier: MIT
#include "host/cable/plan.h"

#include <fmt/format.h>

#include "host/cable/frequency.h"

namespace host {

namespace {

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
