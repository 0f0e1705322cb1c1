// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "host/commands/program.h"

namespace host {

struct ListTranspondersOptions {
    std::string table;
};

ExitStatus list_lnbs(Program &program);
ExitStatus list_satellites(Program &program);
ExitStatus list_boards(Program &program);
ExitStatus list_transponders(Program &program, const ListTranspondersOptions &options);

}  // namespace host
