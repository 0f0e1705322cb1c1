// SPDX-License-Identifier: MIT
#pragma once

#include "host/commands/program.h"
#include "host/commands/target.h"
#include "host/commands/unicable_way.h"

namespace host {

struct UnicableTuneOptions {
    TargetOptions target;
    UserBandOptions band;
    double timeout_s = 5.0;
    unsigned attempts = 3;
};

ExitStatus run_unicable_tune(Program &program, const UnicableTuneOptions &options);

}  // namespace host
