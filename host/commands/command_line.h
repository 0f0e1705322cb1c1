// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <variant>
#include <vector>

#include "host/commands/given_options.h"
#include "host/commands/program.h"

namespace host {

// What a command line asks for.
struct CommandRequest {
    GlobalOptions options;
    GivenCommands given;
    Job job;
};

// Read a command line: the words behind the program's name. Help that is asked for is shown and a
// wrong word refused at once; then nothing but the exit status is left. What the command line does
// not say is as in `options`.
std::variant<CommandRequest, ExitStatus> read_command_line(const std::vector<std::string> &words,
                                                           GlobalOptions options, Console &console);

}  // namespace host
