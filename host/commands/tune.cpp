// SPDX-License-Identifier: MIT
#include "host/commands/tune.h"

#include <fmt/format.h>

#include <functional>

#include "host/cable/describe.h"
#include "host/cable/frequency.h"
#include "host/commands/reception_output.h"
#include "host/commands/tune_way.h"
#include "host/session/channel.h"
#include "host/terminal/presentation.h"

namespace host {

namespace {

std::string yes_no(bool value) { return value ? "yes" : "no"; }

void write_plan_text(Output &output, const Target &target, const broadcast::Lnb &lnb,
                     const TunePlan &plan) {
    const auto line = [&output](const char *what, const std::string &value) {
        output.line(fmt::format("{:<20} {}", what, value));
    };
    line("transponder", headline(target.transponder));
    line("LNB", lnb.name);
    line("oscillator", format_mhz(plan.lof_khz));
    line("IF", format_mhz(plan.if_khz));
    line("IF really tuned", fmt::format("{} MHz", plan.freq_mhz));
    line("left to find", fmt::format("{} kHz", plan.residual_khz));
    line("spectrum inverted", yes_no(plan.inverted));
    line("LNB supply", fmt::format("{} V", volts_of(plan)));
    line("22 kHz tone", plan.hiband != 0 ? "on" : "off");
    line("switch bytes", plan.switch_pos != 0 ? switch_bytes(plan) : "none");
}

void write_text(Output &output, const Json &result, const Target &target, const TuneWay &way,
                const Reception &reception) {
    write_fact(output, "transponder", headline(target.transponder));
    write_fact(output, "path", summary(way.lnb, way.plan));
    write_reception(output, result, reception);
    if (result.at("locked").get<bool>() && result.at("via") == "plugin") {
        write_fact(output, "margin", "the plug-in does not tell; --via chip measures it");
    }
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

void show_reception(Output &output, const Target &target, const TuneWay &way, Via via,
                    Reception &reception, Workbench &rig) {
    Json result = tagged("ds3000.tune/1", json_of(target, way.lnb, way.plan));
    add_reception(result, reception, rig);
    result["via"] = via == Via::chip ? "chip" : "plugin";
    present(output,
            {.text = [&](Output &text) { write_text(text, result, target, way, reception); },
             .json = [&result] { return result; },
             .sheet =
                 [&result] {
                     Json flat = result;
                     spread(flat, "signal");
                     return sheet_of(flat);
                 }});
}

// When to give up waiting for lock. It shows how long has been waited.
std::function<bool(std::uint64_t)> patience_of(const TuneOptions &options, Workbench &rig,
                                               Console &console) {
    const auto timeout_ms = static_cast<std::uint64_t>(options.timeout_s * 1000.0);
    return [&options, &rig, &console, timeout_ms](std::uint64_t elapsed_ms) {
        if (console.shows_progress()) {
            console.progress(fmt::format("no lock yet, {:.1f} of {:.1f} s",
                                         static_cast<double>(elapsed_ms) / 1e3, options.timeout_s));
        }
        return elapsed_ms >= timeout_ms || rig.must_end_by_look();
    };
}

ExitStatus status_of(const Reception &reception, const Program &program) {
    if (reception.lock_ms) {
        return ExitStatus::done;
    }
    return program.interrupt.requested() ? ExitStatus::cancelled : ExitStatus::no_lock;
}

ExitStatus tune_with_plugin(Program &program, const TuneOptions &options, const Target &target) {
    Output output(program.options.format, program.options.output);
    Rig rig(program.rig_options(), program.console);
    const TuneWay way = prepare_way(rig, program, target);
    return rig.run([&](Session &session) {
        refuse_answer(session.tune(way.request), way.plan);
        Reception reception;
        const auto gives_up = patience_of(options, rig, program.console);
        reception.lock_ms = session.wait_for_lock({[&](std::uint64_t elapsed_ms) {
                                                       reception.waited_ms = elapsed_ms;
                                                       return gives_up(elapsed_ms);
                                                   },
                                                   nullptr});
        program.console.progress("");
        Session::settle([&rig] { return rig.must_end(); });
        rig.look();
        reception.reading = PublishedReception(session).read();
        show_reception(output, target, way, Via::plugin, reception, rig);
        return status_of(reception, program);
    });
}

void refuse_to_keep_supply(HostBoard &board) {
    if (!board.supply_outlives_program()) {
        throw Failure(ExitStatus::usage,
                      "--keep-lnb-power cannot be honoured on this board: its GPIO lines go back "
                      "to the kernel when the program ends, and the LNB supply with them");
    }
}

Reception receive_with_chips(ChipSession &session, const TuneWay &way, const TuneOptions &options,
                             ChipRig &rig, Console &console) {
    tune_directly(session, way.plan);
    Reception reception =
        ChipReceptionReader(way.plan).await_lock(patience_of(options, rig, console));
    console.progress("");
    rig.look();
    if (rig.must_end()) {
        reception.reading = {};  // the last transfers may have been cut short
    }
    session.take_lines();
    return reception;
}

ExitStatus tune_with_chips(Program &program, const TuneOptions &options, const Target &target) {
    program.honour_only("tune --via chip",
                        {"board", "lnb", "switch", "real-time", "trace", "driver-log"});
    Output output(program.options.format, program.options.output);
    ChipRig rig(program.rig_options(), program.console);
    if (options.keep_lnb_power) {
        refuse_to_keep_supply(rig.board());
    }
    const TuneWay way = prepare_way(rig, program, target);
    if (way.plan.refusal) {
        throw Failure(ExitStatus::outside_limits, *way.plan.refusal);
    }
    return rig.run([&](ChipSession &session) {
        Reception reception = receive_with_chips(session, way, options, rig, program.console);
        show_reception(output, target, way, Via::chip, reception, rig);
        if (options.keep_lnb_power && !rig.must_end()) {
            session.leave_running();
            program.console.note("The LNB stays supplied and the chips stay tuned");
        }
        return program.interrupt.requested() ? ExitStatus::cancelled
                                             : status_of(reception, program);
    });
}

Sheet plan_sheet(const Target &target, const broadcast::Lnb &lnb, const TunePlan &plan) {
    Json flat = json_of(target.transponder);
    flat["lnb"] = lnb.name;
    flat.update(json_of(plan));
    return sheet_of(flat);
}

ExitStatus show_plan(Program &program, const Target &target) {
    program.honour_only("tune --show-plan", {"board", "lnb", "switch"});
    Output output(program.options.format, program.options.output);
    const LnbSource lnbs(program.chosen_lnb(), scenario_lnb(program.board_options()),
                         {target.transponder});
    const broadcast::Lnb &lnb = lnbs.for_transponder(target.transponder);
    const TunePlan plan =
        plan_tune(request_for(target.transponder, lnb, program.options.switch_port));
    Json result = tagged("ds3000.plan/1", json_of(target, lnb, plan));
    result["accepted"] = !plan.refusal;
    present(output, {.text = [&](Output &text) { write_plan_text(text, target, lnb, plan); },
                     .json = [&result] { return result; },
                     .sheet = [&] { return plan_sheet(target, lnb, plan); }});
    if (plan.refusal) {
        throw Failure(ExitStatus::outside_limits, *plan.refusal);
    }
    return ExitStatus::done;
}

Via via_of(const TuneOptions &options) {
    return options.via.value_or(options.keep_lnb_power ? Via::chip : Via::plugin);
}

void check_options(const TuneOptions &options) {
    const auto refuse_with_plan = [&options](bool given, const char *option) {
        if (options.show_plan && given) {
            refuse_usage(fmt::format("tune --show-plan has no use for {}; leave it out", option));
        }
    };
    refuse_with_plan(options.timeout_given, "--timeout");
    refuse_with_plan(options.via.has_value(), "--via");
    refuse_with_plan(options.keep_lnb_power, "--keep-lnb-power");
    if (options.keep_lnb_power && via_of(options) == Via::plugin) {
        refuse_usage(
            "--keep-lnb-power cannot be honoured: the plug-in switches the LNB supply off when it "
            "is finalized, and a receiver that skips that leaves the chips running; --via chip "
            "can");
    }
}

}  // namespace

ExitStatus run_tune(Program &program, const TuneOptions &options) {
    check_options(options);
    const Target target = find_target("tune", options.target, program.console);
    const GlobalOptions global = at_port_of(target, program.options);
    Program at_port = program.with(global);
    if (options.show_plan) {
        return show_plan(at_port, target);
    }
    return via_of(options) == Via::chip ? tune_with_chips(at_port, options, target)
                                        : tune_with_plugin(at_port, options, target);
}

}  // namespace host
