// SPDX-License-Identifier: MIT
#include "host/commands/command_line.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <CLI/CLI.hpp>

#include <algorithm>
#include <memory>
#include <sstream>
#include <string_view>
#include <utility>

#include "host/cable/diseqc_commands.h"
#include "host/commands/cycle.h"
#include "host/commands/diseqc.h"
#include "host/commands/doctor.h"
#include "host/commands/info.h"
#include "host/commands/list.h"
#include "host/commands/monitor.h"
#include "host/commands/reg.h"
#include "host/commands/replay.h"
#include "host/commands/scan.h"
#include "host/commands/spectrum.h"
#include "host/commands/sweep.h"
#include "host/commands/trace.h"
#include "host/commands/tune.h"
#include "host/commands/unicable.h"
#include "host/commands/unicable_tune.h"
#include "host/session/program_version.h"
#include "host/terminal/same_word.h"
#include "host/terminal/suggestion.h"

// The one source that knows CLI11, which takes five seconds to compile: it fills the options of
// every command.

namespace host {

namespace {

constexpr const char *exit_statuses = R"(Exit status:
  0    done, locked
  1    internal or I/O error
  2    usage
  3    plug-in or board cannot be loaded
  4    hardware absent or wrong identity
  5    no lock in time
  6    lock lost while it was watched
  7    nothing found
  8    bad input file
  9    outside the limits
  10   differs: a replay from its recording, a trace from another
  130  cancelled, partial results written
  141  whoever read the output has gone)";

constexpr unsigned highest_port = 4;
constexpr double least_timeout_s = 0.05;
constexpr double most_seconds = 86400.0;

// CLI11's own check of a range lets through what is no number.
CLI::Validator number_of(const char *unit, double least, double most) {
    const std::string range = fmt::format("in [{} - {}]", least, most);
    return {[unit, least, most, range](const std::string &text) -> std::string {
                double number = 0;
                const bool is_number = CLI::detail::lexical_cast(text, number);
                return is_number && number >= least && number <= most
                           ? ""
                           : fmt::format("'{}' is no number of {} {}", text, unit, range);
            },
            range};
}

CLI::Validator seconds_from(double least) { return number_of("seconds", least, most_seconds); }

// Adds an option that takes one of a few words, in capitals or not; another word is refused with
// those to choose from. Unlike with CLI11's transformers the parsed command line keeps the word,
// and no number passes for one.
template <typename Choice>
void add_choice(CLI::App &app, const std::string &name, Choice &chosen,
                const std::vector<std::pair<std::string, Choice>> &choices,
                const std::string &help) {
    std::vector<std::string> words;
    for (const auto &[known, choice] : choices) {
        words.push_back(known);
    }
    const auto read = [name, choices, words, &chosen](const std::string &word) {
        for (const auto &[known, choice] : choices) {
            if (same_word(word, known)) {
                chosen = choice;
                return;
            }
        }
        throw CLI::ValidationError(name,
                                   fmt::format("'{}' is none of {}", word, fmt::join(words, ", ")));
    };
    app.add_option_function<std::string>(name, read, help)
        ->type_name(fmt::format("{}", fmt::join(words, "|")));
}

constexpr const char *polarisations = "H|V|L|R";

constexpr const char *table_help =
    "a table's file, or its name if it is installed; a satellites.xml as FILE.xml:SATELLITE";

// When the command is chosen, its options are the job's.
template <typename Options>
void ask_for(Job &job, CLI::App &command, const std::shared_ptr<Options> &options,
             ExitStatus (*run)(Program &, const Options &)) {
    command.callback([&job, options, run] {
        job = [options, run](Program &program) { return run(program, *options); };
    });
}

void ask_for(Job &job, CLI::App &command, ExitStatus (*run)(Program &)) {
    command.callback([&job, run] { job = run; });
}

void add_global_options(CLI::App &app, GlobalOptions &options) {
    app.add_option(
           "--board", options.board,
           "linux:i2c=/dev/i2c-N[,gpio=gpiochipN[:ENABLE[:SELECT]]] (a real board), replay:FILE (a "
           "trace), sim:FILE.toml (a scenario) or sim (built-in world, default)")
        ->type_name(value_kind::board);
    app.add_option("--plugin", options.plugin, "the plug-in's file")->type_name(value_kind::file);
    app.add_option("--lnb", options.lnb, "NAME (see list lnb) or LOW[,HIGH[,SWITCH]] in MHz")
        ->type_name(value_kind::lnb);
    app.add_option("--switch", options.switch_port, "committed-switch port, 0 without a switch")
        ->check(CLI::Range(0U, highest_port));
    add_choice<Format>(app, "--format", options.format,
                       {{"text", Format::text},
                        {"json", Format::json},
                        {"jsonl", Format::jsonl},
                        {"csv", Format::csv}},
                       "form of the data");
    app.add_option("-o,--output", options.output,
                   "where the data go, in the form of the name's suffix (.json .jsonl .csv; in a "
                   "scan .conf, .xml, .m3u, in a scan or spectrum .html); - is standard output")
        ->type_name(value_kind::file);
    app.add_flag("-q,--quiet", options.quiet, "no notes and no progress, only errors");
    app.add_flag("-v,--verbose", options.verbose, "details, and what the driver says");
    app.add_flag("--real-time", options.real_time, "run at the speed of the wall clock");
    app.add_option("--trace", options.trace, "record the session to a file")
        ->type_name(value_kind::file);
    app.add_option(
           "--driver-log", options.driver_log,
           "the driver's own messages: to FILE, - standard error, none; default: on failure")
        ->type_name(value_kind::file);
    app.add_option("--firmware-a", options.firmware_a,
                   "the image of 8192 bytes for DS3002B and DS3103 in the place of this build's; "
                   "not for the plug-in, which has its own")
        ->type_name(value_kind::file);
    app.add_option("--firmware-b", options.firmware_b, "likewise for DS300X")
        ->type_name(value_kind::file);
}

void add_target_options(CLI::App &command, TargetOptions &options) {
    command.add_option("TABLE", options.table, table_help)->type_name("");
    command
        .add_option("ROW", options.selector,
                    "the row's name, number, or frequency and polarisation (11494H)")
        ->type_name("");
    command.add_option(
        "--frequency", options.frequency,
        "downlink: 10964.25M, 10.96425G, 10964250k, '10964 V'; bare below 100000 MHz, else kHz");
    command.add_option("--polarisation", options.polarisation, "of the transponder")
        ->type_name(polarisations);
    command.add_option("--symbol-rate", options.symbol_rate,
                       "22000k, 22M, 22e6; bare numbers are sym/s");
    command.add_option("--system", options.system, "auto: tune --via chip alone")
        ->type_name("dvbs|dvbs2|auto");
}

void add_user_band_options(CLI::App &command, UserBandOptions &options) {
    command.add_option("--user-band", options.user_band,
                       "INDEX:FREQ or INDEX:FREQ:BANK; auto searches and takes the first");
    add_choice<Position>(command, "--position", options.position,
                         {{"A", Position::a}, {"B", Position::b}}, "the unit's dish");
}

void add_doctor(CLI::App &app, Job &job) {
    CLI::App *doctor = app.add_subcommand(
        "doctor", "Examine a board step by step and say what to do about what is wrong");
    const auto options = std::make_shared<DoctorOptions>();
    add_target_options(*doctor, options->target);
    doctor->add_option("--user-band", options->user_band,
                       "receive through a Unicable unit: INDEX:FREQ[:BANK], 3:1680 say");
    doctor->add_option("--timeout", options->timeout_s, "seconds to wait for lock")
        ->check(seconds_from(least_timeout_s))
        ->capture_default_str();
    doctor->add_option("--watch", options->watch_s, "seconds to watch the lock, once it is there")
        ->check(seconds_from(0))
        ->capture_default_str();
    doctor->add_option("--standby", options->standby_s, "seconds of standby to go through; 0: none")
        ->check(seconds_from(0))
        ->capture_default_str();
    ask_for(job, *doctor, options, run_doctor);
}

void add_cycle(CLI::App &app, Job &job) {
    CLI::App *cycle = app.add_subcommand(
        "cycle", "Live the lives of the plug-in's Tuners: tunes, standbys, several of them");
    const auto options = std::make_shared<CycleOptions>();
    add_target_options(*cycle, options->target);
    cycle->add_option("--standbys", options->standbys, "how often to go to standby and come back")
        ->check(CLI::Range(0, 1'000'000))
        ->capture_default_str();
    cycle->add_option("--timeout", options->timeout_s, "seconds to wait for each lock")
        ->check(seconds_from(least_timeout_s))
        ->capture_default_str();
    cycle
        ->add_option("--pause", options->pause_s, "seconds of each standby, and to watch each lock")
        ->check(seconds_from(least_timeout_s))
        ->capture_default_str();
    ask_for(job, *cycle, options, run_cycle);
}

void add_info(CLI::App &app, Job &job) {
    CLI::App *info =
        app.add_subcommand("info", "Show plug-in, board, chips, firmware and versions");
    ask_for(job, *info, std::make_shared<InfoOptions>(InfoOptions{CLI11_VERSION}), run_info);
}

void add_list(CLI::App &app, Job &job) {
    CLI::App *list = app.add_subcommand("list", "List what the program knows");
    list->require_subcommand(1);
    ask_for(job, *list->add_subcommand("lnb", "the LNBs that --lnb knows by name"), list_lnbs);
    ask_for(job, *list->add_subcommand("satellites", "the installed tables"), list_satellites);
    ask_for(job, *list->add_subcommand("boards", "the boards that --board takes"), list_boards);
    CLI::App *transponders = list->add_subcommand("transponders", "the usable rows of a table");
    const auto options = std::make_shared<ListTranspondersOptions>();
    transponders->add_option("TABLE", options->table, table_help)->required()->type_name("");
    ask_for(job, *transponders, options, list_transponders);
}

void add_trace_show(CLI::App &trace, Job &job) {
    CLI::App *show = trace.add_subcommand("show", "explain every transfer of a trace");
    const auto options = std::make_shared<TraceShowOptions>();
    show->add_option("FILE", options->file, "the trace")->required()->type_name("");
    ask_for(job, *show, options, show_trace);
}

void add_trace_replay(CLI::App &trace, Job &job) {
    CLI::App *replay = trace.add_subcommand("replay", "run the driver with the trace as its chips");
    const auto options = std::make_shared<ReplayOptions>();
    replay->add_option("FILE", options->file, "the trace")->required()->type_name("");
    replay->add_option("--command", options->command,
                       "what to run instead of the recorded command: 'tune TABLE ROW'");
    replay->add_flag("--data", options->data,
                     "write what the command finds, its readings say, in the form of --format and "
                     "-o; without it whether it did the same again");
    replay->callback([&job, options] {
        job = [options](Program &program) {
            return run_replay(program, *options, read_command_line);
        };
    });
}

void add_trace_diff(CLI::App &trace, Job &job) {
    CLI::App *diff = trace.add_subcommand("diff", "show where two traces differ");
    const auto options = std::make_shared<TraceDiffOptions>();
    diff->add_option("A", options->a, "a trace")->required()->type_name(value_kind::file);
    diff->add_option("B", options->b, "another one")->required()->type_name(value_kind::file);
    diff->add_flag("--with-time", options->with_time, "time and thread count too");
    ask_for(job, *diff, options, diff_traces);
}

void add_trace_export(CLI::App &trace, Job &job) {
    CLI::App *command = trace.add_subcommand("export", "write the trace for other tools");
    const auto options = std::make_shared<TraceExportOptions>();
    command->add_option("FILE", options->file, "the trace")->required()->type_name("");
    command->add_option("--to", options->form, "a shell script of i2ctransfer, or an object a line")
        ->required()
        ->type_name("i2ctransfer|jsonl")
        ->check(CLI::IsMember({"i2ctransfer", "jsonl"}).description(""));
    ask_for(job, *command, options, export_trace);
}

void add_trace(CLI::App &app, Job &job) {
    CLI::App *trace =
        app.add_subcommand("trace", "Explain, replay, compare and export recorded sessions");
    trace->require_subcommand(1);
    trace->fallthrough();
    add_trace_show(*trace, job);
    add_trace_replay(*trace, job);
    add_trace_diff(*trace, job);
    add_trace_export(*trace, job);
}

// Returns what it added.
std::vector<CLI::Option *> add_watch_options(CLI::App &command, WatchOptions &options) {
    return {
        command
            .add_option("--every", options.every_s,
                        "seconds from reading to reading; default: 1, on a screen 0.2")
            ->check(seconds_from(least_timeout_s)),
        command
            .add_option("--for", options.for_s, "seconds to watch; default: until it is stopped")
            ->check(seconds_from(least_timeout_s)),
        command.add_flag(
            "--tone", options.tone,
            "on a screen: ring the terminal's bell, the faster the better the reception")};
}

void add_tune(CLI::App &app, Job &job) {
    CLI::App *tune = app.add_subcommand(
        "tune", "Tune to one transponder, by numbers or by a table's row, and report the lock");
    const auto options = std::make_shared<TuneOptions>();
    add_target_options(*tune, options->target);
    const CLI::Option *timeout =
        tune->add_option("--timeout", options->timeout_s, "seconds to wait for lock")
            ->check(seconds_from(least_timeout_s))
            ->capture_default_str();
    tune->add_option("--volts", options->cable.volts, "the LNB's supply, whatever the polarisation")
        ->check(CLI::IsMember({13U, 18U}).description(""))
        ->type_name("13|18");
    add_choice<std::optional<bool>>(*tune, "--lnb-tone", options->cable.tone,
                                    {{"on", true}, {"off", false}},
                                    "the LNB's 22 kHz tone, whatever the band");
    tune->add_flag("--show-plan", options->show_plan,
                   "only print what would be tuned, supplied and sent to the switch");
    add_choice<std::optional<Via>>(
        *tune, "--via", options->via, {{"plugin", Via::plugin}, {"chip", Via::chip}},
        "as a receiver does (default), or by the chip layer, which tells margin and MODCOD");
    tune->add_flag("--keep-lnb-power", options->keep_lnb_power,
                   "leave the LNB supplied and the chips tuned at the end; goes --via chip");
    CLI::Option *watch = tune->add_flag("--watch", options->watch,
                                        "with lock, go on as monitor does; goes --via chip");
    for (CLI::Option *option : add_watch_options(*tune, options->watching)) {
        option->needs(watch);
    }
    tune->callback([&job, options, timeout] {
        options->timeout_given = timeout->count() > 0;
        job = [options](Program &program) { return run_tune(program, *options); };
    });
}

void add_monitor(CLI::App &app, Job &job) {
    CLI::App *monitor = app.add_subcommand(
        "monitor", "Stay on one transponder and show how its reception does, to align a dish by");
    const auto options = std::make_shared<MonitorOptions>();
    add_target_options(*monitor, options->target);
    add_user_band_options(*monitor, options->band);
    monitor->get_option("--position")->needs(monitor->get_option("--user-band"));
    add_watch_options(*monitor, options->watch);
    ask_for(job, *monitor, options, run_monitor);
}

void add_sweep(CLI::App &app, Job &job) {
    CLI::App *sweep = app.add_subcommand(
        "sweep", "Tune to every transponder of the tables in turn and classify the outcome");
    const auto options = std::make_shared<SweepOptions>();
    sweep
        ->add_option("TABLE", options->tables,
                     "tables' files, or their names if they are installed; the dish points at each "
                     "table's satellite")
        ->required()
        ->type_name("");
    sweep->add_flag("--as-wired", options->as_wired,
                    "leave a simulated world's dishes where they point, as on a real board");
    ask_for(job, *sweep, options, run_sweep);
}

// Where a scan looks.
void add_leg_options(CLI::App &command, LegOptions &options) {
    command.add_option(
        "--range", options.range,
        "downlink frequencies LOW-HIGH, 11000-11700 say; default: all the LNB reaches");
    command.add_option("--if", options.intermediate, "frequencies on the cable LOW-HIGH instead");
    command.add_flag("--all-ports", options.all_ports,
                     "every port of the committed switch in turn");
    command.add_option("--polarisation", options.polarisation, "this one alone")
        ->type_name(polarisations);
    command.add_flag("--circular", options.circular,
                     "right and left instead of vertical and horizontal");
    command
        .add_option("--satellite", options.satellite,
                    "a table: where the dish looks, which says what LNB to expect; the built-in "
                    "board's dish is turned there")
        ->type_name(value_kind::table);
}

void add_scan_manner(CLI::App &scan, ScanOptions &options) {
    add_choice<scan_algorithm>(
        scan, "--algorithm", options.algorithm,
        {{"sweep", SCAN_ALGO_SWEEP}, {"stepwise", SCAN_ALGO_STEPWISE}},
        "sweep: look through a leg, then try what was seen (default); stepwise: try at every step");
    scan.add_option("--passes", options.passes,
                    "passes over a leg; the first of several looks for wide carriers only")
        ->check(CLI::Range(1U, 255U))
        ->capture_default_str();
    scan.add_option("--list-size", options.list_size,
                    "candidates that a leg's list takes; later ones are lost")
        ->check(CLI::Range(1U, unsigned{most_candidates}))
        ->capture_default_str();
    scan.add_option("--call-off", options.call_offs,
                    "begin each leg so many times and call it off, each time later, before it is "
                    "scanned")
        ->check(CLI::Range(0U, 16U))
        ->capture_default_str();
}

void add_scan_list(CLI::App &scan, ScanOptions &options) {
    add_choice<std::optional<ListForm>>(
        scan, "--to", options.list,
        {{"dvbv5", ListForm::dvbv5},
         {"satellites.xml", ListForm::satellites_xml},
         {"vdr", ListForm::vdr},
         {"m3u", ListForm::m3u}},
        "what list -o NAME gets: dvbv5 (by itself with .conf), satellites.xml (.xml), m3u (.m3u), "
        "vdr; the data go to standard output then");
}

void add_scan(CLI::App &app, Job &job) {
    CLI::App *scan = app.add_subcommand(
        "scan", "Blind scan: find transponders on all bands and polarisations without a table");
    const auto options = std::make_shared<ScanOptions>();
    add_leg_options(*scan, options->legs);
    add_scan_manner(*scan, *options);
    scan->add_option("--compare", options->compare,
                     "a table: report its rows as found or missed, and what it has not got")
        ->type_name(value_kind::table);
    add_scan_list(*scan, *options);
    scan->add_option("--report", options->report, "write a page with spectrum and table, HTML")
        ->type_name(value_kind::file);
    scan->add_option("--note", options->note,
                     "for page and JSON: the place, the weather, what was changed");
    scan->add_flag("--simulated-truth", options->simulated_truth,
                   "in the page also what the simulated world really has");
    scan->add_flag("--wall-time", options->wall_time,
                   "JSON with the time on the wall, which differs from run to run");
    scan->add_option("--user-band", options->user_band,
                     "look through a Unicable unit: INDEX:FREQ[:BANK], 3:1680 say");
    add_choice<Position>(*scan, "--position", options->position,
                         {{"A", Position::a}, {"B", Position::b}}, "the unit's dish");
    scan->get_option("--position")->needs(scan->get_option("--user-band"));
    ask_for(job, *scan, options, run_scan);
}

void add_spectrum(CLI::App &app, Job &job) {
    constexpr double least_fall_db = 0.1;
    constexpr double most_fall_db = 60;
    CLI::App *spectrum = app.add_subcommand(
        "spectrum", "Measure what is on the cable: the level over every leg, and the peaks in it");
    const auto options = std::make_shared<SpectrumOptions>();
    add_leg_options(*spectrum, options->legs);
    CLI::Option *compare = spectrum->add_option(
        "--compare", options->compare,
        "an earlier measurement, written with --format json: show what changed");
    compare->type_name(value_kind::file);
    spectrum
        ->add_option("--fall", options->fall_db, "name the bands that fell by so many dB, or more")
        ->needs(compare)
        ->check(number_of("dB", least_fall_db, most_fall_db))
        ->capture_default_str();
    spectrum->add_option("--report", options->report, "write a page with the pictures, HTML")
        ->type_name(value_kind::file);
    spectrum->add_option("--note", options->note,
                         "for page and JSON: the place, the weather, what was changed");
    spectrum->add_flag("--simulated-truth", options->simulated_truth,
                       "beside the measurement what the simulated world really has");
    ask_for(job, *spectrum, options, run_spectrum);
}

void add_unicable_detect(CLI::App &unicable, Job &job) {
    CLI::App *detect = unicable.add_subcommand(
        "detect", "Find the user bands that a Unicable unit offers; takes all of them off the air");
    const auto options = std::make_shared<UnicableDetectOptions>();
    detect->add_option("--from", options->from, "where the search begins, IF")
        ->capture_default_str();
    detect->add_option("--to", options->to, "where it ends")->capture_default_str();
    detect->add_flag("--no-command", options->no_command,
                     "the test tones are on already: do not ask for them");
    detect->add_flag("--identify", options->identify,
                     "also find out which index each band has in the unit");
    detect
        ->add_option("--times", options->times,
                     "searches, one after the other, as a receiver's menu may ask for them")
        ->check(CLI::Range(1U, 100U))
        ->capture_default_str();
    ask_for(job, *detect, options, run_unicable_detect);
}

void add_unicable_tune(CLI::App &unicable, Job &job) {
    constexpr unsigned most_attempts = 20;
    CLI::App *tune = unicable.add_subcommand(
        "tune", "Tune to one transponder through a user band and report the lock");
    const auto options = std::make_shared<UnicableTuneOptions>();
    add_target_options(*tune, options->target);
    add_user_band_options(*tune, options->band);
    tune->get_option("--user-band")->required();
    tune->add_option("--timeout", options->timeout_s,
                     "seconds to wait for lock after each channel change")
        ->check(seconds_from(least_timeout_s))
        ->capture_default_str();
    tune->add_option("--attempts", options->attempts,
                     "how often to send the channel change while there is no lock")
        ->check(CLI::Range(1U, most_attempts))
        ->capture_default_str();
    ask_for(job, *tune, options, run_unicable_tune);
}

// Under either of its names.
void add_decode(CLI::App &parent, Job &job,
                ExitStatus (*run)(Program &, const DiseqcDecodeOptions &)) {
    CLI::App *decode = parent.add_subcommand("decode", "Say what the bytes of a message mean");
    const auto options = std::make_shared<DiseqcDecodeOptions>();
    decode->add_option("BYTES", options->bytes, "in hexadecimal: E0 10 38 F0, or E01038F0")
        ->required();
    ask_for(job, *decode, options, run);
}

void add_unicable(CLI::App &app, Job &job) {
    CLI::App *unicable = app.add_subcommand(
        "unicable", "User bands of an EN 50494 unit: find them, tune through one, read messages");
    unicable->require_subcommand(1);
    add_unicable_detect(*unicable, job);
    add_unicable_tune(*unicable, job);
    add_decode(*unicable, job, run_unicable_decode);
}

void add_supply_options(CLI::App &command, DiseqcSupply &supply) {
    command.add_option("--volts", supply.volts, "the LNB's supply")
        ->check(CLI::IsMember({13U, 18U}).description(""))
        ->type_name("13|18")
        ->capture_default_str();
    command.add_flag("--tone", supply.tone, "22 kHz tone after the message");
    command
        .add_option("--hold", supply.hold_s,
                    "seconds to leave the supply on at the end; default: 90 after a message that "
                    "moves a motor, else none")
        ->check(seconds_from(0));
}

void add_diseqc_send(CLI::App &diseqc, Job &job) {
    CLI::App *send = diseqc.add_subcommand("send", "Send a message");
    const auto options = std::make_shared<DiseqcSendOptions>();
    send->add_option("BYTES", options->bytes, "up to eight, in hexadecimal: E2 10 14, or E21014")
        ->required();
    send->add_flag("--reply", options->reply, "wait for the reply and show it");
    add_supply_options(*send, options->supply);
    ask_for(job, *send, options, run_diseqc_send);
}

// A message that is told by one number.
void add_diseqc_number(CLI::App &diseqc, Job &job, const char *name, const char *help,
                       const CLI::Range &range,
                       ExitStatus (*run)(Program &, const DiseqcNumberOptions &)) {
    CLI::App *command = diseqc.add_subcommand(name, help);
    const auto options = std::make_shared<DiseqcNumberOptions>();
    command->add_option("N", options->number, "its number")->required()->check(range);
    add_supply_options(*command, options->supply);
    ask_for(job, *command, options, run);
}

void add_diseqc_burst(CLI::App &diseqc, Job &job) {
    CLI::App *burst = diseqc.add_subcommand("burst", "Send the tone burst of a two-way switch");
    const auto options = std::make_shared<DiseqcBurstOptions>();
    add_choice<bool>(*burst, "SATELLITE", options->b, {{"A", false}, {"B", true}},
                     "which of the two");
    burst->get_option("SATELLITE")->required();
    add_supply_options(*burst, options->supply);
    ask_for(job, *burst, options, run_diseqc_burst);
}

void add_diseqc_goto(CLI::App &diseqc, Job &job) {
    CLI::App *drive = diseqc.add_subcommand(
        "goto", "Turn the motor of a polar mount to a satellite (DiSEqC 1.3)");
    const auto options = std::make_shared<DiseqcGotoOptions>();
    drive->add_option("DEGREES", options->satellite, "the satellite's longitude: 19.2E, 30W")
        ->required();
    drive->add_option("--latitude", options->latitude, "of the dish: 48.1N, 33.9S")->required();
    drive->add_option("--longitude", options->longitude, "of the dish: 11.6E, 70.7W")->required();
    add_supply_options(*drive, options->supply);
    ask_for(job, *drive, options, run_diseqc_goto);
}

void add_diseqc(CLI::App &app, Job &job) {
    CLI::App *diseqc = app.add_subcommand(
        "diseqc", "Send messages to switches, motors and LNBs, and read messages");
    diseqc->require_subcommand(1);
    diseqc->fallthrough();
    add_diseqc_send(*diseqc, job);
    add_diseqc_number(*diseqc, job, "switch", "Choose a committed switch's port, 1 to 4",
                      CLI::Range(1U, highest_port), run_diseqc_switch);
    add_diseqc_number(*diseqc, job, "uncommitted", "Choose an uncommitted switch's input, 1 to 16",
                      CLI::Range(1U, uncommitted_inputs), run_diseqc_uncommitted);
    add_diseqc_burst(*diseqc, job);
    add_diseqc_number(*diseqc, job, "position", "Turn the motor to a stored position, 0 to 255",
                      CLI::Range(0U, 255U), run_diseqc_position);
    add_diseqc_goto(*diseqc, job);
    add_decode(*diseqc, job, run_diseqc_decode);
}

void add_register_options(CLI::App &command, RegisterState &state) {
    CLI::Option *start_up = command.add_flag(
        "--start-up", state.start_up, "start the chips before it and put them to sleep after it");
    command
        .add_flag("--as-is", state.as_is,
                  "touch no other register: the chips stay as they are (default)")
        ->excludes(start_up);
}

void add_register_chip(CLI::App &command, RegisterChip &chip) {
    add_choice<RegisterChip>(command, "CHIP", chip,
                             {{"demod", RegisterChip::demodulator}, {"tuner", RegisterChip::tuner}},
                             "the demodulator or the tuner");
    command.get_option("CHIP")->required();
}

void add_reg_read(CLI::App &reg, Job &job) {
    CLI::App *read = reg.add_subcommand("read", "Read registers");
    const auto options = std::make_shared<RegReadOptions>();
    add_register_chip(*read, options->chip);
    read->add_option("REGISTER", options->registers, "names, mode say, or numbers, 0x08")
        ->required();
    add_register_options(*read, options->state);
    ask_for(job, *read, options, run_reg_read);
}

void add_reg_write(CLI::App &reg, Job &job) {
    CLI::App *write = reg.add_subcommand("write", "Write one register");
    const auto options = std::make_shared<RegWriteOptions>();
    add_register_chip(*write, options->chip);
    write->add_option("REGISTER", options->reg, "its name, or its number, 0x33")->required();
    write->add_option("VALUE", options->value, "0x00 to 0xFF")->required();
    add_register_options(*write, options->state);
    ask_for(job, *write, options, run_reg_write);
}

void add_reg_dump(CLI::App &reg, Job &job) {
    CLI::App *dump = reg.add_subcommand("dump", "Read all that have a name, a line a register");
    const auto options = std::make_shared<RegDumpOptions>();
    add_choice<std::vector<RegisterChip>>(
        *dump, "CHIP", options->chips,
        {{"demod", {RegisterChip::demodulator}},
         {"tuner", {RegisterChip::tuner}},
         {"all", {RegisterChip::demodulator, RegisterChip::tuner}}},
        "one of the two, or both");
    dump->get_option("CHIP")->required();
    dump->add_flag("--every-number", options->every_number, "those without a name too");
    add_register_options(*dump, options->state);
    ask_for(job, *dump, options, run_reg_dump);
}

void add_reg(CLI::App &app, Job &job) {
    CLI::App *reg = app.add_subcommand("reg", "Read and write registers of both chips");
    reg->require_subcommand(1);
    reg->fallthrough();
    add_reg_read(*reg, job);
    add_reg_write(*reg, job);
    add_reg_dump(*reg, job);
}

void add_commands(CLI::App &app, Job &job) {
    add_cycle(app, job);
    add_diseqc(app, job);
    add_doctor(app, job);
    add_info(app, job);
    add_list(app, job);
    add_monitor(app, job);
    add_reg(app, job);
    add_trace(app, job);
    add_tune(app, job);
    add_sweep(app, job);
    add_scan(app, job);
    add_spectrum(app, job);
    add_unicable(app, job);
    for (CLI::App *command : app.get_subcommands({})) {
        command->footer(
            "Global options, --board, --lnb, --format and -o among them: ds3000-ctl "
            "--help\n\n" +
            std::string(exit_statuses));
    }
}

GivenOption::Kind kind_of(const CLI::Option &option) {
    if (option.get_positional()) {
        return GivenOption::Kind::argument;
    }
    return option.get_items_expected_max() == 0 ? GivenOption::Kind::flag
                                                : GivenOption::Kind::with_value;
}

// What was given to a command and to the subcommands that were chosen.
void collect_given(const CLI::App &command, GivenCommands &given) {
    given.push_back({command.get_name(), {}});
    for (const CLI::Option *option : command.get_options()) {
        if (option->count() > 0) {
            given.back().options.push_back(
                {option->get_single_name(), kind_of(*option), option->results()});
        }
    }
    for (const CLI::App *subcommand : command.get_subcommands()) {
        collect_given(*subcommand, given);
    }
}

// The suffixes of names that a command writes what they say into; refuse_rows() is about .csv.
std::vector<std::string_view> suffixes_written_by(std::string_view command) {
    std::vector<std::string_view> suffixes{".json", ".jsonl", ".csv"};
    if (command == "spectrum" || command == "scan") {
        suffixes.emplace_back(".html");
    }
    if (command == "scan") {
        suffixes.insert(suffixes.end(), {".conf", ".xml", ".m3u"});
    }
    return suffixes;
}

// Returns what is wrong with a name of -o that says what belongs into the file; empty when nothing
// is.
std::string fault_of_suffix(std::string_view command, std::string_view file) {
    const auto is_suffix = [file](std::string_view suffix) { return has_suffix(file, suffix); };
    const auto written = suffixes_written_by(command);
    const auto known = suffixes_written_by("scan");
    const auto suffix = std::find_if(known.begin(), known.end(), is_suffix);
    if (suffix == known.end() || std::any_of(written.begin(), written.end(), is_suffix)) {
        return "";
    }
    return fmt::format("-o {}: {} writes no {}; it writes {}, and text into other names", file,
                       command, *suffix, fmt::join(written, ", "));
}

// The format that the name of -o asks for, unless --format does. Returns what is wrong with the
// two; empty when nothing is.
std::string settle_format(CommandRequest &request) {
    GlobalOptions &options = request.options;
    if (std::string fault =
            options.output ? fault_of_suffix(request.given.at(1).name, *options.output) : "";
        !fault.empty()) {
        return fault;
    }
    const auto named = options.output ? format_of_name(*options.output) : std::nullopt;
    if (named && gives_global(request.given, "format") && *named != options.format) {
        return fmt::format("-o {} asks for another format than --format does; leave --format out",
                           *options.output);
    }
    options.format = named.value_or(options.format);
    return "";
}

// The command whose options were meant: the subcommand that was chosen, and its own.
const CLI::App &command_meant(const CLI::App &app) {
    const auto chosen = app.get_subcommands();
    return chosen.empty() ? app : command_meant(*chosen.front());
}

std::string words_of(const CLI::App &command) {
    return command.get_parent() == nullptr
               ? command.get_name()
               : fmt::format("{} {}", words_of(*command.get_parent()), command.get_name());
}

// What a command takes, the global options included.
std::vector<std::string> options_of(const CLI::App *command) {
    std::vector<std::string> names;
    for (; command != nullptr; command = command->get_parent()) {
        for (const CLI::Option *option : command->get_options()) {
            for (const std::string &name : option->get_lnames()) {
                names.push_back("--" + name);
            }
        }
    }
    return names;
}

std::vector<std::string> subcommands_of(const CLI::App &command) {
    std::vector<std::string> names;
    for (const CLI::App *subcommand : command.get_subcommands(nullptr)) {
        names.push_back(subcommand->get_name());
    }
    return names;
}

std::string fault_of(const CLI::App &app, const CLI::App &command, const CLI::ParseError &error) {
    const auto left_over = app.remaining(true);
    if (left_over.empty()) {
        return error.what();
    }
    const std::string &word = left_over.front();
    if (word.starts_with("-")) {
        const std::string name = word.substr(0, word.find('='));
        return fmt::format("there is no option {}{}", name,
                           did_you_mean(name, options_of(&command)));
    }
    const auto subcommands = subcommands_of(command);
    return subcommands.empty()
               ? fmt::format("'{}' is more than it takes", word)
               : fmt::format("'{}' is no subcommand{}", word, did_you_mean(word, subcommands));
}

// Help or version, as a job like any other: it writes data.
CommandRequest what_was_asked_for(const CLI::App &app, const CLI::ParseError &error) {
    std::ostringstream text;
    std::ostringstream none;
    app.exit(error, text, none);
    CommandRequest request;
    request.job = [shown = text.str()](Program &program) {
        Output output(Format::text, program.options.output);
        output.text(shown);
        output.finish();
        return ExitStatus::done;
    };
    return request;
}

// Whether a word stands where a subcommand should, and is none: its help would be another's.
bool names_no_subcommand(const CLI::App &app, const CLI::App &command) {
    const auto left_over = app.remaining(true);
    return !left_over.empty() && !left_over.front().starts_with("-") &&
           !subcommands_of(command).empty();
}

CommandReading refuse(const CLI::App &app, const CLI::ParseError &error, Console &console) {
    const CLI::App &command = command_meant(app);
    if (error.get_exit_code() == 0 && !names_no_subcommand(app, command)) {
        return what_was_asked_for(app, error);
    }
    // The message may repeat what was written; on the console that steers no terminal.
    console.error(
        fmt::format("{}; see {} --help", fault_of(app, command, error), words_of(command)));
    return ExitStatus::usage;
}

// The command line as CLI11 reads it into a request.
void describe_program(CLI::App &app, CommandRequest &request) {
    app.name("ds3000-ctl");
    app.description("Runs a DS3000 front-end driver as a satellite receiver does.");
    app.set_version_flag("--version",
                         "ds3000-ctl " + version_words(DS3000_VERSION, program_revision()));
    app.fallthrough();
    app.require_subcommand(1);
    app.footer(exit_statuses);
    add_global_options(app, request.options);
    add_commands(app, request.job);
}

OptionForm form_of(const CLI::Option &option) {
    OptionForm form;
    for (const std::string &name : option.get_snames()) {
        form.names.push_back("-" + name);
    }
    for (const std::string &name : option.get_lnames()) {
        form.names.push_back("--" + name);
    }
    form.value_kind = option.get_type_name();
    if (option.get_positional()) {
        form.names = {option.get_name()};
        if (form.value_kind.empty()) {
            form.value_kind = form.names.front();
        }
    }
    form.help = option.get_description();
    form.takes_value = option.get_items_expected_max() > 0;
    form.repeats = option.get_items_expected_max() > 1;
    return form;
}

CommandTree tree_of(const CLI::App &command) {
    CommandTree tree{command.get_name(), command.get_description(), {}, {}, {}};
    for (const CLI::Option *option : command.get_options()) {
        (option->get_positional() ? tree.arguments : tree.options).push_back(form_of(*option));
    }
    for (const CLI::App *subcommand : command.get_subcommands(nullptr)) {
        tree.subcommands.push_back(tree_of(*subcommand));
    }
    return tree;
}

}  // namespace

CommandTree command_tree() {
    CommandRequest request;
    CLI::App app;
    describe_program(app, request);
    return tree_of(app);
}

CommandReading read_command_line(const std::vector<std::string> &words, Console &console) {
    CommandRequest request;
    CLI::App app;
    describe_program(app, request);
    try {
        app.parse(std::vector<std::string>(words.rbegin(), words.rend()));
    } catch (const CLI::ParseError &error) {
        return refuse(app, error, console);
    }
    collect_given(app, request.given);
    if (const std::string fault = settle_format(request); !fault.empty()) {
        console.error(fault);
        return ExitStatus::usage;
    }
    return request;
}

}  // namespace host
