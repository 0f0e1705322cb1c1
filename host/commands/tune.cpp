// SPDX-License-Identifier: MIT
#include "host/commands/tune.h"

#include <fmt/format.h>

#include "host/cable/describe.h"
#include "host/cable/frequency.h"
#include "host/commands/no_lock.h"
#include "host/session/rig.h"
#include "host/tables/catalogue.h"
#include "host/terminal/presentation.h"

namespace host {

namespace {

// The result as it grows: what was asked for, what became of it.
Json begin_result(const Target &target, const broadcast::Lnb &lnb, const TunePlan &plan) {
    Json result{{"schema", "ds3000.tune/1"}};
    result.update(json_of(target));
    result["lnb"] = json_of(lnb);
    result["plan"] = json_of(plan);
    return result;
}

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

void write_text(Output &output, const Json &result, const Target &target, const broadcast::Lnb &lnb,
                const TunePlan &plan) {
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
    if (result.contains("strength_percent")) {
        line("strength", fmt::format("{} %", result.at("strength_percent").dump()));
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

void point_dish(Rig &rig, const Program &program, const Target &target) {
    SimulatedBoard *simulated = rig.board().simulated();
    if (target.table) {
        rig.point_at(satellite_of(target), program.options.switch_port);
    } else if (simulated != nullptr && simulated->is_demo()) {
        rig.point_at(demo_satellite(), program.options.switch_port);
    }
}

// What was received, or why nothing was.
void add_reception(Json &result, Session &session, std::optional<std::uint64_t> lock_ms,
                   std::uint64_t waited_ms, Rig &rig) {
    Session::settle([&rig] { return rig.must_end(); });
    rig.look();
    const Signal signal = session.signal();
    const bool locked = lock_ms && !rig.loss();
    result["locked"] = locked;
    if (locked) {
        result["lock_ms"] = *lock_ms;
        result["quality_db"] = signal.quality_db;
    } else {
        result["waited_ms"] = waited_ms;
        result.update(json_of(explain_no_lock(rig.board())));
    }
    if (!rig.loss()) {
        result["strength_percent"] = signal.strength_percent;
    }
}

void show_wait(Console &console, std::uint64_t elapsed_ms, std::uint64_t timeout_ms) {
    if (console.shows_progress()) {
        console.progress(fmt::format("no lock yet, {:.1f} of {:.1f} s",
                                     static_cast<double>(elapsed_ms) / 1e3,
                                     static_cast<double>(timeout_ms) / 1e3));
    }
}

ExitStatus tune_channel(Program &program, const TuneOptions &options, const Target &target) {
    Output output(program.options.format, program.options.output);
    Rig rig(program.rig_options(), program.console);
    const LnbSource lnbs(program.chosen_lnb(), rig.board().fitted_lnb(), {target.transponder});
    const broadcast::Lnb &lnb = lnbs.for_transponder(target.transponder);
    const tune_request request = request_for(target.transponder, lnb, program.options.switch_port);
    const TunePlan plan = plan_tune(request);
    rig.fit_lnb(lnb);
    point_dish(rig, program, target);
    program.console.detail(fmt::format("{}: {}", headline(target.transponder), summary(lnb, plan)));

    return rig.run([&](Session &session) {
        refuse_answer(session.tune(request), plan);
        const auto timeout_ms = static_cast<std::uint64_t>(options.timeout_s * 1000.0);
        std::uint64_t waited_ms = 0;
        const auto lock_ms =
            session.wait_for_lock({[&](std::uint64_t elapsed_ms) {
                                       waited_ms = elapsed_ms;
                                       show_wait(program.console, elapsed_ms, timeout_ms);
                                       return elapsed_ms >= timeout_ms || rig.must_end_by_look();
                                   },
                                   nullptr});
        program.console.progress("");
        Json result = begin_result(target, lnb, plan);
        add_reception(result, session, lock_ms, waited_ms, rig);
        present(output, {.text = [&](Output &text) { write_text(text, result, target, lnb, plan); },
                         .json = [&result] { return result; }});
        if (lock_ms) {
            return ExitStatus::done;
        }
        return program.interrupt.requested() ? ExitStatus::cancelled : ExitStatus::no_lock;
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
    Json result = begin_result(target, lnb, plan);
    result["schema"] = "ds3000.plan/1";
    result["accepted"] = !plan.refusal;
    present(output, {.text = [&](Output &text) { write_plan_text(text, target, lnb, plan); },
                     .json = [&result] { return result; },
                     .sheet = [&] { return plan_sheet(target, lnb, plan); }});
    if (plan.refusal) {
        throw Failure(ExitStatus::outside_limits, *plan.refusal);
    }
    return ExitStatus::done;
}

}  // namespace

ExitStatus run_tune(Program &program, const TuneOptions &options) {
    if (options.keep_lnb_power) {
        refuse_usage(
            "--keep-lnb-power cannot be honoured: the plug-in switches the LNB supply off when it "
            "is finalized, and a receiver that skips that leaves the chips running");
    }
    if (options.show_plan && options.timeout_given) {
        refuse_usage("tune --show-plan has no use for --timeout; leave it out");
    }
    const Target target = find_target("tune", options.target, program.console);
    const GlobalOptions global = at_port_of(target, program.options);
    Program at_port = program.with(global);
    return options.show_plan ? show_plan(at_port, target) : tune_channel(at_port, options, target);
}

}  // namespace host
