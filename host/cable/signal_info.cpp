// SPDX-License-Identifier: MIT
#include "host/cable/signal_info.h"

#include <fmt/format.h>

#include <array>
#include <utility>

#include "ds3000/chip/ds3000_context.h"
#include "ds3000/demod/signal_quality.h"

namespace host {

namespace {

template <typename Value, std::size_t count>
std::optional<Value> meaning_of(const std::array<std::pair<std::uint32_t, Value>, count> &codes,
                                std::uint32_t code) {
    for (const auto &[known, value] : codes) {
        if (known == code) {
            return value;
        }
    }
    return std::nullopt;
}

constexpr std::array<std::pair<std::uint32_t, broadcast::Modulation>, 4> modulations{{
    {MODULATION_QPSK, broadcast::Modulation::qpsk},
    {MODULATION_8PSK, broadcast::Modulation::psk8},
    {MODULATION_16APSK, broadcast::Modulation::apsk16},
    {MODULATION_32APSK, broadcast::Modulation::apsk32},
}};

constexpr std::array<std::pair<std::uint32_t, broadcast::CodeRate>, 12> code_rates{{
    {CODE_RATE_1_4, broadcast::CodeRate::r1_4},
    {CODE_RATE_1_3, broadcast::CodeRate::r1_3},
    {CODE_RATE_2_5, broadcast::CodeRate::r2_5},
    {CODE_RATE_1_2, broadcast::CodeRate::r1_2},
    {CODE_RATE_3_5, broadcast::CodeRate::r3_5},
    {CODE_RATE_2_3, broadcast::CodeRate::r2_3},
    {CODE_RATE_3_4, broadcast::CodeRate::r3_4},
    {CODE_RATE_4_5, broadcast::CodeRate::r4_5},
    {CODE_RATE_5_6, broadcast::CodeRate::r5_6},
    {CODE_RATE_7_8, broadcast::CodeRate::r7_8},
    {CODE_RATE_8_9, broadcast::CodeRate::r8_9},
    {CODE_RATE_9_10, broadcast::CodeRate::r9_10},
}};

constexpr std::array<std::pair<std::uint32_t, broadcast::RollOff>, 3> roll_offs{{
    {1, broadcast::RollOff::r35},
    {2, broadcast::RollOff::r25},
    {3, broadcast::RollOff::r20},
}};

constexpr std::uint32_t inversion_inverted = 2;

}  // namespace

SignalInfo read_signal_info() {
    ds3000_signal_info raw{};
    ds3000_get_signal_info(&raw);
    SignalInfo info;
    info.system =
        raw.standard == STANDARD_DVBS2 ? broadcast::System::dvbs2 : broadcast::System::dvbs;
    info.modulation = meaning_of(modulations, raw.modulation);
    info.code_rate = code_rate_meant(raw.code_rate);
    info.roll_off = meaning_of(roll_offs, raw.roll_off);
    if (info.system == broadcast::System::dvbs2) {
        info.pilots = raw.pilots == 1;
    }
    info.inverted = raw.inversion == inversion_inverted;
    return info;
}

std::optional<broadcast::CodeRate> code_rate_meant(std::uint32_t code) {
    return meaning_of(code_rates, code);
}

int measure_quality_db() {
    std::uint8_t snr_db = 0;
    ds3000_get_snr(&snr_db);
    return static_cast<std::int8_t>(snr_db);
}

Json json_of(const SignalInfo &info) {
    Json json{{"system", to_string(info.system)}};
    const auto add_name = [&json](const char *key, const auto &value) {
        if (value) {
            json[key] = to_string(*value);
        }
    };
    add_name("modulation", info.modulation);
    add_name("code_rate", info.code_rate);
    add_name("roll_off", info.roll_off);
    if (info.pilots) {
        json["pilots"] = *info.pilots;
    }
    if (info.inverted) {
        json["inverted"] = *info.inverted;
    }
    return json;
}

std::string summary(const SignalInfo &info) {
    std::string text = to_string(info.system);
    if (info.modulation && info.code_rate) {
        text += fmt::format(", {} {}", to_string(*info.modulation), to_string(*info.code_rate));
    }
    if (info.roll_off) {
        text += fmt::format(", roll-off {}", to_string(*info.roll_off));
    }
    if (info.pilots) {
        text += *info.pilots ? ", pilots" : ", no pilots";
    }
    if (info.inverted) {
        text += *info.inverted ? ", spectrum inverted" : ", spectrum normal";
    }
    return text;
}

}  // namespace host
