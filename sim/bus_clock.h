// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace sim {

// How long bits take on the bus. The transfers of a driver are few bytes long: their times are
// worked out beforehand.
class BusClock {
 public:
    explicit BusClock(std::uint32_t clock_hz) : clock_hz_(clock_hz) {
        for (std::size_t bits = 0; bits < short_ns_.size(); ++bits) {
            short_ns_[bits] = quotient_ns(bits);
        }
    }

    [[nodiscard]] std::uint64_t duration_ns(std::uint64_t bits) const {
        return bits < short_ns_.size() ? short_ns_[static_cast<std::size_t>(bits)]
                                       : quotient_ns(bits);
    }

 private:
    [[nodiscard]] std::uint64_t quotient_ns(std::uint64_t bits) const {
        return bits * 1'000'000'000 / clock_hz_;
    }

    std::uint32_t clock_hz_;
    std::array<std::uint64_t, 64> short_ns_{};
};

}  // namespace sim
