// SPDX-License-Identifier: MIT
#include "host/commands/run_program.h"

#include <algorithm>
#include <csignal>
#include <variant>

#include "host/commands/command_line.h"
#include "host/commands/run_job.h"

namespace host {

int run_program(int argc, const char *const *argv) {
    // A reader that goes away is a write error like any other, so that the receiver is shut down.
    std::signal(SIGPIPE, SIG_IGN);
    // So is a file that has grown as large as it may.
    std::signal(SIGXFSZ, SIG_IGN);
    Console console;
    const auto reading = read_command_line({argv + std::min(argc, 1), argv + argc}, console);
    if (const auto *status = std::get_if<ExitStatus>(&reading)) {
        return static_cast<int>(*status);
    }
    const auto &request = std::get<CommandRequest>(reading);
    console.set_quiet(request.options.quiet);
    console.set_verbose(request.options.verbose);
    const InterruptWatch interrupt;
    Program program{request.given, request.options, console, interrupt};
    return static_cast<int>(run_job(request.job, program));
}

}  // namespace host
