// SPDX-License-Identifier: MIT
#include "host/commands/cycle.h"

#include <fmt/format.h>

#include <algorithm>

#include "host/commands/cycle_output.h"
#include "host/commands/cycle_run.h"
#include "host/commands/tune_way.h"

namespace host {

namespace {

std::optional<Target> cycled_target(const CycleOptions &options, Console &console) {
    return names_a_target(options.target)
               ? std::optional(find_target("cycle", options.target, console))
               : std::nullopt;
}

Target usual_target(HostBoard &board) {
    const auto transponder = board.usual_transponder();
    if (!transponder) {
        refuse_usage("cycle: name a transponder; this board knows none");
    }
    return {*transponder, {}, {}};
}

CyclePlan plan_of(const CycleOptions &options) {
    const auto ms = [](double seconds) { return static_cast<std::uint64_t>(seconds * 1000.0); };
    return {options.standbys, ms(options.timeout_s), ms(options.pause_s)};
}

ExitStatus status_of(const std::vector<CycleStep> &steps, const Program &program) {
    if (program.interrupt.requested()) {
        return ExitStatus::cancelled;
    }
    const auto bad = std::find_if_not(steps.begin(), steps.end(),
                                      [](const CycleStep &step) { return step.went_well(); });
    if (bad == steps.end()) {
        return ExitStatus::done;
    }
    program.console.error(fmt::format("{} of Tuner {}: {}", bad->what, bad->tuner, bad->problem));
    if (!bad->found_chips) {
        return ExitStatus::hardware_absent;
    }
    return bad->what == "tune" ? ExitStatus::no_lock : ExitStatus::internal_error;
}

}  // namespace

ExitStatus run_cycle(Program &program, const CycleOptions &options) {
    program.refuse_firmware("cycle");
    const auto named = cycled_target(options, program.console);
    const GlobalOptions global = named ? at_port_of(*named, program.options) : program.options;
    const Program at_port = program.with(global);
    Output output(program.options.format, program.options.output);
    Rig rig(at_port.rig_options(), program.console);
    const Target target = named ? *named : usual_target(rig.board());
    const TuneWay way = prepare_way(rig, at_port, target);
    if (way.plan.refusal) {
        throw Failure(ExitStatus::outside_limits, *way.plan.refusal);
    }
    return rig.lend([&] {
        CycleWriter writer(output);
        CycleRun cycle(rig, way, plan_of(options),
                       [&writer](const CycleStep &step) { writer.write(step); });
        cycle.run();
        writer.finish({json_of(target, way.lnb, way.plan), cycle.steps(), rig.cut_short_by(),
                       rig.complaints()});
        return status_of(cycle.steps(), program);
    });
}

}  // namespace host
