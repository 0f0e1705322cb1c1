// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
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

// A command line that was read; nothing but the exit status where a word was wrong, which is
// refused. Help is a request like any other.
using CommandReading = std::variant<CommandRequest, ExitStatus>;

// What reads the words behind the program's name.
using CommandReader =
    std::function<CommandReading(const std::vector<std::string> &words, Console &console)>;

}  // namespace host
