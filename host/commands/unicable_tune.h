// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "host/boards/host_board.h"
#include "host/cable/user_band.h"
#include "host/commands/program.h"
#include "host/commands/target.h"

namespace host {

struct UnicableTuneOptions {
    TargetOptions target;
    std::string user_band;  // "auto": the first that a search finds
    Position position = Position::a;
    double timeout_s = 5.0;
    unsigned attempts = 3;
};

ExitStatus run_unicable_tune(Program &program, const UnicableTuneOptions &options);

// Whether the world is a simulated one without a Unicable unit, and what to do about it.
bool lacks_unit(HostBoard &board);
constexpr const char *no_unit_advice =
    "This simulated world has no Unicable unit: give it one with [unicable] in a scenario, --board "
    "sim:FILE.toml";

}  // namespace host
