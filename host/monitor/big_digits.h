// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>

#include "host/terminal/picture.h"

namespace host {

// Figures five rows high and more, out of blocks that are twice as wide as high: about square on a
// terminal. What is none of 0123456789+-. is left out.
inline constexpr int big_digit_rows = 5;

// How many columns a text takes at a scale, with the gap behind its last figure.
int big_digits_columns(std::string_view text, int scale);

// Draw it with this cell for the blocks, its upper left corner at a place.
void put_big_digits(Picture &picture, int row, int column, std::string_view text, int scale,
                    const Cell &block);

}  // namespace host
