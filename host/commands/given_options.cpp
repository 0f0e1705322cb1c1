// SPDX-License-Identifier: MIT
#include "host/commands/given_options.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "host/terminal/shell_words.h"

namespace host {

namespace {

// Options that the driver does not feel, or that belong to the machine. A recording holds the
// firmware itself, and is compared without it.
constexpr std::array<std::string_view, 12> not_repeated{
    "board",  "driver-log", "firmware-a", "firmware-b", "format", "output",
    "plugin", "quiet",      "real-time",  "report",     "trace",  "verbose"};

bool is_repeated(const GivenOption &option) {
    return std::find(not_repeated.begin(), not_repeated.end(), option.name) == not_repeated.end();
}

std::string word_of(const GivenOption &option, const std::string &value) {
    switch (option.kind) {
        case GivenOption::Kind::argument:
            return value;
        case GivenOption::Kind::flag:
            return "--" + option.name;
        default:
            return "--" + option.name + "=" + value;
    }
}

void add_words(const GivenCommand &command, bool arguments, std::vector<std::string> &words) {
    for (const GivenOption &option : command.options) {
        if (is_repeated(option) && arguments == (option.kind == GivenOption::Kind::argument)) {
            for (const std::string &value : option.values) {
                words.push_back(word_of(option, value));
            }
        }
    }
}

}  // namespace

bool gives_global(const GivenCommands &given, std::string_view name) {
    const std::vector<GivenOption> &options = given.front().options;
    return std::any_of(options.begin(), options.end(),
                       [name](const GivenOption &option) { return option.name == name; });
}

std::string command_to_repeat(const GivenCommands &given) {
    std::vector<std::string> words;
    for (const GivenCommand &command : given) {
        if (&command != &given.front()) {
            words.push_back(command.name);
        }
        add_words(command, false, words);
        add_words(command, true, words);
    }
    std::string text;
    for (const std::string &word : words) {
        text += (text.empty() ? "" : " ") + shell_word(word);
    }
    return text;
}

std::string option_not_repeated(const GivenCommands &given) {
    for (const GivenCommand &command : given) {
        const auto found =
            std::find_if_not(command.options.begin(), command.options.end(), is_repeated);
        if (found != command.options.end()) {
            return "--" + found->name;
        }
    }
    return "";
}

}  // namespace host
