// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

namespace host {

// What the value of an option or an argument is, where more is known of it than that it is a text.
// Help, manual and completion go by these words; a choice has its own, with bars between them.
namespace value_kind {
constexpr const char *board = "BOARD";
constexpr const char *file = "FILE";
constexpr const char *lnb = "LNB";
constexpr const char *row = "ROW";
constexpr const char *table = "TABLE";
}  // namespace value_kind

struct OptionForm {
    std::vector<std::string> names;  // -o and --output; of an argument its one name
    std::string value_kind;
    std::string help;
    bool takes_value = true;
    bool repeats = false;
};

// A command as a person may write it: the program, or one of its subcommands.
struct CommandTree {
    std::string name;
    std::string help;
    std::vector<OptionForm> options;
    std::vector<OptionForm> arguments;
    std::vector<CommandTree> subcommands;
};

}  // namespace host
