// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "host/boards/board_options.h"
#include "host/boards/host_board.h"

namespace host {

class Console;

// The board that --board names; it is attached.
// Throws Failure: not_loadable for a board that this program has not got or cannot open, bad_input
// for a wrong scenario or recording, internal_error for a trace that cannot be written.
std::unique_ptr<HostBoard> open_board(const BoardOptions &options, Console &console);

// The files and nodes that opening this board reads: nothing may be written there. Throws Failure
// (usage) for the URI of a real board that is none.
std::vector<std::string> files_of_board(const BoardOptions &options);

}  // namespace host
