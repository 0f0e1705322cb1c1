// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "board/chance.h"

namespace sim {

// Repeatable measurement noise from the scenario's seed.
class Noise {
 public:
    Noise(std::uint64_t seed, double spread_db) : chance_(seed), spread_db_(spread_db) {}

    // A factor of power about 1; its decibels are spread about evenly over twice the spread.
    double factor() {
        constexpr double per_db = 0.2302585;  // ln(10) / 10
        return 1 + per_db * spread_db_ * (2 * uniform() - 1);
    }

    // Spread evenly over 0..1.
    double uniform() { return chance_.uniform(); }

    // Of variance 1 about 0 and at most 3.5 away from it: the sum of four that are spread evenly.
    double normal() {
        constexpr double root_of_three = 1.7320508075688772;
        return root_of_three * (uniform() + uniform() + uniform() + uniform() - 2);
    }

 private:
    board::Chance chance_;
    double spread_db_;
};

}  // namespace sim
