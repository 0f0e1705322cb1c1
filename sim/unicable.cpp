// SPDX-License-Identifier: MIT
#include "sim/unicable.h"

#include <algorithm>

namespace sim {

namespace {

constexpr std::uint8_t master_frame = 0xE0;
constexpr std::uint8_t channel_change = 0x5A;
constexpr std::uint8_t test_tones = 0x5B;
constexpr std::size_t message_length = 5;
constexpr double converter_step_khz = 4'000;
constexpr std::uint32_t first_step = 350;
constexpr double lowest_if_khz = 950'000;
constexpr double highest_if_khz = 2'150'000;

bool is_command(std::span<const std::uint8_t> message, std::uint8_t command) {
    return message.size() == message_length && message[0] == master_frame &&
           (message[1] == 0x00 || message[1] == 0x10 || message[1] == 0x11) &&
           message[2] == command;
}

}  // namespace

std::optional<UnicableUnit::Request> UnicableUnit::request_of(
    std::span<const std::uint8_t> message) const {
    if (!is_command(message, channel_change)) {
        return std::nullopt;
    }
    Request request{};
    request.band = message[3] >> 5U;
    const auto &centre_mhz = setup_.band_mhz.at(request.band);
    if (!centre_mhz) {
        return std::nullopt;
    }
    const std::uint32_t word = (message[3] & 0x03U) << 8U | message[4];
    request.channel = {(message[3] >> 2U) & 0x07U, converter_step_khz * (first_step + word)};
    const double if_khz = request.channel.converter_khz - *centre_mhz * 1000;
    if (if_khz < lowest_if_khz || if_khz > highest_if_khz) {
        return std::nullopt;
    }
    return request;
}

bool UnicableUnit::asks_for_tones(std::span<const std::uint8_t> message) {
    return is_command(message, test_tones) && message[1] != 0x00;
}

void UnicableUnit::follow(const Request &request) {
    states_.at(request.band) = {request.channel, false};
}

void UnicableUnit::start_tones() { states_.fill({std::nullopt, true}); }

void UnicableUnit::power_off() { states_.fill({}); }

std::vector<UnicableUnit::Band> UnicableUnit::bands() const {
    std::vector<Band> bands;
    for (std::size_t i = 0; i < states_.size(); ++i) {
        if (const auto &centre_mhz = setup_.band_mhz.at(i)) {
            bands.push_back({*centre_mhz * 1000, states_.at(i).channel, states_.at(i).tone});
        }
    }
    return bands;
}

}  // namespace sim
