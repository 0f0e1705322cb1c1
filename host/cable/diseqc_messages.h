// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "host/terminal/output.h"

namespace host {

// A DiSEqC message taken apart: the DiSEqC bus functional specification 4.2, and EN 50494 for the
// commands of a Unicable unit. Nothing is refused: what is unknown, or has a wrong length, keeps
// its numbers.
struct DiseqcReading {
    std::vector<std::uint8_t> bytes;
    std::optional<std::string> framing;  // absent for a byte that is none
    std::optional<std::string> address;  // absent for an unknown one; replies carry none
    std::optional<std::string> command;  // absent for an unknown one; replies carry none
    std::vector<std::string> words;      // what the data say, as a person reads it
    Json fields = Json::object();        // the same, for programs
    std::vector<std::uint8_t> data;      // data bytes that nothing above stands for
    std::optional<std::string> fault;    // what is wrong with the message's length
};

DiseqcReading read_diseqc(std::span<const std::uint8_t> message);

// "Write N0: port 2, horizontal (18 V), low band; to any LNB or switch".
std::string diseqc_in_words(std::span<const std::uint8_t> message);

// The reading, its bytes and words as an object. It bears no schema tag and may stand in another.
Json diseqc_as_json(std::span<const std::uint8_t> message);

// "E0 10 38 F6".
std::string diseqc_bytes(std::span<const std::uint8_t> message);

// Read bytes as a person writes them: "E0 10 38 F6", "e01038f6", "0xE0,0x10". Throws
// FormError.
std::vector<std::uint8_t> parse_diseqc_bytes(std::string_view text);

}  // namespace host
