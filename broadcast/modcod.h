// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>

#include "broadcast/transponder.h"

namespace broadcast {

unsigned bits_per_symbol(Modulation modulation);
double value_of(CodeRate rate);

// C/N in the symbol rate's bandwidth (Es/N0) that a combination needs for quasi error-free
// reception; absent when the standard has no such combination.
//
// DVB-S2: EN 302 307-1, table 13, normal frames. DVB-S: EN 300 421, table 3, which gives Eb/N0 for
// the useful bit rate (Reed-Solomon overhead included) with the modem's implementation margin.
std::optional<double> threshold_db(System system, Modulation modulation, CodeRate rate);

// The same for a transponder's; absent for one that no receiver could demodulate.
std::optional<double> threshold_db(const Transponder &transponder);

// DVB-S2, normal frames (EN 302 307-1, table 5a and 5.5.1): symbols of a physical-layer frame, and
// payload bits in it (the BCH payload less the 80 bits of the base-band header).
std::uint32_t frame_symbols(Modulation modulation, bool pilots);
std::uint32_t frame_payload_bits(CodeRate rate);

// Transport-stream bytes a second.
double payload_bytes_per_s(const Transponder &transponder);

// Ratio of powers and decibels.
double from_db(double db);
double to_db(double ratio);

}  // namespace broadcast
