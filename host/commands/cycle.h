// SPDX-License-Identifier: MIT
#pragma once

#include "host/commands/program.h"
#include "host/commands/target.h"

namespace host {

struct CycleOptions {
    TargetOptions target;
    unsigned standbys = 3;
    double timeout_s = 5.0;
    double pause_s = 1.0;
};

ExitStatus run_cycle(Program &program, const CycleOptions &options);

}  // namespace host
