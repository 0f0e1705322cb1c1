// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

namespace ts2022 {

// Read the demodulator's AGC level and scale it to what ts2022_gain takes for the tuner fitted;
// 0 for an unidentified one.
std::uint16_t read_agc();

}  // namespace ts2022
