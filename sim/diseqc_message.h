// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace sim {

// The form of a DiSEqC message: framing byte, address, command, data (bus specification, "Message
// data format").

// E2 and E3 ask for a reply.
bool asks_for_reply(std::uint8_t framing);
bool is_master_frame(std::uint8_t framing);

// Whether it tells devices that this message was sent before, and whether it was.
bool is_repetition(std::uint8_t framing);
bool is_repetition_of(std::span<const std::uint8_t> bytes, std::span<const std::uint8_t> before);

// What is wrong with a message that the master sent, and with listening for a reply or not; empty
// for nothing. Commands that are not known here may have any length.
std::string fault_of_form(std::span<const std::uint8_t> bytes, bool listens);

}  // namespace sim
