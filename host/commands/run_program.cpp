// SPDX-License-Identifier: MIT
#include "host/commands/run_program.h"

#include <fmt/format.h>

#include <algorithm>
#include <csignal>
#include <utility>
#include <variant>

#include "host/commands/command_line.h"

namespace host {

namespace {

ExitStatus run_job(const Job &job, Program &program) {
    try {
        return job(program);
    } catch (const Failure &failure) {
        program.console.error(failure.what());
        return failure.status();
    } catch (const std::exception &error) {
        program.console.error(error.what());
        return ExitStatus::internal_error;
    }
}

}  // namespace

int run_program(int argc, const char *const *argv, GlobalOptions options) {
    // A reader that goes away is a write error like any other, so that the receiver is shut down.
    std::signal(SIGPIPE, SIG_IGN);
    Console console;
    const auto reading =
        read_command_line({argv + std::min(argc, 1), argv + argc}, std::move(options), console);
    if (const auto *status = std::get_if<ExitStatus>(&reading)) {
        return static_cast<int>(*status);
    }
    const auto &request = std::get<CommandRequest>(reading);
    const std::string not_repeated = option_not_repeated(request.given);
    // What a recording asks for comes from somebody else: it may not choose files and plug-ins.
    if (request.options.replay_report && !not_repeated.empty()) {
        console.error(fmt::format("the command of a replay must not have {}", not_repeated));
        return static_cast<int>(ExitStatus::usage);
    }
    console.set_quiet(request.options.quiet);
    console.set_verbose(request.options.verbose);
    const InterruptWatch interrupt;
    Program program{request.given, request.options, console, interrupt};
    return static_cast<int>(run_job(request.job, program));
}

}  // namespace host
