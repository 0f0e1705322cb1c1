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
    write_fact(output, "transponder", headline(target));
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

Json result_of(const Target &target, const TuneWay &way, Via via, Reception &reception,
               Workbench &rig) {
    Json result = tagged("ds3000.tune/1", json_of(target, way.lnb, way.plan));
    add_reception(result, reception, rig);
    result["via"] = via == Via::chip ? "chip" : "plugin";
    return result;
}

// Of things that outlive it.
Presentation presentation_of(const Json &result, const Target &target, const TuneWay &way,
                             const Reception &reception) {
    return {.text = [&](Output &text) { write_text(text, result, target, way, reception); },
            .json = [&result] { return result; },
            .sheet =
                [&result] {
                    Json flat = result;
                    flat.erase("complaints");
                    spread(flat, "signal");
                    return sheet_of(flat);
                }};
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
    if (program.interrupt.requested()) {
        return ExitStatus::cancelled;
    }
    if (reception.lock_ms && !reception.is_usable()) {
        say_without_data(program.console, reception);
    }
    return reception.is_usable() ? ExitStatus::done : ExitStatus::no_lock;
}

// What the world has to say of a tune that the plug-in did.
void judge(Judge &judge, Session &session, Reception &reception) {
    judge.hear_lock([&session] { return session.locked(); });
    if (reception.reading.locked) {
        judge.hear_published(session.signal());
    }
    reception.without_data = judge.without_data();
}

ExitStatus tune_with_plugin(Program &program, const TuneOptions &options, const Target &target) {
    program.refuse_firmware("tune --via plugin");
    Output output(program.options.format, program.options.output);
    Rig rig(program.rig_options(), program.console);
    const TuneWay way = prepare_way(rig, program, target, options.cable);
    return rig.run([&](Session &session) {
        const TuneAnswer answer = session.tune(way.request);
        rig.judge().hear_answer(way.request, answer != TuneAnswer::out_of_range);
        refuse_answer(answer, way.plan);
        rig.judge().see_cable(way.request);
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
        if (!rig.must_end()) {
            reception.reading = PublishedReception(session).read();
            judge(rig.judge(), session, reception);
        }
        const Json result = result_of(target, way, Via::plugin, reception, rig);
        present(output, presentation_of(result, target, way, reception));
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

Reception receive_with_chips(ChipSession &session, ChipReceptionReader &reader, const TuneWay &way,
                             const TuneOptions &options, ChipRig &rig, Console &console) {
    tune_directly(session, way.plan);
    rig.judge().see_cable(way.request);
    Reception reception = reader.await_lock(patience_of(options, rig, console));
    console.progress("");
    rig.look();
    if (rig.must_end()) {
        reception.reading = {};  // the last transfers may have been cut short
    } else {
        rig.judge().hear(reception.reading);
        if (!reception.reading.locked && way.plan.standard != STANDARD_AUTO) {
            rig.judge().hear_search(reader.search_is_over());
        }
        reception.without_data = rig.judge().without_data();
    }
    session.take_lines();
    return reception;
}

// Show what became of a tune, stay on it and show that: in JSON as one, else as it comes.
ExitStatus show_and_watch(const Program &program, ChipRig &rig, ChipSession &session,
                          ChipReceptionReader &reader, const WatchedChannel &channel,
                          const WatchOptions &options, Output &output, const Presentation &tune) {
    if (output.format() == Format::text) {
        tune.text(output);
    } else if (output.format() == Format::jsonl) {
        output.json(tune.json());
    }
    output.flush();
    MonitorWriter writer(output);
    const MonitorReport report =
        watch_channel(program, rig, session, reader, channel, options, writer);
    if (output.format() == Format::json) {
        Json whole = tune.json();
        whole["watch"] = writer.whole(report);
        output.json(whole);
        output.finish();
    } else {
        writer.finish(report);
    }
    return status_of(report);
}

ExitStatus tune_in(Program &program, const TuneOptions &options, const Target &target,
                   const TuneWay &way, ChipRig &rig, Output &output, ChipSession &session) {
    ChipReceptionReader reader(way.plan);
    Reception reception = receive_with_chips(session, reader, way, options, rig, program.console);
    const Json result = result_of(target, way, Via::chip, reception, rig);
    const Presentation tune = presentation_of(result, target, way, reception);
    ExitStatus status = status_of(reception, program);
    if (options.watch && reception.lock_ms && !rig.must_end()) {
        // In JSON it stands within the tune, which says what it is about.
        const bool stands_alone = output.format() != Format::json;
        status = show_and_watch(
            program, rig, session, reader,
            {.title = title_of(target),
             .about = stands_alone ? json_of(target, way.lnb, way.plan) : Json::object(),
             .set_up = [&] { tune_directly(session, way.plan); },
             .lnb = way.lnb},
            options.watching, output, tune);
    } else {
        present(output, tune);
    }
    if (options.keep_lnb_power && !rig.must_end()) {
        session.leave_running();
        rig.judge().leave_running();
        program.console.note("The LNB stays supplied and the chips stay tuned");
    }
    return program.interrupt.requested() ? ExitStatus::cancelled : status;
}

ExitStatus tune_with_chips(Program &program, const TuneOptions &options, const Target &target) {
    program.honour_on_chips("tune --via chip", {"lnb", "switch"});
    const RigOptions set_up =
        options.watch ? rig_options_for_watch(program, options.watching) : program.rig_options();
    Output output(program.options.format, program.options.output);
    ChipRig rig(set_up, program.console);
    if (options.keep_lnb_power) {
        refuse_to_keep_supply(rig.board());
    }
    const TuneWay way = prepare_way(rig, program, target, options.cable);
    if (way.plan.refusal) {
        throw Failure(ExitStatus::outside_limits, *way.plan.refusal);
    }
    return rig.run([&](ChipSession &session) {
        return tune_in(program, options, target, way, rig, output, session);
    });
}

Sheet plan_sheet(const Target &target, const broadcast::Lnb &lnb, const TunePlan &plan) {
    Json flat = json_of(target.transponder);
    flat["lnb"] = lnb.name;
    flat.update(json_of(plan));
    return sheet_of(flat);
}

ExitStatus show_plan(Program &program, const Target &target, const CableChoice &choice) {
    program.honour_only("tune --show-plan", {"board", "lnb", "switch"});
    Output output(program.options.format, program.options.output);
    const LnbSource lnbs(program.chosen_lnb(), scenario_lnb(program.board_options()),
                         {target.transponder});
    const broadcast::Lnb &lnb = lnbs.for_transponder(target.transponder);
    tune_request request = request_for(target.transponder, lnb, program.options.switch_port);
    choose(request, choice);
    const TunePlan plan = plan_tune(request);
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
    const bool needs_chip = options.keep_lnb_power || options.watch;
    return options.via.value_or(needs_chip ? Via::chip : Via::plugin);
}

void refuse_any_system(const TuneOptions &options) {
    if (options.show_plan || via_of(options) == Via::plugin) {
        refuse_usage(fmt::format(
            "--system auto cannot be honoured: {} names one of dvbs and dvbs2; --via chip can",
            options.show_plan ? "a plan" : "a request to the plug-in"));
    }
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
    refuse_with_plan(options.watch, "--watch");
    if (options.watch && via_of(options) == Via::plugin) {
        refuse_usage(
            "--watch cannot be honoured: the plug-in tells neither margin nor carrier nor errors, "
            "and takes the same channel again for nothing new; --via chip can");
    }
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
    if (options.watch && program.options.format == Format::csv) {
        refuse_usage(
            "tune --watch has rows of two kinds; use --format text, json or jsonl, or monitor");
    }
    const Target target = find_target_of_any_system("tune", options.target, program.console);
    if (target.any_system) {
        refuse_any_system(options);
    }
    const GlobalOptions global = at_port_of(target, program.options);
    Program at_port = program.with(global);
    if (options.show_plan) {
        return show_plan(at_port, target, options.cable);
    }
    return via_of(options) == Via::chip ? tune_with_chips(at_port, options, target)
                                        : tune_with_plugin(at_port, options, target);
}

}  // namespace host
