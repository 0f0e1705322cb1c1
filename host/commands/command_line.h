// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace CLI {
class App;
}

namespace host {

// A word that an option takes, and the enumerator that it stands for.
using OptionWord = std::pair<std::string, int>;

// Adds an option that takes one of a few words, in capitals or not, and hands over its enumerator;
// another word is refused with those to choose from. Unlike with CLI11's transformers the parsed
// command line keeps the word, and no number passes for one.
void add_choice(CLI::App &app, const std::string &name, const std::vector<OptionWord> &choices,
                const std::function<void(int)> &take, const std::string &help);

// The parsed command line as words for a shell, as far as it decides what the driver is asked to
// do: without the program's name, the board, and where data, reports, messages and traces go.
std::string command_to_repeat(const CLI::App &app);

// The first option on the command line that such words never hold; empty when there is none.
std::string option_not_repeated(const CLI::App &app);

}  // namespace host
