// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace host {

// A word as a shell reads it.
std::string shell_word(const std::string &word);

// The words of a line that shell_word wrote. Throws std::invalid_argument for a quote that is not
// closed.
std::vector<std::string> split_words(std::string_view text);

}  // namespace host
