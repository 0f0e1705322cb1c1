// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "sim/scenario.h"

namespace host {

// An LNB as a tune request describes it: up to two oscillators and what chooses between them.
// high 0: one oscillator. switch 0 with two oscillators: 13 V takes the low one, 18 V the high one.
struct Lnb {
    std::string name;         // of libdvbv5's table, or the numbers that were given
    std::string description;  // of libdvbv5's table
    std::uint32_t low_khz = 0;
    std::uint32_t high_khz = 0;
    std::uint32_t switch_khz = 0;
};

// The rows of libdvbv5's LNB table that three oscillator words can express, in its order.
const std::vector<Lnb> &known_lnbs();

// The row of that name. Throws Failure (usage).
const Lnb &lnb_named(std::string_view name);

// NAME or LOW[,HIGH[,SWITCH]] in MHz. Throws Failure (usage).
Lnb parse_lnb(std::string_view text);

// The same LNB as hardware, and hardware as a request describes it.
sim::Lnb simulated(const Lnb &lnb);
Lnb described(const sim::Lnb &lnb);

}  // namespace host
