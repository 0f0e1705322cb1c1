// SPDX-License-Identifier: MIT
#include "host/commands/completion.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <optional>
#include <string_view>

#include "broadcast/transponder.h"
#include "host/cable/describe.h"
#include "host/cable/frequency.h"
#include "host/cable/lnb.h"
#include "host/tables/catalogue.h"
#include "host/tables/table.h"

namespace host {

namespace {

using Completions = std::vector<Completion>;

// Where the words before the one that is completed lead to.
struct WordPlace {
    std::vector<const CommandTree *> commands;  // the program, then what was chosen of it
    std::vector<std::string> arguments;         // of the last command
    std::vector<std::string> given;             // options
    const OptionForm *open = nullptr;           // an option whose value comes next
    bool options_are_over = false;              // -- was said
    std::string begun;                          // the value that is completed
};

const CommandTree *subcommand_named(const CommandTree &command, const std::string &name) {
    const auto found = std::find_if(command.subcommands.begin(), command.subcommands.end(),
                                    [&](const CommandTree &each) { return each.name == name; });
    return found == command.subcommands.end() ? nullptr : &*found;
}

// An option of the command or of those above it: they may stand behind it too.
const OptionForm *option_named(const WordPlace &place, const std::string &name) {
    for (const CommandTree *command : place.commands) {
        for (const OptionForm &option : command->options) {
            if (std::find(option.names.begin(), option.names.end(), name) != option.names.end()) {
                return &option;
            }
        }
    }
    return nullptr;
}

void take_option(WordPlace &place, const std::string &word) {
    const std::size_t equals = word.find('=');
    const OptionForm *option = option_named(place, word.substr(0, equals));
    if (option == nullptr) {
        return;
    }
    place.given.insert(place.given.end(), option->names.begin(), option->names.end());
    if (option->takes_value && equals == std::string::npos) {
        place.open = option;
    }
}

void take_word(WordPlace &place, const std::string &word) {
    if (place.open != nullptr) {
        place.open = nullptr;
    } else if (word == "--") {
        place.options_are_over = true;
    } else if (word.starts_with("-") && !place.options_are_over) {
        take_option(place, word);
    } else if (const auto *command = subcommand_named(*place.commands.back(), word)) {
        place.commands.push_back(command);
    } else {
        place.arguments.push_back(word);
    }
}

Completions choices_of(std::string_view kind) {
    Completions choices;
    while (!kind.empty()) {
        const std::size_t length = std::min(kind.find('|'), kind.size());
        choices.push_back({std::string(kind.substr(0, length)), ""});
        kind.remove_prefix(std::min(length + 1, kind.size()));
    }
    return choices;
}

Completions boards_at(const WordPlace &place) {
    if (place.begun.starts_with("sim:") || place.begun.starts_with("replay:")) {
        return {{any_file, ""}};
    }
    return {{"sim", "a simulated receiver in a built-in world"},
            {"sim:", "a simulated receiver in the world of a scenario file"},
            {"linux:i2c=/dev/i2c-", "a real board on an I2C adapter of this machine"},
            {"replay:", "a recorded session"}};
}

Completions lnb_names() {
    Completions names;
    for (const broadcast::Lnb &lnb : known_lnbs()) {
        names.push_back({lnb.name, lnb.description});
    }
    return names;
}

Completions table_names() {
    Completions names;
    for (const auto &file : installed_tables()) {
        names.push_back({file.filename().string(), ""});
    }
    names.push_back({any_file, ""});
    return names;
}

// A row by its frequency and polarisation, or by its number where others have the same.
std::string selector_of(const Table &table, const TableRow &row) {
    const std::string mhz = format_mhz(row.transponder.frequency_khz);
    std::string selector = mhz.substr(0, mhz.find(' ')) +
                           std::string(polarisation_letter(row.transponder.polarisation));
    try {
        if (&find_row(table, selector) == &row) {
            return selector;
        }
    } catch (const std::exception &) {
        // There are several.
    }
    return std::to_string(row.place.row);
}

Completions rows_of(const Table &table) {
    Completions rows;
    for (const TableRow &row : table.rows) {
        rows.push_back({selector_of(table, row),
                        fmt::format("{} {}{}{}", format_ksps(row.transponder.symbol_rate),
                                    to_string(row.transponder.system), row.name.empty() ? "" : ", ",
                                    row.name)});
    }
    return rows;
}

// Of the table that the command was given; none where it cannot be read.
Completions rows_of(const WordPlace &place) {
    try {
        return place.arguments.empty() ? Completions{} : rows_of(table_named(place.arguments[0]));
    } catch (const std::exception &) {
        return {};
    }
}

Completions values_of(const std::string &kind, const WordPlace &place) {
    if (kind.find('|') != std::string::npos) {
        return choices_of(kind);
    }
    if (kind == value_kind::board) {
        return boards_at(place);
    }
    if (kind == value_kind::lnb) {
        return lnb_names();
    }
    if (kind == value_kind::table) {
        return table_names();
    }
    if (kind == value_kind::row) {
        return rows_of(place);
    }
    return kind == value_kind::file ? Completions{{any_file, ""}} : Completions{};
}

Completions options_at(const WordPlace &place) {
    Completions options;
    for (const CommandTree *command : place.commands) {
        for (const OptionForm &option : command->options) {
            // The longest name says most.
            const std::string &name = option.names.back();
            const bool given =
                std::find(place.given.begin(), place.given.end(), name) != place.given.end();
            if (!given || option.repeats) {
                options.push_back({name, option.help});
            }
        }
    }
    return options;
}

Completions arguments_at(const WordPlace &place) {
    const CommandTree &command = *place.commands.back();
    Completions next;
    for (const CommandTree &subcommand : command.subcommands) {
        next.push_back({subcommand.name, subcommand.help});
    }
    if (command.arguments.empty()) {
        return next;
    }
    const std::size_t last = command.arguments.size() - 1;
    const OptionForm &argument = command.arguments[std::min(place.arguments.size(), last)];
    return place.arguments.size() <= last || argument.repeats
               ? values_of(argument.value_kind, place)
               : next;
}

// The value of an option in the same word: --lnb=EXT.
Completions values_behind(const std::string &name, const WordPlace &place) {
    const OptionForm *option = option_named(place, name);
    Completions values = option == nullptr ? Completions{} : values_of(option->value_kind, place);
    for (Completion &value : values) {
        if (value.word != any_file) {
            value.word.insert(0, name + "=");
        }
    }
    return values;
}

Completions possible_at(const WordPlace &place, const std::string &begun) {
    if (place.open != nullptr) {
        return values_of(place.open->value_kind, place);
    }
    if (!begun.starts_with("-") || place.options_are_over) {
        return arguments_at(place);
    }
    const std::size_t equals = begun.find('=');
    return equals == std::string::npos ? options_at(place)
                                       : values_behind(begun.substr(0, equals), place);
}

}  // namespace

Completions completions(const CommandTree &program, const std::vector<std::string> &words) {
    if (words.empty()) {
        return {};
    }
    WordPlace place;
    place.commands.push_back(&program);
    std::for_each(words.begin(), words.end() - 1,
                  [&](const std::string &word) { take_word(place, word); });
    const std::string &last = words.back();
    place.begun = last.starts_with("--") ? last.substr(last.find('=') + 1) : last;
    Completions possible = possible_at(place, last);
    std::erase_if(possible, [&](const Completion &completion) {
        return completion.word != any_file && !completion.word.starts_with(last);
    });
    return possible;
}

bool asks_for_completion(const std::vector<std::string> &words) {
    return words.size() >= 2 && words[0] == "complete" && words[1] == "--";
}

void print_completions(const CommandTree &program, const std::vector<std::string> &words) {
    for (const Completion &each : completions(program, {words.begin() + 2, words.end()})) {
        std::printf("%s\t%s\n", each.word.c_str(), each.help.c_str());
    }
}

}  // namespace host
