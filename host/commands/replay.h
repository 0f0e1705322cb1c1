// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>

#include "host/commands/command_request.h"

namespace host {

struct ReplayOptions {
    std::string file;
    std::optional<std::string> command;  // absent: the recorded one
    bool data = false;                   // write what the command writes, not a report
};

// `reader` reads the recorded command.
ExitStatus run_replay(Program &program, const ReplayOptions &options, const CommandReader &reader);

}  // namespace host
