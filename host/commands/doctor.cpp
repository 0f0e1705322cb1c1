// SPDX-License-Identifier: MIT
#include "host/commands/doctor.h"

#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <optional>

#include "host/cable/describe.h"
#include "host/cable/user_band.h"
#include "host/commands/doctor_output.h"
#include "host/doctor/bus_examination.h"
#include "host/doctor/chip_examination.h"
#include "host/doctor/findings.h"
#include "host/doctor/reception_examination.h"
#include "host/session/rig.h"
#include "host/tables/catalogue.h"

namespace host {

namespace {

WaitingTimes times_of(const DoctorOptions &options) {
    const auto ms = [](double seconds) { return static_cast<std::uint64_t>(seconds * 1000.0); };
    return {ms(options.timeout_s), ms(options.watch_s), ms(options.standby_s)};
}

std::optional<Target> named_target(const DoctorOptions &options, Console &console) {
    return names_a_target(options.target)
               ? std::optional(find_target("doctor", options.target, console))
               : std::nullopt;
}

// The dish looks where the transponder is, in the world that is ours to arrange.
void arrange_world(ChipRig &rig, const Program &program, const std::optional<Target> &target,
                   const Aim &aim) {
    rig.fit_lnb(aim.lnb);
    const SimulatedBoard *simulated = rig.board().simulated();
    if (target && target->table) {
        rig.point_at(satellite_of(*target), program.options.switch_port);
    } else if (simulated != nullptr && simulated->is_demo()) {
        rig.point_at(demo_satellite(), program.options.switch_port);
    }
}

std::optional<Aim> aim_of(ChipRig &rig, const Program &program, const DoctorOptions &options,
                          const std::optional<Target> &target) {
    const auto transponder =
        target ? std::optional(target->transponder) : rig.board().usual_transponder();
    if (!transponder) {
        return std::nullopt;
    }
    const LnbSource lnbs(program.chosen_lnb(), rig.board().fitted_lnb(), {*transponder});
    Aim aim{*transponder, lnbs.for_transponder(*transponder), {}, {}};
    aim.plan = plan_tune(request_for(aim.transponder, aim.lnb, program.options.switch_port));
    if (aim.plan.refusal) {
        throw Failure(ExitStatus::outside_limits, *aim.plan.refusal);
    }
    if (options.user_band) {
        aim.user_band = parse_user_band(*options.user_band);
    }
    return aim;
}

Json about(HostBoard &board, const std::optional<Aim> &aim) {
    Json json{{"board", board.describe()}};
    if (aim) {
        json["target"] = json_of(aim->transponder);
        json["lnb"] = json_of(aim->lnb);
        json["plan"] = json_of(aim->plan);
    }
    return json;
}

void examine_session(ChipRig &rig, const Program &program, const DoctorOptions &options,
                     const std::optional<Aim> &aim, Findings &findings, ChipSession &session) {
    findings.end_by({[&program] { return program.interrupt.requested(); }, [&rig] { rig.look(); },
                     [&rig] { return rig.loss(); }});
    examine_chips(findings, rig.board().has_simulated_chips());
    if (!aim) {
        findings.skip("lock", "no transponder is named; name one to have its reception examined");
        return;
    }
    TrialReception reception(session, rig.judge(), *aim,
                             {.by_look = [&rig] { return rig.must_end_by_look(); },
                              .without = [&rig] { return rig.must_end(); }});
    examine_reception(findings, reception, times_of(options));
}

// Start the chips and go on from there. Returns the exit status of what was found, the driver's
// doing included, or nothing where they could not be started.
std::optional<ExitStatus> examine_running_chips(ChipRig &rig, const Program &program,
                                                const DoctorOptions &options,
                                                const std::optional<Aim> &aim, Findings &findings) {
    try {
        return rig.run([&](ChipSession &session) {
            examine_session(rig, program, options, aim, findings, session);
            return findings.status();
        });
    } catch (const Failure &failure) {
        if (failure.status() != ExitStatus::hardware_absent) {
            throw;
        }
        findings.add(finding_of(cause_at("start", "start_failed"), failure.what()));
        return std::nullopt;
    }
}

// There was no session whose end would have ended trace and log.
void end(ChipRig &rig) {
    rig.board().finish();
    rig.log().finish();
}

// The bus, and where there is a demodulator on it, the rest. Returns the exit status of a session.
std::optional<ExitStatus> examine(ChipRig &rig, const Program &program,
                                  const DoctorOptions &options, const std::optional<Aim> &aim,
                                  Findings &findings) {
    std::optional<ExitStatus> status;
    if (examine_bus(findings, rig.log())) {
        status = examine_running_chips(rig, program, options, aim, findings);
    } else {
        findings.skip("start", findings.cancelled()
                                   ? "cancelled"
                                   : "there is no demodulator that the driver could start");
    }
    if (!status) {
        end(rig);
    }
    return status;
}

// A board that cannot be opened is the first thing that a doctor may find.
std::unique_ptr<ChipRig> open_rig(const Program &program, Findings &findings) {
    try {
        auto rig = std::make_unique<ChipRig>(program.rig_options(), program.console);
        findings.add({.step = "board", .measured = program.options.board + " is open"});
        return rig;
    } catch (const Failure &failure) {
        if (failure.status() != ExitStatus::not_loadable) {
            throw;
        }
        findings.add(finding_of(cause_at("board", "board_not_open"), failure.what()));
        return nullptr;
    }
}

void show_step(Console &console, Step step) {
    const auto *const row =
        std::find_if(step_rows.begin(), step_rows.end(),
                     [step](const StepRow &known) { return known.name == step.name(); });
    console.progress(fmt::format("{}, step {} of {}", step.name(), row - step_rows.begin() + 1,
                                 step_rows.size()));
}

}  // namespace

ExitStatus run_doctor(Program &program, const DoctorOptions &options) {
    program.honour_on_chips("doctor", {"lnb", "switch"});
    if (options.user_band && program.options.switch_port != 0) {
        refuse_usage(
            "--user-band and --switch exclude each other: a Unicable unit stands in the switch's "
            "place");
    }
    const auto target = named_target(options, program.console);
    const GlobalOptions global =
        target && !options.user_band ? at_port_of(*target, program.options) : program.options;
    Program at_port = program.with(global);
    Output output(program.options.format, program.options.output);
    ExaminationWriter writer(output);
    Findings findings(
        [&](const Finding &finding) {
            program.console.progress("");
            writer.write(finding);
        },
        [&program](Step step) { show_step(program.console, step); });
    const auto rig = open_rig(at_port, findings);
    if (!rig) {
        writer.finish(findings, {{"board", {{"uri", program.options.board}}}});
        return findings.status();
    }
    const auto aim = aim_of(*rig, at_port, options, target);
    if (aim) {
        arrange_world(*rig, at_port, target, *aim);
    }
    findings.end_by({.stopped = [&program] { return program.interrupt.requested(); },
                     .loss = [&rig] { return rig->loss(); }});
    const auto status = examine(*rig, at_port, options, aim, findings);
    Json facts = about(rig->board(), aim);
    add_complaints(facts, rig->complaints());
    writer.finish(findings, facts);
    return findings.cancelled() ? ExitStatus::cancelled : status.value_or(findings.status());
}

}  // namespace host
