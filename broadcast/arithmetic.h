// SPDX-License-Identifier: MIT
#pragma once

namespace broadcast {

// Elementary functions with the same result, to the last bit, on every machine. They need nothing
// but additions, multiplications and divisions, which IEEE 754 rounds in one way. The C library's
// need not agree: theirs differ between i386 and the others, and on x86-64 between processors with
// and without fused multiply-add. The relative error is below 1e-14.

// 10 to the power of the exponent, -300 to 300.
double power_of_ten(double exponent);

// Of a positive number.
double decimal_logarithm(double number);

// Power of a raised cosine: 1 at place 0, one half at 0.5, 0 at 1. Place 0 to 1.
double raised_cosine(double place);

}  // namespace broadcast
