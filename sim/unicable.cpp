// SPDX-License-Identifier: MIT
#include "sim/unicable.h"

#include <algorithm>
#include <cmath>

namespace sim {

namespace {

constexpr std::uint8_t master_frame = 0xE0;
constexpr std::uint8_t channel_change = 0x5A;
constexpr std::uint8_t installation = 0x5B;
constexpr std::uint8_t installation_function = 0x1F;  // of the first data byte; 0: the test tones
constexpr std::size_t message_length = 5;
constexpr double converter_step_khz = 4'000;
constexpr std::uint32_t first_step = 350;
constexpr std::uint32_t words = 1024;
constexpr double lowest_if_khz = 950'000;
constexpr double highest_if_khz = 2'150'000;

// The converter's oscillator that a word asks for; absent when the frequency that it would bring to
// the middle of the user band is none.
std::optional<double> converter_khz(std::uint32_t word, double centre_khz) {
    const double converter_khz = converter_step_khz * (first_step + word);
    const double if_khz = converter_khz - centre_khz;
    return if_khz < lowest_if_khz || if_khz > highest_if_khz ? std::nullopt
                                                             : std::optional(converter_khz);
}

bool is_order(std::span<const std::uint8_t> message, std::uint8_t command) {
    return message.size() == message_length && message[0] == master_frame &&
           (message[1] == 0x00 || message[1] == 0x10 || message[1] == 0x11) &&
           message[2] == command;
}

}  // namespace

std::optional<UnicableUnit::Request> UnicableUnit::request_of(
    std::span<const std::uint8_t> message) const {
    if (!is_order(message, channel_change)) {
        return std::nullopt;
    }
    Request request{};
    request.band = message[3] >> 5U;
    const auto &centre_mhz = setup_.band_mhz.at(request.band);
    if (!centre_mhz) {
        return std::nullopt;
    }
    const std::uint32_t word = (message[3] & 0x03U) << 8U | message[4];
    const std::optional<double> converter = converter_khz(word, *centre_mhz * 1000);
    if (!converter) {
        return std::nullopt;
    }
    request.channel = {(message[3] >> 2U) & 0x07U, *converter};
    return request;
}

bool UnicableUnit::is_command(std::span<const std::uint8_t> message) {
    return is_order(message, channel_change) || is_order(message, installation);
}

bool UnicableUnit::asks_for_tones(std::span<const std::uint8_t> message) {
    return is_order(message, installation) && message[1] != 0x00 &&
           (message[3] & installation_function) == 0;
}

void UnicableUnit::follow(const Request &request) {
    states_.at(request.band) = {request.channel, std::nullopt};
}

void UnicableUnit::start_tones(std::uint64_t now_ns) {
    const auto settling_ns = static_cast<std::uint64_t>(setup_.tones_after_ms * 1e6);
    states_.fill({std::nullopt, now_ns + settling_ns});
}

void UnicableUnit::power_off() { states_.fill({}); }

std::vector<UnicableUnit::Band> UnicableUnit::bands() const {
    std::vector<Band> bands;
    for (std::size_t i = 0; i < states_.size(); ++i) {
        if (const auto &centre_mhz = setup_.band_mhz.at(i)) {
            bands.push_back(
                {i, *centre_mhz * 1000, states_.at(i).channel, states_.at(i).tone_from_ns});
        }
    }
    return bands;
}

std::optional<double> UnicableUnit::best_output_khz(double if_khz) const {
    std::optional<double> best_khz;
    double least_residue_khz = half_width_khz;
    for (const Band &band : bands()) {
        for (std::uint32_t word = 0; word < words; ++word) {
            const std::optional<double> converter = converter_khz(word, band.centre_khz);
            if (!converter) {
                continue;
            }
            const double output_khz = *converter - if_khz;
            const double residue_khz = std::abs(output_khz - band.centre_khz);
            const bool on_the_cable = output_khz >= lowest_if_khz && output_khz <= highest_if_khz;
            if (on_the_cable &&
                (best_khz ? residue_khz < least_residue_khz : residue_khz <= half_width_khz)) {
                best_khz = output_khz;
                least_residue_khz = residue_khz;
            }
        }
    }
    return best_khz;
}

}  // namespace sim
