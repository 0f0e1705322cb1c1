// SPDX-License-Identifier: MIT
#include "host/cable/lnb.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <array>
#include <iterator>

#include "host/cable/frequency.h"
#include "host/cable/lnb_types.h"
#include "host/terminal/reading_error.h"
#include "host/terminal/same_word.h"
#include "host/terminal/suggestion.h"

namespace host {

namespace {

std::vector<broadcast::Lnb> expressible_types() {
    std::vector<broadcast::Lnb> known;
    for (const LnbType &type : lnb_types) {
        if (type.low_mhz != 0) {
            known.push_back({std::string(type.name), std::string(type.description),
                             type.low_mhz * 1000U, type.high_mhz * 1000U, type.switch_mhz * 1000U});
        }
    }
    return known;
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
    static const std::vector<broadcast::Lnb> known = expressible_types();
    return known;
}

const broadcast::Lnb &lnb_named(std::string_view name) {
    const auto &known = known_lnbs();
    const auto found = std::find_if(known.begin(), known.end(), [name](const broadcast::Lnb &lnb) {
        return same_word(lnb.name, name);
    });
    if (found == known.end()) {
        std::vector<std::string> names;
        std::transform(known.begin(), known.end(), std::back_inserter(names),
                       [](const broadcast::Lnb &lnb) { return lnb.name; });
        const bool is_type =
            std::any_of(lnb_types.begin(), lnb_types.end(),
                        [name](const LnbType &type) { return same_word(type.name, name); });
        throw FormError(fmt::format("LNB '{}' {}; known are {}, or give LOW[,HIGH[,SWITCH]] in MHz",
                                    name,
                                    is_type ? "needs more oscillators than a request can carry"
                                            : "is not known" + did_you_mean(name, names),
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
