// SPDX-License-Identifier: MIT
#include "host/cable/lnb.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <array>
#include <cctype>

extern "C" {
#include <libdvbv5/dvb-sat.h>
}

#include "host/cable/frequency.h"
#include "host/terminal/reading_error.h"

namespace host {

namespace {

std::vector<broadcast::Lnb> read_known_lnbs() {
    std::vector<broadcast::Lnb> known;
    int index = 0;
    while (const dvb_sat_lnb *row = dvb_sat_get_lnb(index++)) {
        if (row->lowfreq != 0) {
            known.push_back({row->alias, row->name, row->lowfreq * 1000U, row->highfreq * 1000U,
                             row->rangeswitch * 1000U});
        }
    }
    return known;
}

bool same_name(std::string_view a, std::string_view b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](char x, char y) {
        return std::toupper(static_cast<unsigned char>(x)) ==
               std::toupper(static_cast<unsigned char>(y));
    });
}

std::uint32_t parse_oscillator(std::string_view text, std::string_view whole) {
    const FrequencyReading reading = parse_frequency(text);
    constexpr std::uint32_t lowest_khz = 1'000'000;
    constexpr std::uint32_t highest_khz = 40'000'000;
    if (reading.khz < lowest_khz || reading.khz > highest_khz) {
        throw FormError(fmt::format(
            "LNB '{}': {} is no oscillator or switch frequency; they lie "
            "between {} and {}",
            whole, format_mhz(reading.khz), format_mhz(lowest_khz), format_mhz(highest_khz)));
    }
    return reading.khz;
}

broadcast::Lnb parse_oscillators(std::string_view text) {
    std::array<std::uint32_t, 3> words{};
    std::size_t count = 0;
    for (std::string_view rest = text;;) {
        const auto comma = rest.find(',');
        if (count == words.size()) {
            throw FormError(
                fmt::format("LNB '{}': LOW[,HIGH[,SWITCH]] has at most three numbers", text));
        }
        words.at(count++) = parse_oscillator(rest.substr(0, comma), text);
        if (comma == std::string_view::npos) {
            break;
        }
        rest.remove_prefix(comma + 1);
    }
    return {std::string(text), "given by its oscillators", words[0], words[1], words[2]};
}

}  // namespace

const std::vector<broadcast::Lnb> &known_lnbs() {
    static const std::vector<broadcast::Lnb> known = read_known_lnbs();
    return known;
}

const broadcast::Lnb &lnb_named(std::string_view name) {
    const auto &known = known_lnbs();
    const auto found = std::find_if(known.begin(), known.end(), [name](const broadcast::Lnb &lnb) {
        return same_name(lnb.name, name);
    });
    if (found == known.end()) {
        std::vector<std::string> names;
        std::transform(known.begin(), known.end(), std::back_inserter(names),
                       [](const broadcast::Lnb &lnb) { return lnb.name; });
        const bool in_table = dvb_sat_search_lnb(std::string(name).c_str()) >= 0;
        throw FormError(fmt::format(
            "LNB '{}' {}; known are {}, or give LOW[,HIGH[,SWITCH]] in MHz", name,
            in_table ? "needs more oscillators than a request can carry" : "is not known",
            fmt::join(names, ", ")));
    }
    return *found;
}

broadcast::Lnb parse_lnb(std::string_view text) {
    const bool number =
        !text.empty() && text.find_first_not_of("0123456789.,kKmMgGhHzZ") == std::string_view::npos;
    // "110BS" begins with a digit and is a name; nothing but digits, points and units is a number.
    return number ? parse_oscillators(text) : lnb_named(text);
}

}  // namespace host
