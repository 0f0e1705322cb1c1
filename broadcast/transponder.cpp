// SPDX-License-Identifier: MIT
#include "broadcast/transponder.h"

#include <fmt/format.h>

#include <array>
#include <cctype>

namespace broadcast {

namespace {

std::string lower(const std::string &text) {
    std::string result;
    for (const char letter : text) {
        result += static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
    }
    return result;
}

// Find the value whose name is `text`; the names stand in the order of the enumerators.
template <typename Value, std::size_t count>
std::optional<Value> named(const std::array<const char *, count> &names, const std::string &text) {
    for (std::size_t i = 0; i < count; ++i) {
        if (lower(names[i]) == lower(text)) {
            return static_cast<Value>(i);
        }
    }
    return std::nullopt;
}

constexpr std::array<const char *, 2> system_names{"DVB-S", "DVB-S2"};
constexpr std::array<const char *, 4> polarisation_names{"horizontal", "vertical", "left", "right"};
constexpr std::array<const char *, 4> modulation_names{"QPSK", "8PSK", "16APSK", "32APSK"};
constexpr std::array<const char *, 12> code_rate_names{"1/4", "1/3", "2/5", "1/2", "3/5", "2/3",
                                                       "3/4", "4/5", "5/6", "7/8", "8/9", "9/10"};
constexpr std::array<const char *, 3> roll_off_names{"0.35", "0.25", "0.20"};

template <typename Value, std::size_t count>
std::string name_of(const std::array<const char *, count> &names, Value value) {
    return names.at(static_cast<std::size_t>(value));
}

}  // namespace

bool is_selected_by_18v(Polarisation polarisation) {
    return polarisation == Polarisation::horizontal || polarisation == Polarisation::left;
}

bool is_circular(Polarisation polarisation) {
    return polarisation == Polarisation::left || polarisation == Polarisation::right;
}

// The rates that operators use most: 3/4 for QPSK, 2/3 for 8PSK, and for the others the middle one.
CodeRate usual_code_rate(System system, Modulation modulation) {
    if (system == System::dvbs2 && modulation == Modulation::psk8) {
        return CodeRate::r2_3;
    }
    if (system == System::dvbs2 && modulation == Modulation::apsk32) {
        return CodeRate::r4_5;
    }
    return CodeRate::r3_4;
}

CodeRate code_rate_of(const Transponder &transponder) {
    return transponder.code_rate.value_or(
        usual_code_rate(transponder.system, transponder.modulation));
}

std::string to_string(System system) { return name_of(system_names, system); }
std::string to_string(Polarisation polarisation) {
    return name_of(polarisation_names, polarisation);
}
std::string to_string(Modulation modulation) { return name_of(modulation_names, modulation); }
std::string to_string(CodeRate rate) { return name_of(code_rate_names, rate); }
std::string to_string(RollOff roll_off) { return name_of(roll_off_names, roll_off); }

std::string modcod_name(const Transponder &transponder) {
    return to_string(transponder.modulation) +
           (transponder.code_rate ? ' ' + to_string(*transponder.code_rate) : "");
}

std::string modcod_on_air(const Transponder &transponder) {
    return to_string(transponder.modulation) + ' ' + to_string(code_rate_of(transponder));
}

std::string describe(const Transponder &transponder) {
    const char letter = static_cast<char>(std::toupper(to_string(transponder.polarisation)[0]));
    return fmt::format("{} {} {} {} {}", transponder.frequency_khz / 1000, letter,
                       transponder.symbol_rate / 1000, to_string(transponder.system),
                       modcod_name(transponder));
}

std::optional<System> system_named(const std::string &text) {
    return named<System>(system_names, text);
}

std::optional<Polarisation> polarisation_named(const std::string &text) {
    for (std::size_t i = 0; i < polarisation_names.size() && text.size() == 1; ++i) {
        if (lower(text)[0] == polarisation_names[i][0]) {
            return static_cast<Polarisation>(i);
        }
    }
    return named<Polarisation>(polarisation_names, text);
}

std::optional<Modulation> modulation_named(const std::string &text) {
    return named<Modulation>(modulation_names, text);
}

std::optional<CodeRate> code_rate_named(const std::string &text) {
    return named<CodeRate>(code_rate_names, text);
}

}  // namespace broadcast
