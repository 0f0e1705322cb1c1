// SPDX-License-Identifier: MIT
#include "host/cable/user_band.h"

#include <fmt/format.h>

#include <charconv>

#include "host/cable/frequency.h"
#include "host/terminal/reading_error.h"
#include "host/terminal/split.h"

namespace host {

namespace {

constexpr unsigned highest_bank = 7;
constexpr unsigned step_mhz = 4;
constexpr unsigned first_step = 350;

std::uint8_t parse_number(std::string_view what, std::string_view text, unsigned highest) {
    unsigned value = 0;
    const char *const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    if (error == std::errc::invalid_argument || stop != end) {
        throw FormError(fmt::format("{}: '{}' is no number", what, text));
    }
    if (error != std::errc{} || value > highest) {
        throw LimitError(fmt::format("{}: {} is outside 0..{}", what, text, highest));
    }
    return static_cast<std::uint8_t>(value);
}

// What a unit is to bring of its dishes.
struct BankChoice {
    Position position;
    bool voltage_18v;
    std::uint32_t lof_khz;
};

std::uint16_t bank_number(const BankChoice &choice, const broadcast::Lnb &lnb) {
    const bool high_band = lnb.high_khz != 0 && choice.lof_khz == lnb.high_khz;
    return static_cast<std::uint16_t>((choice.position == Position::b ? 4U : 0U) |
                                      (choice.voltage_18v ? 2U : 0U) | (high_band ? 1U : 0U));
}

}  // namespace

UserBand parse_user_band(std::string_view text) {
    const auto parts = split(text, ':');
    if (parts.size() < 2 || parts.size() > 3) {
        throw FormError(
            fmt::format("'{}' is no user band; write INDEX:FREQ or INDEX:FREQ:BANK, "
                        "3:1680 say, or auto",
                        text));
    }
    UserBand band;
    band.index = parse_number("user band index", parts[0], user_band_indices - 1);
    band.frequency_mhz = parse_if_mhz("user band", parts[1]);
    if (parts.size() == 3) {
        band.bank = parse_number("bank", parts[2], highest_bank);
    }
    return band;
}

std::uint16_t parse_if_mhz(std::string_view what, std::string_view text) {
    const std::uint32_t khz = parse_frequency(text).khz;
    if (khz < CHANNEL_IF_MIN_KHZ || khz > CHANNEL_IF_MAX_KHZ) {
        throw LimitError(fmt::format("{}: {} is outside {} to {}", what, format_mhz(khz),
                                     format_mhz(CHANNEL_IF_MIN_KHZ),
                                     format_mhz(CHANNEL_IF_MAX_KHZ)));
    }
    if (khz % 1000 != 0) {
        throw FormError(
            fmt::format("{}: {} is finer than the whole MHz that the "
                        "driver takes; write {}",
                        what, format_mhz(khz), format_mhz((khz + 500) / 1000 * 1000)));
    }
    return static_cast<std::uint16_t>(khz / 1000);
}

std::uint16_t bank_of(const TunePlan &plan, const broadcast::Lnb &lnb, Position position) {
    return bank_number({position, plan.voltage_18v != 0, plan.lof_khz}, lnb);
}

std::uint16_t bank_of(const ScanLeg &leg, const broadcast::Lnb &lnb, Position position) {
    return bank_number({position, leg.cable.voltage_18v, leg.lof_khz}, lnb);
}

UserBandPlan plan_user_band(const UserBand &band, const TunePlan &plan, const broadcast::Lnb &lnb,
                            Position position) {
    const unsigned step = (band.frequency_mhz + plan.freq_mhz) / step_mhz;
    UserBandPlan result;
    result.bank = band.bank.value_or(bank_of(plan, lnb, position));
    result.tuning_word = step - first_step;
    result.converter_mhz = step * step_mhz;
    result.reached_if_mhz = result.converter_mhz - band.frequency_mhz;
    return result;
}

}  // namespace host
