// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>

namespace broadcast {

// A low-noise block converter. An oscillator above the band inverts the spectrum.
// high_khz 0: one oscillator. Both oscillators without a switch frequency: both polarisations are
// on the cable at once, vertical and right through the low oscillator, horizontal and left through
// the high one; a receiver whose cable carries one of them chooses with 13 or 18 V.
struct Lnb {
    std::string name;         // a type's, or the numbers that were given
    std::string description;  // for people; may be empty
    std::uint32_t low_khz = 0;
    std::uint32_t high_khz = 0;
    std::uint32_t switch_khz = 0;

    // What a specimen does that its type does not say.
    std::int32_t drift_khz = 0;  // of every oscillator
    bool ignores_tone = false;   // stays on the low oscillator, whatever the tone says
};

}  // namespace broadcast
