// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>

#include "host/boards/host_board.h"
#include "host/terminal/output.h"

namespace host {

// Why a channel does not lock.
struct NoLock {
    std::string reason;       // a few words, always the same ones
    std::string explanation;  // a sentence with the numbers
};

// A simulated world knows; a real one does not say, unless the board itself is gone.
std::optional<NoLock> explain_no_lock(HostBoard &board);

// How often the driver began the search for the channel anew; a simulated world knows.
std::optional<unsigned> restarts_of(HostBoard &board);

// ", 2 restarts", to stand behind how long a lock took; empty where there were none.
std::string restarts_in_words(unsigned restarts);

// The members "reason" and "explanation" of a result, if anybody knows them.
Json json_of(const std::optional<NoLock> &known);

}  // namespace host
