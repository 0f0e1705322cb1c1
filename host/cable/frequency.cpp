// SPDX-License-Identifier: MIT
#include "host/cable/frequency.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>
#include <optional>
#include <utility>

#include "host/terminal/reading_error.h"
#include "host/terminal/same_word.h"

namespace host {

namespace {

constexpr std::uint32_t bare_khz_from = 100'000;

// A decimal number and what stands behind it.
struct Decimal {
    std::uint64_t digits = 0;  // without the point
    unsigned decimals = 0;     // digits behind the point
    char suffix = '\0';        // k, M, G or none
};

std::string_view without_unit(std::string_view text, std::string_view unit) {
    return has_suffix(text, unit) ? text.substr(0, text.size() - unit.size()) : text;
}

bool consists_of_digits(std::string_view text) {
    return !text.empty() &&
           std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

std::string_view trimmed(std::string_view text) {
    const auto begin = text.find_first_not_of(' ');
    return begin == std::string_view::npos
               ? std::string_view()
               : text.substr(begin, text.find_last_not_of(' ') + 1 - begin);
}

// Take the prefix of a unit off the end.
char take_suffix(std::string_view &text) {
    constexpr std::string_view prefixes = "kMG";
    for (const char prefix : prefixes) {
        if (!text.empty() && same_word(text.substr(text.size() - 1), {&prefix, 1})) {
            text = trimmed(text.substr(0, text.size() - 1));
            return prefix;
        }
    }
    return '\0';
}

// Take a power of ten, the e6 of 22e6, off the end; nothing when what follows the e is none.
std::optional<unsigned> take_power(std::string_view &text) {
    constexpr std::size_t most_digits = 2;
    const auto at = text.find_first_of("eE");
    if (at == std::string_view::npos) {
        return 0U;
    }
    const std::string_view power = text.substr(at + 1);
    if (!consists_of_digits(power) || power.size() > most_digits) {
        return std::nullopt;
    }
    text.remove_suffix(text.size() - at);
    return static_cast<unsigned>(std::stoul(std::string(power)));
}

std::optional<Decimal> parse_decimal(std::string_view text) {
    constexpr std::size_t most_digits = 15;
    text = trimmed(text);
    Decimal number;
    number.suffix = take_suffix(text);
    const auto power = take_power(text);
    const auto point = text.find('.');
    std::string digits(text.substr(0, point));
    std::size_t decimals = 0;
    if (point != std::string_view::npos) {
        const std::string_view fraction = text.substr(point + 1);
        decimals = fraction.size();
        digits += fraction;
        if (fraction.empty() || point == 0) {
            return std::nullopt;
        }
    }
    if (!power || !consists_of_digits(digits)) {
        return std::nullopt;
    }
    if (*power > decimals) {
        digits.append(*power - decimals, '0');
    }
    if (digits.size() > most_digits) {
        return std::nullopt;
    }
    number.decimals = static_cast<unsigned>(decimals - std::min<std::size_t>(*power, decimals));
    number.digits = std::stoull(digits);
    return number;
}

// The number times 10^exponent; nothing when that is no whole number.
std::optional<std::uint64_t> scaled(const Decimal &number, unsigned exponent) {
    std::uint64_t value = number.digits;
    unsigned decimals = number.decimals;
    while (decimals > exponent && value % 10 == 0) {
        value /= 10;
        --decimals;
    }
    if (decimals > exponent) {
        return std::nullopt;
    }
    for (unsigned i = decimals; i < exponent; ++i) {
        if (value > std::numeric_limits<std::uint64_t>::max() / 10) {
            return std::numeric_limits<std::uint64_t>::max();
        }
        value *= 10;
    }
    return value;
}

// What a number of symbols a second without a prefix may have meant, for a refusal as too low.
std::string meant_rate(const Decimal &number, std::string_view written) {
    for (const auto &[prefix, exponent] : {std::pair{'k', 3U}, std::pair{'M', 6U}}) {
        const std::uint64_t rate = scaled(number, exponent).value_or(0);
        if (number.suffix == '\0' && rate >= lowest_symbol_rate && rate <= highest_symbol_rate) {
            return fmt::format("; for {0}sym/s write {1}{0}", prefix, written);
        }
    }
    return "";
}

std::string format_thousandths(std::uint32_t value) {
    std::string text = fmt::format("{}.{:03}", value / 1000, value % 1000);
    text.erase(text.find_last_not_of('0') + 1);
    if (text.back() == '.') {
        text.pop_back();
    }
    return text;
}

}  // namespace

FrequencyReading parse_frequency(std::string_view text) {
    auto number = parse_decimal(without_unit(text, "hz"));
    if (!number) {
        throw FormError(
            fmt::format("'{}' is no frequency; write 10964.25M, 10.96425G or 10964250k", text));
    }
    FrequencyReading reading;
    unsigned exponent_to_khz = 0;
    if (number->suffix == '\0' && has_suffix(text, "hz")) {
        constexpr unsigned decimals_of_khz = 3;
        number->decimals += decimals_of_khz;
    } else if (number->suffix == '\0') {
        reading.unit_assumed = true;
        const bool below = number->digits < scaled({bare_khz_from}, number->decimals);
        exponent_to_khz = below ? 3 : 0;
    } else {
        exponent_to_khz = number->suffix == 'G' ? 6 : number->suffix == 'M' ? 3 : 0;
    }
    const auto khz = scaled(*number, exponent_to_khz);
    if (!khz) {
        throw FormError(
            fmt::format("frequency '{}' is finer than 1 kHz, which is all that a "
                        "request can carry",
                        text));
    }
    if (*khz > std::numeric_limits<std::uint32_t>::max()) {
        throw LimitError(fmt::format(
            "frequency '{}' is above 4294967295 kHz, the most a request can carry", text));
    }
    reading.khz = static_cast<std::uint32_t>(*khz);
    return reading;
}

DownlinkReading parse_downlink(std::string_view text) {
    const std::string_view whole = trimmed(text);
    const auto polarisation =
        whole.empty() ? std::nullopt : broadcast::polarisation_named(std::string(1, whole.back()));
    const std::string_view frequency =
        polarisation ? trimmed(whole.substr(0, whole.size() - 1)) : whole;
    return {parse_frequency(frequency), polarisation};
}

std::uint32_t parse_symbol_rate(std::string_view text) {
    std::string_view rate_text = text;
    for (const std::string_view unit : {"sym/s", "sps", "baud"}) {
        rate_text = without_unit(rate_text, unit);
    }
    const auto number = parse_decimal(rate_text);
    if (!number || number->suffix == 'G') {
        throw FormError(
            fmt::format("'{}' is no symbol rate; write 22000k, 22M or 22000000 (sym/s)", text));
    }
    const unsigned exponent = number->suffix == 'M' ? 6 : number->suffix == 'k' ? 3 : 0;
    const auto rate = scaled(*number, exponent);
    if (!rate) {
        throw FormError(fmt::format("symbol rate '{}' is finer than 1 sym/s", text));
    }
    if (*rate < lowest_symbol_rate) {
        throw LimitError(fmt::format("symbol rate {} sym/s is below {} sym/s{}", *rate,
                                     lowest_symbol_rate, meant_rate(*number, trimmed(rate_text))));
    }
    if (*rate > highest_symbol_rate) {
        throw LimitError(
            fmt::format("symbol rate {} sym/s is above {} sym/s, the most that the "
                        "driver's symbol-rate word can be computed for",
                        *rate, highest_symbol_rate));
    }
    return static_cast<std::uint32_t>(*rate);
}

std::string format_mhz(std::uint32_t khz) { return format_thousandths(khz) + " MHz"; }

std::string format_ksps(std::uint32_t symbol_rate) {
    return format_thousandths(symbol_rate) + " ksym/s";
}

}  // namespace host
