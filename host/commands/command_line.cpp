// SPDX-License-Identifier: MIT
#include "host/commands/command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <cctype>

#include "host/terminal/shell_words.h"

namespace host {

namespace {

// Options that the driver does not feel, or that belong to the machine.
constexpr std::array<std::string_view, 10> not_repeated{
    "board", "driver-log", "format", "output", "plugin",
    "quiet", "real-time",  "report", "trace",  "verbose"};

bool is_repeated(const std::string &name) {
    return std::find(not_repeated.begin(), not_repeated.end(), name) == not_repeated.end();
}

void add_option(const CLI::Option &option, std::vector<std::string> &words) {
    if (option.get_positional()) {
        words.insert(words.end(), option.results().begin(), option.results().end());
        return;
    }
    const bool has_long_name = !option.get_lnames().empty();
    const std::string name =
        has_long_name ? "--" + option.get_lnames().front() : "-" + option.get_snames().front();
    for (const std::string &value : option.results()) {
        words.push_back(name);
        if (option.get_items_expected_max() == 0) {
            continue;
        }
        if (has_long_name) {
            words.back() += "=" + value;
        } else {
            words.push_back(value);
        }
    }
}

void add_options(const CLI::App &app, bool positional, std::vector<std::string> &words) {
    for (const CLI::Option *option : app.get_options()) {
        if (option->count() > 0 && option->get_positional() == positional &&
            is_repeated(option->get_single_name())) {
            add_option(*option, words);
        }
    }
}

void add_command(const CLI::App &app, std::vector<std::string> &words) {
    add_options(app, false, words);
    add_options(app, true, words);
    for (const CLI::App *command : app.get_subcommands()) {
        words.push_back(command->get_name());
        add_command(*command, words);
    }
}

bool is_same_word(std::string_view a, std::string_view b) {
    const auto lower = [](char c) { return std::tolower(static_cast<unsigned char>(c)); };
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [&lower](char x, char y) { return lower(x) == lower(y); });
}

}  // namespace

void add_choice(CLI::App &app, const std::string &name, const std::vector<OptionWord> &choices,
                const std::function<void(int)> &take, const std::string &help) {
    const auto read = [name, choices, take](const std::string &word) {
        std::string words;
        for (const auto &[known, number] : choices) {
            if (is_same_word(word, known)) {
                take(number);
                return;
            }
            words += (words.empty() ? "" : ", ") + known;
        }
        throw CLI::ValidationError(name, "'" + word + "' is none of " + words);
    };
    app.add_option_function<std::string>(name, read, help);
}

std::string command_to_repeat(const CLI::App &app) {
    std::vector<std::string> words;
    add_command(app, words);
    std::string text;
    for (const std::string &word : words) {
        text += (text.empty() ? "" : " ") + shell_word(word);
    }
    return text;
}

std::string option_not_repeated(const CLI::App &app) {
    for (const CLI::Option *option : app.get_options()) {
        if (option->count() > 0 && !is_repeated(option->get_single_name())) {
            return option->get_name();
        }
    }
    for (const CLI::App *command : app.get_subcommands()) {
        if (std::string name = option_not_repeated(*command); !name.empty()) {
            return name;
        }
    }
    return "";
}

}  // namespace host
