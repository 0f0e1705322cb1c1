// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

namespace tests {

// A tuner's transcript as it crosses the bus: every tuner line gets the line in front that opens
// the repeater. A read or a write that names no device is the tuner's, and a calibration written in
// one line becomes its own:
//
//   write 10 0B; read 15 -> 40
//   strobe 0F 10 5000   select 0F and deselect in 0x51, start 10 and stop in 0x50, wait 5000
//   calibrate vco       that strobe; also lo (17 08 5000), filter (1B 04 2000), agc (1E 01 20000)
//
// A tuner line that ends in "-> nack repeater" is an access whose repeater write fails.
std::string on_the_bus(std::string_view transcript);

// The same with no device on the bus: each access ends at its repeater write.
std::string on_a_dead_bus(std::string_view transcript);

}  // namespace tests
