// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

namespace board {

// Repeatable chance: a 64-bit xorshift generator.
class Chance {
 public:
    explicit Chance(std::uint64_t seed) : state_(seed * 2 + 1) {}

    // Spread evenly over 0..1.
    double uniform() {
        state_ ^= state_ << 13;
        state_ ^= state_ >> 7;
        state_ ^= state_ << 17;
        return static_cast<double>(state_ >> 11) / static_cast<double>(1ULL << 53);
    }

 private:
    std::uint64_t state_;
};

}  // namespace board
