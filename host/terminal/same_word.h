// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <cctype>
#include <string_view>

namespace host {

// Whether two words are the same but for capitals.
inline bool same_word(std::string_view a, std::string_view b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](unsigned char x, unsigned char y) {
        return std::toupper(x) == std::toupper(y);
    });
}

// Whether a file's name ends in this suffix, in capitals or not.
inline bool has_suffix(std::string_view name, std::string_view suffix) {
    return name.size() > suffix.size() &&
           same_word(name.substr(name.size() - suffix.size()), suffix);
}

}  // namespace host
