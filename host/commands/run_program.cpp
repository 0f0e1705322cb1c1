// SPDX-License-Identifier: MIT
#include "host/commands/run_program.h"

#include <algorithm>
#include <csignal>
#include <string>
#include <variant>
#include <vector>

#include "host/commands/command_line.h"
#include "host/commands/completion.h"
#include "host/commands/run_job.h"

namespace host {

int run_program(int argc, const char *const *argv) {
    // A reader that goes away is a write error like any other, so that the receiver is shut down.
    std::signal(SIGPIPE, SIG_IGN);
    // So is a file that has grown as large as it may.
    std::signal(SIGXFSZ, SIG_IGN);
    const std::vector<std::string> words(argv + std::min(argc, 1), argv + argc);
    if (asks_for_completion(words)) {
        print_completions(command_tree(), words);
        return static_cast<int>(ExitStatus::done);
    }
    Console console;
    const auto reading = read_command_line(words, console);
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
