// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>
#include <vector>

namespace host {

// The parts of a text between the separators: one more than there are separators.
inline std::vector<std::string_view> split(std::string_view text, char separator) {
    std::vector<std::string_view> parts;
    for (;;) {
        const auto end = text.find(separator);
        parts.push_back(text.substr(0, end));
        if (end == std::string_view::npos) {
            return parts;
        }
        text.remove_prefix(end + 1);
    }
}

}  // namespace host
