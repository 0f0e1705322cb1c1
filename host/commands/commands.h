// SPDX-License-Identifier: MIT
#pragma once

#include "host/commands/program.h"

namespace CLI {
class App;
}

namespace host {

// Each adds its subcommand to the command line; when it is chosen, parsing sets `job` to its work.
void add_doctor(CLI::App &app, Job &job);
void add_info(CLI::App &app, Job &job);
void add_list(CLI::App &app, Job &job);
void add_scan(CLI::App &app, Job &job);
void add_sweep(CLI::App &app, Job &job);
void add_trace(CLI::App &app, Job &job);
void add_tune(CLI::App &app, Job &job);
void add_unicable(CLI::App &app, Job &job);

}  // namespace host
