// SPDX-License-Identifier: MIT
#include "sim/diseqc_message.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

namespace sim {

namespace {

struct CommandLength {
    std::uint8_t first;
    std::uint8_t last;
    std::size_t bytes;
};

// Bus specification, "Commands", and EN 50494 for 5A and 5B.
constexpr std::array command_lengths{
    CommandLength{0x00, 0x06, 3},  // reset, standby, power on, contention
    CommandLength{0x10, 0x11, 3},  // status, configuration
    CommandLength{0x14, 0x15, 3},  // what the switches hold
    CommandLength{0x20, 0x2F, 3},  // one switch
    CommandLength{0x38, 0x3B, 4},  // port groups of switches
    CommandLength{0x5A, 0x5B, 5},  // channel change, installation
    CommandLength{0x60, 0x60, 3},  // positioners
    CommandLength{0x63, 0x63, 3}, CommandLength{0x66, 0x67, 3},
    CommandLength{0x68, 0x6B, 4}, CommandLength{0x6E, 0x6E, 5}};

constexpr std::size_t shortest = 3;

}  // namespace

bool asks_for_reply(std::uint8_t framing) { return (framing & 0x02U) != 0; }

bool is_master_frame(std::uint8_t framing) { return framing >= 0xE0 && framing <= 0xE3; }

bool is_repetition(std::uint8_t framing) { return (framing & 0x01U) != 0; }

bool is_repetition_of(std::span<const std::uint8_t> bytes, std::span<const std::uint8_t> before) {
    return bytes.size() == before.size() && !bytes.empty() && bytes[0] == (before[0] | 0x01U) &&
           std::equal(bytes.begin() + 1, bytes.end(), before.begin() + 1);
}

std::string fault_of_form(std::span<const std::uint8_t> bytes, bool listens) {
    if (bytes.size() < shortest) {
        return "shorter than framing, address and command";
    }
    if (!is_master_frame(bytes[0])) {
        return "framing byte is none of a master's";
    }
    if (asks_for_reply(bytes[0]) != listens) {
        return listens ? "asks for no reply, but one is waited for"
                       : "asks for a reply, but none is waited for";
    }
    const auto *const known = std::find_if(
        command_lengths.begin(), command_lengths.end(),
        [&](const CommandLength &row) { return bytes[2] >= row.first && bytes[2] <= row.last; });
    if (known != command_lengths.end() && bytes.size() != known->bytes) {
        return fmt::format("{} bytes, the command has {}", bytes.size(), known->bytes);
    }
    return {};
}

}  // namespace sim
