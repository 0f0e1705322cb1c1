// SPDX-License-Identifier: MIT
#include "host/commands/replay.h"

#include <fmt/format.h>

#include <algorithm>
#include <exception>
#include <memory>
#include <stdexcept>
#include <variant>
#include <vector>

#include "host/boards/replayed_board.h"
#include "host/boards/trace_file.h"
#include "host/commands/run_job.h"
#include "host/terminal/presentation.h"
#include "host/terminal/shell_words.h"

namespace host {

namespace {

// What a recorded command came to on its recording.
struct Replay {
    ReplayReport report;
    ExitStatus session = ExitStatus::done;
    std::exception_ptr lost_file;  // why data or driver log could not be written, if they could not
};

std::vector<std::string> words_to_replay(const ReplayOptions &options, Console &console) {
    const TraceFile trace(options.file, console);
    const auto command = options.command ? options.command : trace.head().value("command");
    if (!command) {
        refuse_usage(
            fmt::format("{} does not say what was run; say it with --command", options.file));
    }
    try {
        std::vector<std::string> words = split_words(*command);
        if (std::find(words.begin(), words.end(), "trace") != words.end()) {
            throw Failure(ExitStatus::bad_input, "a replay of a replay");
        }
        return words;
    } catch (const std::invalid_argument &problem) {
        throw Failure(ExitStatus::bad_input,
                      fmt::format("{}: the command: {}", options.file, problem.what()));
    }
}

// What the recorded command asks for. It comes from somebody else: it may not choose files and
// plug-ins.
CommandReading read_recorded(const CommandReader &reader, const std::vector<std::string> &words,
                             Console &console) {
    CommandReading reading = reader(words, console);
    if (const auto *request = std::get_if<CommandRequest>(&reading)) {
        if (const std::string name = option_not_repeated(request->given); !name.empty()) {
            console.error(fmt::format("the command of a replay must not have {}", name));
            return ExitStatus::usage;
        }
    }
    return reading;
}

// Carry out the recorded command on the recording. Its data go nowhere, for the report is what
// counts, unless they are wanted.
Replay replay(const ReplayOptions &wanted, const CommandRequest &request, const Program &program) {
    GlobalOptions options = request.options;
    options.board = "replay:" + wanted.file;
    options.plugin = program.options.plugin;
    options.output = "/dev/null";
    options.quiet = !program.options.verbose;
    if (wanted.data) {
        options.format = program.options.format;
        options.output = program.options.output.value_or("-");
        options.quiet = program.options.quiet;
    }
    options.driver_log = program.options.driver_log;
    options.verbose = program.options.verbose;
    Console console;
    console.set_quiet(options.quiet);
    console.set_verbose(options.verbose);
    const auto report = std::make_shared<ReplayReport>();
    Program player{request.given, options, console, program.interrupt, report};
    std::exception_ptr lost_file;
    const Job job = [&](Program &played) {
        try {
            return request.job(played);
        } catch (const OutputError &) {
            lost_file = std::current_exception();
            return ExitStatus::internal_error;
        }
    };
    const ExitStatus session = run_job(job, player);
    return {*report, session, lost_file};
}

Json difference_json(const trace::Difference &difference) {
    Json json;
    if (difference.expected) {
        json["line"] = difference.line;
        json["recorded"] = *difference.expected;
    }
    json["now"] = difference.actual;
    for (const auto &[name, events] :
         {std::pair("before", &difference.before), std::pair("after", &difference.after)}) {
        json[name] = Json::array();
        for (const trace::Difference::Neighbour &neighbour : *events) {
            json[name].push_back({{"line", neighbour.line}, {"event", neighbour.event}});
        }
    }
    return json;
}

Json replay_json(const Replay &replay, const std::string &file) {
    const ReplayReport &report = replay.report;
    Json json{{"schema", "ds3000.trace.replay/1"},
              {"trace", file},
              {"events", report.events},
              {"played", report.played},
              {"same", !report.difference},
              {"other_firmware", report.other_firmware},
              {"session_status", static_cast<int>(replay.session)}};
    if (report.difference) {
        json["difference"] = difference_json(*report.difference);
    }
    return json;
}

std::string count_text(const ReplayReport &report, const std::string &file) {
    return fmt::format("{}: {} of {} events came, {}", file, report.played, report.events,
                       report.difference ? "then a difference" : "no difference");
}

void write_text(Output &output, const ReplayReport &report, const std::string &file) {
    output.line(count_text(report, file));
    if (report.difference) {
        output.line(difference_text(*report.difference, file));
    }
}

// Beside data the report is for people.
void say(Console &console, const ReplayReport &report, const std::string &file) {
    console.note(count_text(report, file));
    if (report.difference) {
        console.error(difference_text(*report.difference, file));
    }
}

void say_what_came(const Replay &replayed, const std::string &file, Console &console) {
    if (replayed.report.events == 0) {
        throw Failure(
            replayed.session == ExitStatus::done ? ExitStatus::bad_input : replayed.session,
            fmt::format("{}: the recorded command did not come to a board", file));
    }
    if (replayed.report.other_firmware) {
        console.note(
            "The driver loads another firmware image than the one recorded, of the same length.");
    }
}

}  // namespace

ExitStatus run_replay(Program &program, const ReplayOptions &options, const CommandReader &reader) {
    program.honour_only("trace replay", {"plugin", "driver-log"});
    if (!options.data) {
        program.refuse_rows("trace replay without --data");
    }
    // With data the recorded command speaks for itself, and of the file, too.
    Console silent;
    silent.set_quiet(true);
    const auto words = words_to_replay(options, options.data ? silent : program.console);
    std::optional<Output> report;
    if (!options.data) {
        report.emplace(program.options.format, program.options.output);
    }
    const CommandReading reading = read_recorded(reader, words, program.console);
    const auto *request = std::get_if<CommandRequest>(&reading);
    const Replay replayed = request != nullptr ? replay(options, *request, program)
                                               : Replay{{}, std::get<ExitStatus>(reading), {}};
    say_what_came(replayed, options.file, program.console);
    if (report) {
        present(*report,
                {.text = [&](Output &text) { write_text(text, replayed.report, options.file); },
                 .json = [&] { return replay_json(replayed, options.file); }});
    } else {
        say(program.console, replayed.report, options.file);
    }
    if (replayed.lost_file) {
        std::rethrow_exception(replayed.lost_file);
    }
    if (replayed.report.difference) {
        return ExitStatus::differs;
    }
    return options.data ? replayed.session : ExitStatus::done;
}

}  // namespace host
