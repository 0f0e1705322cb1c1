// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "host/commands/program.h"

namespace host {

struct TraceShowOptions {
    std::string file;
};

struct TraceDiffOptions {
    std::string a;
    std::string b;
    bool with_time = false;
};

struct TraceExportOptions {
    std::string file;
    std::string form;
};

ExitStatus show_trace(Program &program, const TraceShowOptions &options);
ExitStatus diff_traces(Program &program, const TraceDiffOptions &options);
ExitStatus export_trace(Program &program, const TraceExportOptions &options);

}  // namespace host
