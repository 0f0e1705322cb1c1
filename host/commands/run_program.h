// SPDX-License-Identifier: MIT
#pragma once

#include "host/commands/program.h"

namespace host {

// Run ds3000-ctl. Returns the process's exit status. What the command line does not say is as in
// `options`.
int run_program(int argc, const char *const *argv, GlobalOptions options = {});

}  // namespace host
