// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "host/cable/legs.h"

namespace host {

// How far the work on a cable's legs has come.
struct WorkDone {
    std::size_t leg = 0;  // the one at work, counted from 0
    std::size_t legs = 0;
    double of_leg = 0;           // its share that is done
    std::uint64_t begin_ns = 0;  // of all, on the wall
};

// A progress line, with what matters most in front:
// "leg 2/4, port 1, 0:12, 0:31 to go, 11720 MHz V".
std::string leg_progress(const ScanLeg &leg, const WorkDone &done, std::uint32_t frequency_khz);

}  // namespace host
