// SPDX-License-Identifier: MIT
#include "broadcast/arithmetic.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <numbers>

namespace tests {

namespace {

constexpr double tolerance = 4e-15;

// FNV-1a over the values' bits.
class Digest {
 public:
    void add(double value) {
        std::uint64_t bits = 0;
        static_assert(sizeof bits == sizeof value);
        std::memcpy(&bits, &value, sizeof bits);
        value_ = (value_ ^ bits) * 0x100000001B3U;
    }
    [[nodiscard]] std::uint64_t value() const { return value_; }

 private:
    std::uint64_t value_ = 0xCBF29CE484222325U;
};

}  // namespace

TEST(Arithmetic, powers_of_ten_agree_with_the_c_library) {
    for (int i = -3'000; i <= 3'000; ++i) {
        const double exponent = 0.1 * i;
        const double expected = std::pow(10.0, exponent);
        EXPECT_NEAR(broadcast::power_of_ten(exponent) / expected, 1, tolerance) << exponent;
    }
    EXPECT_EQ(broadcast::power_of_ten(0), 1);
}

TEST(Arithmetic, logarithms_agree_with_the_c_library) {
    for (int i = -3'000; i <= 3'000; ++i) {
        const double number = std::pow(10.0, 0.1 * i);
        const double expected = std::log10(number);
        EXPECT_NEAR(broadcast::decimal_logarithm(number), expected,
                    tolerance * std::max(1.0, std::abs(expected)))
            << number;
    }
    EXPECT_EQ(broadcast::decimal_logarithm(1), 0);
}

TEST(Arithmetic, raised_cosine_agrees_with_the_c_library) {
    for (int i = 0; i <= 1'000; ++i) {
        const double place = 0.001 * i;
        EXPECT_NEAR(broadcast::raised_cosine(place), (1 + std::cos(std::numbers::pi * place)) / 2,
                    tolerance)
            << place;
    }
    EXPECT_EQ(broadcast::raised_cosine(0), 1);
    EXPECT_EQ(broadcast::raised_cosine(0.5), 0.5);
}

// The digests come from x86-64.
TEST(Arithmetic, has_the_same_bits_on_every_target) {
    Digest powers;
    Digest logarithms;
    Digest cosines;
    for (int i = 1; i <= 10'000; ++i) {
        powers.add(broadcast::power_of_ten(0.00321 * (i - 5'000)));
        logarithms.add(broadcast::decimal_logarithm(0.00123 * i * i));
        cosines.add(broadcast::raised_cosine(i / 10'000.0));
    }

    EXPECT_EQ(powers.value(), 0xE2C2933C01CBD64DU);
    EXPECT_EQ(logarithms.value(), 0xB22619203D0F7BC9U);
    EXPECT_EQ(cosines.value(), 0x529F4D1FDCCDD5F1U);
}

}  // namespace tests
