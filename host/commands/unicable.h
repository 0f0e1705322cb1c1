// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

#include "host/commands/program.h"

namespace host {

struct UnicableDetectOptions {
    std::string from = "950M";
    std::string to = "2150M";
    bool no_command = false;
    bool identify = false;
};

struct UnicableDecodeOptions {
    std::vector<std::string> bytes;
};

ExitStatus run_unicable_detect(Program &program, const UnicableDetectOptions &options);
ExitStatus run_unicable_decode(Program &program, const UnicableDecodeOptions &options);

}  // namespace host
