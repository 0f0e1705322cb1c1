// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "broadcast/transponder.h"

namespace host {

// A frequency as a person wrote it.
struct FrequencyReading {
    std::uint32_t khz = 0;
    bool unit_assumed = false;  // a bare number: the unit was chosen by its size
};

// Read 10964.25M, 10.96425G, 10964250k, 10964 MHz, 11e3M: each with or without "Hz" behind it;
// "Hz" alone is hertz. A bare number below 100000 is MHz, else kHz. Nothing is rounded: a value
// finer than 1 kHz is refused. Throws FormError or LimitError saying what is wrong.
FrequencyReading parse_frequency(std::string_view text);

// A downlink as lists of transponders print it.
struct DownlinkReading {
    FrequencyReading frequency;
    std::optional<broadcast::Polarisation> polarisation;
};

// Read 11479V, 11479 V, 11.479G V: a frequency, and the polarisation's letter behind it or not.
// Throws as parse_frequency does.
DownlinkReading parse_downlink(std::string_view text);

// Read a symbol rate: 22000k, 22M, 27.5 Msps, 22e6; a bare number is sym/s, and "sps", "sym/s" and
// "baud" may stand behind each. Refuses what the driver's arithmetic cannot hold. Throws FormError
// or LimitError.
std::uint32_t parse_symbol_rate(std::string_view text);

// Symbol rates that a request can carry, sym/s. Below lies no transponder; from 65536 ksym/s on,
// the rate times 2^15 overflows the 32 bits that the chip's symbol-rate word is computed in.
constexpr std::uint32_t lowest_symbol_rate = 100'000;
constexpr std::uint32_t highest_symbol_rate = 65'535'999;

// How far two frequencies or two symbol rates are apart.
constexpr std::uint32_t apart(std::uint32_t a, std::uint32_t b) { return a > b ? a - b : b - a; }

// "10964.25 MHz": no more decimals than the value has.
std::string format_mhz(std::uint32_t khz);

// "22000 ksym/s": no more decimals than the value has.
std::string format_ksps(std::uint32_t symbol_rate);

}  // namespace host
