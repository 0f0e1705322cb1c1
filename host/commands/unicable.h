// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "host/commands/program.h"

namespace host {

struct UnicableDetectOptions {
    std::string from = "950M";
    std::string to = "2150M";
    bool no_command = false;
    bool identify = false;
    unsigned times = 1;
};

ExitStatus run_unicable_detect(Program &program, const UnicableDetectOptions &options);

}  // namespace host
