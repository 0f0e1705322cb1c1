// SPDX-License-Identifier: MIT
#pragma once

#include "host/boards/host_board.h"
#include "host/terminal/output.h"

namespace host {

// Why a channel does not lock, as members of a result: "reason", a few words that are always the
// same ones, and "explanation", a sentence with the numbers. A simulated world knows; a real one
// does not say, and there are none.
Json explain_no_lock(HostBoard &board);

}  // namespace host
