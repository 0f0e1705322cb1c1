// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

#include "host/boards/board_options.h"
#include "host/boards/host_board.h"
#include "host/terminal/console.h"

namespace host {

// A real board as this process's board. Failed transfers are shown under -v; what the board refuses
// is shown at once, and finish() throws Failure (internal_error) for it.
// Throws Failure: usage for a URI that cannot be read, not_loadable for a board that cannot be
// opened, internal_error for a trace that cannot be written.
std::unique_ptr<HostBoard> open_linux_board(const BoardOptions &options, Console &console);

}  // namespace host
