// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace tests {

using Strings = std::vector<std::string>;

// The parts of a text between any of the separators, empty ones left out.
inline Strings parts_of(std::string_view text, std::string_view separators) {
    Strings parts;
    std::size_t begin = text.find_first_not_of(separators);
    while (begin != std::string_view::npos) {
        const std::size_t end = text.find_first_of(separators, begin);
        parts.emplace_back(text.substr(begin, end - begin));
        begin = text.find_first_not_of(separators, end);
    }
    return parts;
}

inline Strings words_of(std::string_view text) { return parts_of(text, " \t"); }

}  // namespace tests
