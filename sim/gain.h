// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

namespace sim {

// How the receiver's automatic gain control has spread the gain that a level needs, as its
// registers count it.
struct Gain {
    std::uint8_t lna = 0;       // 0..31, of which 15 open the LNA
    std::uint8_t baseband = 0;  // 0..17, of which type 1 has 0 to 13, type 2 has 2 to 16
    std::uint8_t rf = 0;        // 0..7, of which 6 count, type 2 tuners only
    std::uint8_t agc = 0;       // the demodulator's AGC level
};

// Level in dBm of an input without any carrier: the LNB's noise.
inline constexpr double noise_floor_dbm = -88.0;

// Spread the gain for an input level over the stages of a tuner of type 1 or 2.
//
// The chain brings every level to the same +17 dBm-equivalent at the converters, so the gain in
// units of 0.01 dB is 1700 - 100 x level. A step of the LNA is 2.33 dB (type 1) or 2.65 dB (type
// 2), of the baseband 3.5 or 3.38 dB, of the RF stage 2.85 dB; the demodulator's AGC makes up the
// rest over a range of 16.8 or 17.6 dB. A stage that is wide open, or shut, goes no further, but
// what counts for it does where the level asks for more: the AGC's level runs to 0 with too strong
// an input, to 255 with too weak a one.
Gain gain_for(unsigned tuner_type, double level_dbm);

// The gain that such a spread comes to, in 0.01 dB.
double gain_of(unsigned tuner_type, const Gain &gain);

}  // namespace sim
