// SPDX-License-Identifier: MIT
#include "host/commands/run_program.h"

#include <fmt/format.h>
#include <CLI/CLI.hpp>

#include <csignal>

#include "host/commands/command_line.h"
#include "host/commands/commands.h"

namespace host {

namespace {

constexpr const char *exit_statuses = R"(Exit status:
  0    done, locked
  1    internal or I/O error
  2    usage
  3    plug-in or board cannot be loaded
  4    hardware absent or wrong identity
  5    no lock in time
  7    nothing found
  8    bad input file
  9    outside the limits
  10   differs: a replay from its recording, a trace from another
  130  cancelled, partial results written)";

constexpr unsigned highest_port = 4;

void add_global_options(CLI::App &app, GlobalOptions &options) {
    app.add_option(
        "--board", options.board,
        "sim (built-in world, default), sim:FILE.toml (a scenario), replay:FILE (a trace) or "
        "linux:i2c=/dev/i2c-N[,gpio=gpiochipN[:ENABLE[:SELECT]]] (a real board)");
    app.add_option("--plugin", options.plugin, "the plug-in's file");
    app.add_option("--lnb", options.lnb, "NAME (see list lnb) or LOW[,HIGH[,SWITCH]] in MHz");
    app.add_option("--switch", options.switch_port, "committed-switch port, 0 without a switch")
        ->check(CLI::Range(0U, highest_port));
    add_choice(
        app, "--format",
        {{"text", static_cast<int>(Format::text)},
         {"json", static_cast<int>(Format::json)},
         {"jsonl", static_cast<int>(Format::jsonl)},
         {"csv", static_cast<int>(Format::csv)}},
        [&options](int number) { options.format = static_cast<Format>(number); },
        "text, json, jsonl or csv");
    app.add_option("-o,--output", options.output, "where the data go; - is standard output");
    app.add_flag("-q,--quiet", options.quiet, "no notes and no progress, only errors");
    app.add_flag("-v,--verbose", options.verbose, "details, and what the driver says");
    app.add_flag("--real-time", options.real_time, "run at the speed of the wall clock");
    app.add_option("--trace", options.trace, "record the session to a file");
    app.add_option(
        "--driver-log", options.driver_log,
        "the driver's own messages: to FILE, - standard error, none; default: on failure");
}

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
    Job job;
    CLI::App app("Runs a DS3000 front-end driver as a satellite receiver does.", "ds3000-ctl");
    app.set_version_flag("--version", "ds3000-ctl " DS3000_VERSION);
    app.fallthrough();
    app.require_subcommand(1);
    app.footer(exit_statuses);
    add_global_options(app, options);
    add_doctor(app, job);
    add_info(app, job);
    add_list(app, job);
    add_trace(app, job);
    add_tune(app, job);
    add_sweep(app, job);
    add_scan(app, job);
    add_unicable(app, job);
    for (CLI::App *command : app.get_subcommands({})) {
        command->footer(
            "Global options, --board, --lnb, --format and -o among them: ds3000-ctl "
            "--help\n" +
            std::string(exit_statuses));
    }
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        const auto left_over = app.remaining();
        if (app.get_subcommands().empty() && !left_over.empty() &&
            !left_over.front().starts_with("-")) {
            console.error(
                fmt::format("'{}' is no subcommand; see ds3000-ctl --help", left_over.front()));
            return static_cast<int>(ExitStatus::usage);
        }
        return app.exit(error) == 0 ? 0 : static_cast<int>(ExitStatus::usage);
    }
    // What a recording asks for comes from somebody else: it may not choose files and plug-ins.
    if (const std::string name = option_not_repeated(app); options.replay_report && !name.empty()) {
        console.error(fmt::format("the command of a replay must not have {}", name));
        return static_cast<int>(ExitStatus::usage);
    }
    console.set_quiet(options.quiet);
    console.set_verbose(options.verbose);
    const InterruptWatch interrupt;
    Program program{app, options, console, interrupt};
    return static_cast<int>(run_job(job, program));
}

}  // namespace host
