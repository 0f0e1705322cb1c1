// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

#include "host/commands/command_request.h"
#include "host/commands/command_tree.h"

namespace host {

// Read a command line of ds3000-ctl: the words behind the program's name.
CommandReading read_command_line(const std::vector<std::string> &words, Console &console);

// All that can be written on it.
CommandTree command_tree();

}  // namespace host
