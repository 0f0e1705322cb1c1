// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

namespace trace {

// Whether a character steers a terminal instead of being shown.
bool is_control(char c);

// A byte as a text shows it that cannot hold it: \x1B.
std::string byte_escape(char c);

// A text in which nothing steers a terminal: control characters, those of two bytes in UTF-8
// included, and whatever is no UTF-8 are escaped byte by byte. Line ends and tabs stay.
std::string printable(std::string_view text);

}  // namespace trace
