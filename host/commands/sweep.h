// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

#include "host/commands/program.h"

namespace host {

struct SweepOptions {
    std::vector<std::string> tables;
    bool as_wired = false;
};

ExitStatus run_sweep(Program &program, const SweepOptions &options);

}  // namespace host
