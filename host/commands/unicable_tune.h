// SPDX-License-Identifier: MIT
#pragma once

#include "host/boards/host_board.h"
#include "host/commands/program.h"

namespace CLI {
class App;
}

namespace host {

// Adds `tune` to the subcommands of `unicable`.
void add_unicable_tune(CLI::App &unicable, Job &job);

// Whether the world is a simulated one without a Unicable unit, and what to do about it.
bool lacks_unit(HostBoard &board);
constexpr const char *no_unit_advice =
    "This simulated world has no Unicable unit: give it one with [unicable] in a scenario, --board "
    "sim:FILE.toml";

}  // namespace host
