// SPDX-License-Identifier: MIT
#include "host/cable/describe.h"

#include <fmt/format.h>

#include <cctype>

#include "host/cable/cable_leg.h"
#include "host/cable/diseqc_messages.h"
#include "host/cable/frequency.h"

namespace host {

std::string polarisation_letter(broadcast::Polarisation polarisation) {
    const auto first = static_cast<unsigned char>(to_string(polarisation).front());
    return {static_cast<char>(std::toupper(first))};
}

std::string headline(const broadcast::Transponder &transponder) {
    return fmt::format("{} {}, {}, {}", format_mhz(transponder.frequency_khz),
                       polarisation_letter(transponder.polarisation),
                       format_ksps(transponder.symbol_rate), to_string(transponder.system));
}

Json json_of(const broadcast::Transponder &transponder) {
    Json json;
    json["frequency_khz"] = transponder.frequency_khz;
    json["polarisation"] = polarisation_letter(transponder.polarisation);
    json["symbol_rate_sps"] = transponder.symbol_rate;
    json["system"] = to_string(transponder.system);
    return json;
}

Json json_of(const broadcast::Lnb &lnb) {
    Json json;
    json["name"] = lnb.name;
    json["low_khz"] = lnb.low_khz;
    if (lnb.high_khz != 0) {
        json["high_khz"] = lnb.high_khz;
    }
    if (lnb.switch_khz != 0) {
        json["switch_khz"] = lnb.switch_khz;
    }
    return json;
}

Json json_of(const TunePlan &plan) {
    Json json;
    json["lof_khz"] = plan.lof_khz;
    json["if_khz"] = plan.if_khz;
    json["tuned_if_mhz"] = plan.freq_mhz;
    json["residual_khz"] = plan.residual_khz;
    json["spectrum_inverted"] = plan.inverted;
    json["symbol_rate_ksps"] = plan.symbol_rate_ksps;
    json["supply_volts"] = volts_of(plan);
    json["tone"] = plan.hiband != 0;
    if (plan.switch_pos != 0) {
        json["switch_port"] = plan.switch_pos;
        json["switch_message"] = switch_bytes(plan);
    }
    return json;
}

Json json_of(const ScanLeg &leg) {
    const FrequencyRange downlink = leg.downlink();
    Json json{{"label", leg.label()}, {"polarisation", polarisation_letter(leg.polarisation)}};
    if (!leg.band.empty()) {
        json["band"] = leg.band;
    }
    if (leg.cable.switch_port != 0) {
        json["port"] = leg.cable.switch_port;
    }
    json["lof_khz"] = leg.lof_khz;
    json["supply_volts"] = leg.cable.voltage_18v ? 18 : 13;
    json["tone"] = leg.cable.tone;
    json["if_low_mhz"] = leg.if_low_mhz;
    json["if_high_mhz"] = leg.if_high_mhz;
    json["low_khz"] = downlink.low_khz;
    json["high_khz"] = downlink.high_khz;
    return json;
}

std::string switch_bytes(const TunePlan &plan) {
    if (plan.switch_pos == 0) {
        return "";
    }
    const diseqc_message message = switch_message_for(leg_of(plan));
    return diseqc_bytes({message.msg, message.msg_len});
}

std::string summary(const broadcast::Lnb &lnb, const TunePlan &plan) {
    return fmt::format("LNB {}, oscillator {}, IF {}, {} V, tone {}", lnb.name,
                       format_mhz(plan.lof_khz), format_mhz(plan.if_khz), volts_of(plan),
                       plan.hiband != 0 ? "on" : "off");
}

}  // namespace host
