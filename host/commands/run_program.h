// SPDX-License-Identifier: MIT
#pragma once

#include "host/terminal/failure.h"

namespace host {

// Run ds3000-ctl. Returns the process's exit status.
int run_program(int argc, const char *const *argv);

}  // namespace host
