// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace host {

// An option of a command line as the person gave it.
struct GivenOption {
    enum class Kind { flag, with_value, argument };

    std::string name;  // without dashes; of an argument the one that the help gives it
    Kind kind = Kind::with_value;
    std::vector<std::string> values;  // as written; a flag has one for each time it was given
};

// A command and what was given to it, in the order of its help.
struct GivenCommand {
    std::string name;
    std::vector<GivenOption> options;
};

// The program itself, then its subcommand, then that one's.
using GivenCommands = std::vector<GivenCommand>;

// Whether one of the options before or behind the subcommand was given; without dashes.
bool gives_global(const GivenCommands &given, std::string_view name);

// The command line as words for a shell, as far as it decides what the driver is asked to do:
// without the program's name, the board, and where data, reports, messages and traces go.
std::string command_to_repeat(const GivenCommands &given);

// The first option on the command line that such words never hold; empty when there is none.
std::string option_not_repeated(const GivenCommands &given);

}  // namespace host
