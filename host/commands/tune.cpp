// SPDX-License-Identifier: MIT
#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <memory>

#include "host/commands/commands.h"
#include "host/commands/describe.h"
#include "host/frequency.h"
#include "host/rig.h"
#include "host/tables/catalogue.h"
#include "host/tables/table.h"

namespace host {

namespace {

struct TuneOptions {
    std::optional<std::string> table;
    std::optional<std::string> selector;
    std::optional<std::string> frequency;
    std::optional<std::string> polarisation;
    std::optional<std::string> symbol_rate;
    std::optional<std::string> system;
    double timeout_s = 5.0;
    bool timeout_given = false;
    bool show_plan = false;
    bool keep_lnb_power = false;
};

// What is tuned to, and the satellite it is on.
struct Target {
    sim::Transponder transponder;
    std::optional<Table> table;  // absent when tuned by numbers
    std::optional<TableRow> row;
};

[[noreturn]] void usage(const std::string &message) { throw Failure(ExitStatus::usage, message); }

sim::Polarisation parse_polarisation(const std::string &text) {
    const auto polarisation = sim::polarisation_named(text);
    if (!polarisation) {
        usage(fmt::format("'{}' is no polarisation; write H, V, L or R", text));
    }
    return *polarisation;
}

sim::System parse_system(std::string text) {
    const std::string given = text;
    text.erase(std::remove(text.begin(), text.end(), '-'), text.end());
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    if (text != "dvbs" && text != "dvbs2") {
        usage(fmt::format("'{}' is no delivery system; write dvbs or dvbs2", given));
    }
    return text == "dvbs2" ? sim::System::dvbs2 : sim::System::dvbs;
}

Target target_by_numbers(const TuneOptions &options, Console &console) {
    if (!options.frequency || !options.polarisation || !options.symbol_rate || !options.system) {
        usage(
            "tune needs TABLE and a row, or all of --frequency, --polarisation, --symbol-rate and "
            "--system");
    }
    const FrequencyReading frequency = parse_frequency(*options.frequency);
    if (frequency.unit_assumed) {
        console.note(fmt::format("frequency {} is read as {}", *options.frequency,
                                 format_mhz(frequency.khz)));
    }
    Target target;
    target.transponder.frequency_khz = frequency.khz;
    target.transponder.polarisation = parse_polarisation(*options.polarisation);
    target.transponder.symbol_rate = parse_symbol_rate(*options.symbol_rate);
    target.transponder.system = parse_system(*options.system);
    return target;
}

Target target_in_table(const TuneOptions &options) {
    if (options.frequency || options.polarisation || options.symbol_rate || options.system) {
        usage("tune takes TABLE and a row, or numbers, not both");
    }
    if (!options.selector) {
        usage(
            "tune TABLE needs a row: its name, its number or a frequency with the polarisation's "
            "letter, 11494H say");
    }
    Target target;
    target.table = read_table(find_table(*options.table));
    target.row = find_row(*target.table, *options.selector);
    target.transponder = target.row->transponder;
    return target;
}

// The result as it grows: what was asked for, what became of it.
Json begin_result(const Target &target, const Lnb &lnb, const TunePlan &plan) {
    Json result{{"schema", "ds3000.tune/1"}};
    if (target.row) {
        result["table"] = target.table->name;
        result["row"] = target.row->place.row;
        if (!target.row->name.empty()) {
            result["name"] = target.row->name;
        }
    }
    result.update(json_of(target.transponder));
    result["lnb"] = json_of(lnb);
    result["plan"] = json_of(plan);
    return result;
}

std::string yes_no(bool value) { return value ? "yes" : "no"; }

void write_plan_text(Output &output, const Target &target, const Lnb &lnb, const TunePlan &plan) {
    const auto line = [&output](const char *what, const std::string &value) {
        output.line(fmt::format("{:<20} {}", what, value));
    };
    line("transponder", headline(target.transponder));
    line("LNB", lnb.name);
    line("oscillator", format_mhz(plan.lof_khz));
    line("IF", format_mhz(plan.if_khz));
    line("IF really tuned", fmt::format("{} MHz", plan.tuned_if_mhz));
    line("left to find", fmt::format("{} kHz", plan.residual_khz));
    line("spectrum inverted", yes_no(plan.inverted));
    line("LNB supply", plan.voltage_18v ? "18 V" : "13 V");
    line("22 kHz tone", plan.tone ? "on" : "off");
    line("switch bytes", plan.switch_message ? switch_bytes(plan) : "none");
}

void write_csv(Output &output, const Json &result) {
    std::vector<std::string> names;
    std::vector<std::string> values;
    for (const auto &[name, value] : result.items()) {
        if (value.is_structured() || name == "schema") {
            continue;
        }
        names.push_back(name);
        values.push_back(value.is_string() ? value.get<std::string>() : value.dump());
    }
    output.csv_row(names);
    output.csv_row(values);
}

void write_result(Output &output, const Json &result, const Target &target, const Lnb &lnb,
                  const TunePlan &plan) {
    if (output.format() == Format::csv) {
        write_csv(output, result);
    } else if (output.format() != Format::text) {
        output.json(result);
    } else {
        const auto line = [&output](const char *what, const std::string &value) {
            output.line(fmt::format("{:<12} {}", what, value));
        };
        line("transponder", headline(target.transponder));
        line("path", summary(lnb, plan));
        const bool locked = result.at("locked").get<bool>();
        line("lock", locked ? fmt::format("yes, after {} ms", result.at("lock_ms").dump())
                            : fmt::format("no, after {} ms", result.at("waited_ms").dump()));
        if (locked) {
            line("quality", fmt::format("{} dB", result.at("quality_db").dump()));
        } else {
            line("reason", result.value("explanation", "the board cannot tell"));
        }
        line("strength", fmt::format("{} %", result.at("strength_percent").dump()));
    }
    output.finish();
}

void refuse_answer(TuneAnswer answer, const TunePlan &plan) {
    switch (answer) {
        case TuneAnswer::out_of_range:
            throw Failure(ExitStatus::outside_limits,
                          plan.refusal.value_or("the plug-in says that the frequency is out of "
                                                "range"));
        case TuneAnswer::refused:
            throw Failure(ExitStatus::outside_limits,
                          plan.refusal.value_or("the plug-in refuses the request"));
        case TuneAnswer::connect_failed:
            throw Failure(ExitStatus::hardware_absent,
                          "the demodulator could not be set up for this channel");
        default:
            return;
    }
}

// A simulated world knows why; a real one does not say.
void explain_no_lock(HostBoard &board, Json &result) {
    if (SimulatedBoard *simulated = board.simulated()) {
        const sim::Verdict verdict = simulated->receiver().verdict();
        result["reason"] = sim::to_string(verdict.reason);
        result["explanation"] = verdict.text;
    }
}

void point_dish(Rig &rig, const Program &program, const Target &target) {
    SimulatedBoard *simulated = rig.board().simulated();
    if (target.table) {
        rig.point_at(target.table->satellite(), program.options.switch_port);
    } else if (simulated != nullptr && simulated->is_demo()) {
        rig.point_at(demo_satellite(), program.options.switch_port);
    }
}

ExitStatus tune_channel(Program &program, const TuneOptions &options, const Target &target) {
    Output output(program.options.format, program.options.output);
    Rig rig(program);
    const LnbSource lnbs(program, rig.board().fitted_lnb(), {target.transponder});
    const Lnb &lnb = lnbs.for_transponder(target.transponder);
    const tune_request request = request_for(target.transponder, lnb, program.options.switch_port);
    const TunePlan plan = plan_tune(request);
    rig.fit_lnb(lnb);
    point_dish(rig, program, target);
    program.console.detail(fmt::format("{}: {}", headline(target.transponder), summary(lnb, plan)));

    return rig.run([&](Session &session) {
        refuse_answer(session.tune(request), plan);
        const auto timeout_ms = static_cast<std::uint64_t>(options.timeout_s * 1000.0);
        std::uint64_t waited_ms = 0;
        const auto lock_ms = session.wait_for_lock({[&](std::uint64_t elapsed_ms) {
                                                        waited_ms = elapsed_ms;
                                                        return elapsed_ms >= timeout_ms ||
                                                               program.interrupt.requested();
                                                    },
                                                    nullptr});
        Json result = begin_result(target, lnb, plan);
        session.settle();
        const Signal signal = session.signal();
        result["locked"] = lock_ms.has_value();
        if (lock_ms) {
            result["lock_ms"] = *lock_ms;
            result["quality_db"] = signal.quality_db;
        } else {
            result["waited_ms"] = waited_ms;
            explain_no_lock(rig.board(), result);
        }
        result["strength_percent"] = signal.strength_percent;
        write_result(output, result, target, lnb, plan);
        if (lock_ms) {
            return ExitStatus::done;
        }
        return program.interrupt.requested() ? ExitStatus::cancelled : ExitStatus::no_lock;
    });
}

ExitStatus show_plan(Program &program, const Target &target) {
    program.honour_only("tune --show-plan", {"board", "lnb", "switch"});
    Output output(program.options.format, program.options.output);
    const LnbSource lnbs(program, scenario_lnb(program.board_options()), {target.transponder});
    const Lnb &lnb = lnbs.for_transponder(target.transponder);
    const TunePlan plan =
        plan_tune(request_for(target.transponder, lnb, program.options.switch_port));
    Json result = begin_result(target, lnb, plan);
    result["schema"] = "ds3000.plan/1";
    result["accepted"] = !plan.refusal;
    if (output.format() == Format::text) {
        write_plan_text(output, target, lnb, plan);
    } else if (output.format() == Format::csv) {
        Json flat = json_of(target.transponder);
        flat["lnb"] = lnb.name;
        flat.update(json_of(plan));
        write_csv(output, flat);
    } else {
        output.json(result);
    }
    output.finish();
    if (plan.refusal) {
        throw Failure(ExitStatus::outside_limits, *plan.refusal);
    }
    return ExitStatus::done;
}

ExitStatus run_tune(Program &program, const TuneOptions &options) {
    if (options.keep_lnb_power) {
        usage(
            "--keep-lnb-power cannot be honoured: the plug-in switches the LNB supply off when it "
            "is finalized, and a receiver that skips that leaves the chips running");
    }
    if (options.show_plan && options.timeout_given) {
        usage("tune --show-plan has no use for --timeout; leave it out");
    }
    const Target target =
        options.table ? target_in_table(options) : target_by_numbers(options, program.console);
    return options.show_plan ? show_plan(program, target) : tune_channel(program, options, target);
}

}  // namespace

void add_tune(CLI::App &app, Job &job) {
    CLI::App *tune = app.add_subcommand(
        "tune", "Tune to one transponder, by numbers or by a table's row, and report the lock");
    const auto options = std::make_shared<TuneOptions>();
    tune->add_option("TABLE", options->table, "a table's file, or its name if it is installed");
    tune->add_option("ROW", options->selector,
                     "the row's name, number, or frequency and polarisation (11494H)");
    tune->add_option("--frequency", options->frequency,
                     "downlink: 10964.25M, 10.96425G, 10964250k; bare below 100000 MHz, else kHz");
    tune->add_option("--polarisation", options->polarisation, "H, V, L or R");
    tune->add_option("--symbol-rate", options->symbol_rate, "22000k, 22M; bare numbers are sym/s");
    tune->add_option("--system", options->system, "dvbs or dvbs2");
    CLI::Option *timeout =
        tune->add_option("--timeout", options->timeout_s, "seconds to wait for lock")
            ->check(CLI::Range(0.05, 86400.0))
            ->capture_default_str();
    tune->add_flag("--show-plan", options->show_plan,
                   "only print what would be tuned, supplied and sent to the switch");
    tune->add_flag(
        "--keep-lnb-power", options->keep_lnb_power,
        "leave the LNB supply on at exit; refused with a plug-in, which switches it off");
    tune->callback([&job, options, timeout] {
        options->timeout_given = timeout->count() > 0;
        job = [options](Program &program) { return run_tune(program, *options); };
    });
}

}  // namespace host
