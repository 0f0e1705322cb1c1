// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace trace {

// Whether a character steers a terminal instead of being shown.
bool is_control(char c);

// A character of several bytes that steers a terminal or turns its line round.
struct SteeringCharacter {
    char32_t code = 0;
    std::size_t length = 0;  // in UTF-8; 0 where there is none
};

// The one in front of a text, if there is one.
SteeringCharacter steering_character(std::string_view text);

// A byte as a text shows it that cannot hold it: \x1B.
std::string byte_escape(char c);

// A text in which nothing steers a terminal: control characters, those of several bytes in UTF-8
// and those that turn a line round included, and whatever is no UTF-8 are escaped byte by byte.
// Line ends and tabs stay.
std::string printable(std::string_view text);

}  // namespace trace
