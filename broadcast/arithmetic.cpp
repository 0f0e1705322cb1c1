// SPDX-License-Identifier: MIT
#include "broadcast/arithmetic.h"

#include <cmath>
#include <numbers>

// The calls of the C library in this file are exact: floor, frexp, ldexp.

namespace broadcast {

namespace {

// exp(x) for |x| <= ln 2 / 2, where the term after the last one is below 1e-19.
double exponential(double x) {
    constexpr int terms = 16;
    double sum = 1;
    for (int n = terms; n > 0; --n) {
        sum = 1 + sum * x / n;
    }
    return sum;
}

// ln((1 + x) / (1 - x)) for |x| <= 0.172, where the term after the last one is below 1e-19.
double logarithm_of_quotient(double x) {
    constexpr int last_power = 23;
    const double square = x * x;
    double sum = 0;
    for (int n = last_power; n > 0; n -= 2) {
        sum = sum * square + 1.0 / n;
    }
    return 2 * x * sum;
}

// sin(x) for |x| <= pi / 2, where the term after the last one is below 1e-19.
double sine(double x) {
    constexpr int last_power = 21;
    const double square = x * x;
    double sum = 1;
    for (int n = last_power; n > 1; n -= 2) {
        sum = 1 - sum * square / (n * (n - 1));
    }
    return x * sum;
}

}  // namespace

double power_of_ten(double exponent) {
    // 10^e = 2^n 10^r with r = e - n log10(2). The logarithm's upper bits times n is exact, so that
    // nothing of a large exponent is lost.
    constexpr double upper = 0x1.34413508p-2;
    constexpr double lower = 0x1.f79fef311f12bp-34;
    const double doublings = std::floor(exponent / (upper + lower) + 0.5);
    const double rest = exponent - doublings * upper - doublings * lower;
    return std::ldexp(exponential(rest * std::numbers::ln10), static_cast<int>(doublings));
}

double decimal_logarithm(double number) {
    int doublings = 0;
    double mantissa = std::frexp(number, &doublings);  // 0.5 to 1
    if (mantissa < std::numbers::sqrt2 / 2) {
        mantissa *= 2;
        --doublings;
    }
    const double logarithm = logarithm_of_quotient((mantissa - 1) / (mantissa + 1));
    return (logarithm + doublings * std::numbers::ln2) / std::numbers::ln10;
}

double raised_cosine(double place) { return (1 - sine(std::numbers::pi * (place - 0.5))) / 2; }

}  // namespace broadcast
