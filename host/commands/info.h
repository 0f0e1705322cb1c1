// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "host/commands/program.h"

namespace host {

struct InfoOptions {
    std::string cli11_version;  // which only the reader of the command line knows
};

ExitStatus run_info(Program &program, const InfoOptions &options);

}  // namespace host
