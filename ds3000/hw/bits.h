// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

namespace ds3000 {

constexpr std::uint8_t bit(unsigned number) { return static_cast<std::uint8_t>(1U << number); }

constexpr bool is_set(std::uint8_t byte, std::uint8_t mask) { return (byte & mask) != 0; }

constexpr std::uint8_t low_byte(std::uint32_t value) { return static_cast<std::uint8_t>(value); }

constexpr std::uint8_t high_byte(std::uint32_t value) {
    return static_cast<std::uint8_t>(value >> 8U);
}

constexpr std::int32_t signed_word(std::uint8_t high, std::uint8_t low) {
    return static_cast<std::int16_t>((high << 8U) | low);
}

// Bits highest..lowest of a byte, moved down to bit 0.
constexpr std::uint8_t field_get(std::uint8_t byte, unsigned highest, unsigned lowest) {
    return static_cast<std::uint8_t>((byte >> lowest) & ((2U << (highest - lowest)) - 1U));
}

// The chip's arithmetic is two's complement of 32 bits and wraps; these wrap without undefined
// behaviour.
constexpr std::int32_t wrap_add(std::int32_t a, std::int32_t b) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) + static_cast<std::uint32_t>(b));
}

constexpr std::int32_t wrap_subtract(std::int32_t a, std::int32_t b) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) - static_cast<std::uint32_t>(b));
}

constexpr std::int32_t wrap_multiply(std::int32_t a, std::int32_t b) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) * static_cast<std::uint32_t>(b));
}

// |a - b| of the wrapped difference.
constexpr std::uint32_t wrap_distance(std::uint32_t a, std::uint32_t b) {
    const std::uint32_t difference = a - b;
    return static_cast<std::int32_t>(difference) < 0 ? 0U - difference : difference;
}

static_assert(wrap_multiply(22370, 96000) == -2147447296);
static_assert(wrap_distance(3800000, 5150000) == 1350000);
static_assert(signed_word(0xFF, 0xFE) == -2);
static_assert(field_get(0xB5, 5, 3) == 6);

}  // namespace ds3000
