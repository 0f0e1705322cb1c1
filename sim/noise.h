// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

namespace sim {

// Repeatable measurement noise from the scenario's seed: a 64-bit xorshift generator.
class Noise {
 public:
    Noise(std::uint64_t seed, double spread_db) : state_(seed * 2 + 1), spread_db_(spread_db) {}

    // A factor of power about 1; its decibels are spread about evenly over twice the spread.
    double factor() {
        constexpr double per_db = 0.2302585;  // ln(10) / 10
        return 1 + per_db * spread_db_ * (2 * uniform() - 1);
    }

    // Spread evenly over 0..1.
    double uniform() {
        state_ ^= state_ << 13;
        state_ ^= state_ >> 7;
        state_ ^= state_ << 17;
        return static_cast<double>(state_ >> 11) / static_cast<double>(1ULL << 53);
    }

 private:
    std::uint64_t state_;
    double spread_db_;
};

}  // namespace sim
