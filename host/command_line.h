// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace CLI {
class App;
}

namespace host {

// The parsed command line as words for a shell, as far as it decides what the driver is asked to
// do: without the program's name, the board, and where data, reports, messages and traces go.
std::string command_to_repeat(const CLI::App &app);

// The words of such a text. Throws std::invalid_argument for a quote that is not closed.
std::vector<std::string> split_words(std::string_view text);

// A word as a shell reads it.
std::string shell_word(const std::string &word);

}  // namespace host
