// SPDX-License-Identifier: MIT
#include "host/cable/legs.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

#include "host/cable/frequency.h"
#include "host/cable/plan.h"
#include "host/terminal/reading_error.h"

namespace host {

namespace {

// Frequencies of either sign, kHz: an oscillator's lower side may lie below zero.
struct Stretch {
    std::int64_t low_khz = 0;
    std::int64_t high_khz = 0;

    [[nodiscard]] std::int64_t width_khz() const { return high_khz - low_khz; }
};

Stretch common_part(const Stretch &a, const Stretch &b) {
    return {std::max(a.low_khz, b.low_khz), std::min(a.high_khz, b.high_khz)};
}

Stretch stretch_of(const FrequencyRange &range) { return {range.low_khz, range.high_khz}; }

constexpr Stretch whole_cable{CHANNEL_IF_MIN_KHZ, CHANNEL_IF_MAX_KHZ};
constexpr Stretch any_downlink{0, 100'000'000};

// Where satellites transmit: S, C, Ku and Ka band.
constexpr std::array<Stretch, 4> downlink_bands{{{2'500'000, 2'700'000},
                                                 {3'400'000, 4'800'000},
                                                 {10'700'000, 12'750'000},
                                                 {17'300'000, 21'200'000}}};

std::int64_t width_in_bands(const Stretch &stretch) {
    std::int64_t width_khz = 0;
    for (const Stretch &band : downlink_bands) {
        width_khz += std::max(std::int64_t{0}, common_part(stretch, band).width_khz());
    }
    return width_khz;
}

// A stretch of the cable as downlink frequencies, or the other way round.
Stretch through(std::int64_t lof_khz, bool above, const Stretch &stretch) {
    return above ? Stretch{lof_khz - stretch.high_khz, lof_khz - stretch.low_khz}
                 : Stretch{lof_khz + stretch.low_khz, lof_khz + stretch.high_khz};
}

Stretch on_cable(std::int64_t lof_khz, bool above, const Stretch &downlink) {
    return above ? Stretch{lof_khz - downlink.high_khz, lof_khz - downlink.low_khz}
                 : Stretch{downlink.low_khz - lof_khz, downlink.high_khz - lof_khz};
}

// One of an LNB's oscillators, and what it is there for.
struct Oscillator {
    std::uint32_t lof_khz = 0;
    const char *band = "";
    bool tone = false;
    std::optional<bool> voltage_18v = {};  // absent: for both polarisations
    Stretch cable = whole_cable;
    Stretch downlink = any_downlink;
};

std::vector<Oscillator> stacked_oscillators(const broadcast::Lnb &lnb) {
    Oscillator low{.lof_khz = lnb.low_khz, .voltage_18v = false};
    Oscillator high{.lof_khz = lnb.high_khz, .voltage_18v = true};
    // The halves of the cable are the wider ones that a pair of oscillators like this leaves.
    constexpr std::int64_t least_block_khz = 400'000;
    const auto apart_khz = std::abs(std::int64_t{lnb.high_khz} - std::int64_t{lnb.low_khz});
    if (apart_khz >= least_block_khz) {
        const std::int64_t border_khz = std::min(whole_cable.low_khz + apart_khz,
                                                 (whole_cable.low_khz + whole_cable.high_khz) / 2);
        low.cable.high_khz = border_khz;
        high.cable.low_khz = border_khz;
    }
    return {low, high};
}

std::vector<Oscillator> oscillators_of(const broadcast::Lnb &lnb) {
    if (lnb.high_khz == 0) {
        return {{.lof_khz = lnb.low_khz}};
    }
    if (lnb.switch_khz == 0) {
        return stacked_oscillators(lnb);
    }
    return {
        {.lof_khz = lnb.low_khz, .band = "low", .downlink = {any_downlink.low_khz, lnb.switch_khz}},
        {.lof_khz = lnb.high_khz,
         .band = "high",
         .tone = true,
         .downlink = {lnb.switch_khz, any_downlink.high_khz}}};
}

broadcast::Polarisation polarisation_of(bool voltage_18v, bool circular) {
    if (circular) {
        return voltage_18v ? broadcast::Polarisation::left : broadcast::Polarisation::right;
    }
    return voltage_18v ? broadcast::Polarisation::horizontal : broadcast::Polarisation::vertical;
}

// Whether an oscillator shows a stretch by lying above the carriers. A generous stretch reaches to
// both sides of it: what it is made for goes before the mirror image, where no satellite transmits.
bool lies_above(const Oscillator &oscillator, const Stretch &downlink) {
    const bool usual = lies_above_its_band(oscillator.lof_khz);
    const Stretch reach = through(oscillator.lof_khz, usual, oscillator.cable);
    return common_part(reach, downlink).width_khz() > 0 ? usual : !usual;
}

// What an oscillator shows of the wanted stretch, or nothing.
std::optional<ScanLeg> leg_through(const Oscillator &oscillator, const LegsWanted &wanted) {
    const std::int64_t lof_khz = oscillator.lof_khz;
    ScanLeg leg;
    leg.band = oscillator.band;
    leg.lof_khz = oscillator.lof_khz;
    leg.lof_above = wanted.downlink ? lies_above(oscillator, stretch_of(*wanted.downlink))
                                    : lies_above_its_band(oscillator.lof_khz);
    leg.cable.tone = oscillator.tone;
    Stretch downlink = oscillator.downlink;
    if (wanted.downlink) {
        downlink = common_part(downlink, stretch_of(*wanted.downlink));
    }
    Stretch cable = common_part(oscillator.cable, on_cable(lof_khz, leg.lof_above, downlink));
    if (wanted.intermediate) {
        cable = common_part(cable, stretch_of(*wanted.intermediate));
    }
    if (cable.width_khz() <= 0) {
        return std::nullopt;
    }
    leg.if_low_mhz = static_cast<std::uint32_t>(cable.low_khz / 1000);
    leg.if_high_mhz = static_cast<std::uint32_t>((cable.high_khz + 999) / 1000);
    return leg;
}

void add_legs_of_port(const LegsWanted &wanted, unsigned port, std::vector<ScanLeg> &legs) {
    const std::vector<Oscillator> oscillators = oscillators_of(wanted.lnb);
    for (const bool voltage_18v : {false, true}) {
        const broadcast::Polarisation polarisation = polarisation_of(voltage_18v, wanted.circular);
        if (wanted.polarisation.value_or(polarisation) != polarisation) {
            continue;
        }
        for (const Oscillator &oscillator : oscillators) {
            auto leg = leg_through(oscillator, wanted);
            if (leg && oscillator.voltage_18v.value_or(voltage_18v) == voltage_18v) {
                leg->polarisation = polarisation;
                leg->cable.voltage_18v = voltage_18v;
                leg->cable.switch_port = port;
                legs.push_back(*leg);
            }
        }
    }
}

std::string mhz_range(const Stretch &stretch) {
    return fmt::format("{} to {}", format_mhz(static_cast<std::uint32_t>(stretch.low_khz)),
                       format_mhz(static_cast<std::uint32_t>(stretch.high_khz)));
}

// What can be scanned instead, for a refusal.
std::string reach_of(const broadcast::Lnb &lnb) {
    std::string reach;
    for (const Oscillator &oscillator : oscillators_of(lnb)) {
        const Stretch downlink = common_part(
            oscillator.downlink,
            through(oscillator.lof_khz, lies_above_its_band(oscillator.lof_khz), oscillator.cable));
        reach += (reach.empty() ? "" : " and ") + mhz_range(downlink);
    }
    return reach;
}

[[noreturn]] void refuse(const LegsWanted &wanted) {
    if (wanted.intermediate) {
        throw LimitError(fmt::format("LNB {} has no leg at {} on the cable; the tuner takes {}",
                                     wanted.lnb.name, mhz_range(stretch_of(*wanted.intermediate)),
                                     mhz_range(whole_cable)));
    }
    const FrequencyRange range = wanted.downlink.value_or(FrequencyRange{});
    throw LimitError(
        fmt::format("{} cannot be received with LNB {}, which reaches {}; choose another "
                    "one with --lnb NAME or --lnb LOW[,HIGH[,SWITCH]]",
                    mhz_range(stretch_of(range)), wanted.lnb.name, reach_of(wanted.lnb)));
}

}  // namespace

RangeReading parse_range(std::string_view text) {
    const auto dash = text.find('-');
    if (dash == std::string_view::npos) {
        throw FormError(fmt::format("'{}' is no range; write LOW-HIGH, 11000-11700 say", text));
    }
    const FrequencyReading low = parse_frequency(text.substr(0, dash));
    const FrequencyReading high = parse_frequency(text.substr(dash + 1));
    const FrequencyRange range{low.khz, high.khz};
    if (range.low_khz >= range.high_khz) {
        throw FormError(fmt::format("range '{}' is empty: {} is not below {}", text,
                                    format_mhz(range.low_khz), format_mhz(range.high_khz)));
    }
    return {range, low.unit_assumed || high.unit_assumed};
}

std::uint32_t ScanLeg::downlink_khz(std::uint32_t if_khz) const {
    return lof_above ? lof_khz - if_khz : lof_khz + if_khz;
}

std::uint32_t ScanLeg::if_khz(std::uint32_t downlink_khz) const {
    return lof_above ? lof_khz - downlink_khz : downlink_khz - lof_khz;
}

FrequencyRange ScanLeg::downlink() const {
    const std::uint32_t a = downlink_khz(if_low_mhz * 1000U);
    const std::uint32_t b = downlink_khz(if_high_mhz * 1000U);
    return {std::min(a, b), std::max(a, b)};
}

bool ScanLeg::covers(const broadcast::Transponder &transponder) const {
    const FrequencyRange range = downlink();
    return is_selected_by_18v(transponder.polarisation) == cable.voltage_18v &&
           transponder.frequency_khz >= range.low_khz &&
           transponder.frequency_khz <= range.high_khz;
}

std::string ScanLeg::label() const {
    return to_string(polarisation) + (band.empty() ? "" : fmt::format(", {} band", band)) +
           (cable.switch_port == 0 ? "" : fmt::format(", port {}", cable.switch_port));
}

std::vector<ScanLeg> scan_legs(const LegsWanted &wanted) {
    std::vector<ScanLeg> legs;
    for (const unsigned port : wanted.ports) {
        add_legs_of_port(wanted, port, legs);
    }
    if (legs.empty()) {
        refuse(wanted);
    }
    return legs;
}

bool lies_above_its_band(std::uint32_t lof_khz) {
    return width_in_bands(through(lof_khz, true, whole_cable)) >
           width_in_bands(through(lof_khz, false, whole_cable));
}

bool is_circular(const broadcast::Lnb &lnb) {
    constexpr std::array<std::string_view, 3> circular{"DBS", "DISHPRO", "110BS"};
    return std::find(circular.begin(), circular.end(), lnb.name) != circular.end();
}

}  // namespace host
