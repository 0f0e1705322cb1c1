// SPDX-License-Identifier: MIT
#include "host/commands/monitor.h"

#include <algorithm>
#include <cmath>

#include "host/commands/tune_way.h"
#include "host/session/channel.h"
#include "host/session/pace.h"

namespace host {

namespace {

constexpr double usual_period_s = 1;

std::uint64_t ms_of(double seconds) {
    return static_cast<std::uint64_t>(std::llround(seconds * 1e3));
}

ExitStatus watch_to_its_end(ChipRig &rig, ChipSession &session, const TunePlan &plan,
                            const WatchedChannel &channel, const WatchOptions &options,
                            Output &output) {
    channel.set_up();
    ChipReceptionReader reader(plan);
    MonitorWriter writer(output);
    const MonitorReport report = watch_channel(rig, session, reader, channel, options, writer);
    writer.finish(report);
    return status_of(report);
}

ExitStatus monitor_directly(Program &program, const MonitorOptions &options) {
    program.honour_only("monitor", {"board", "lnb", "switch", "real-time", "trace", "driver-log"});
    const Target target = find_target("monitor", options.target, program.console);
    const GlobalOptions global = at_port_of(target, program.options);
    Program at_port = program.with(global);
    Output output(global.format, global.output);
    ChipRig rig(at_port.rig_options(), program.console);
    const TuneWay way = prepare_way(rig, at_port, target);
    if (way.plan.refusal) {
        throw Failure(ExitStatus::outside_limits, *way.plan.refusal);
    }
    return rig.run([&](ChipSession &session) {
        return watch_to_its_end(rig, session, way.plan,
                                {.about = json_of(target, way.lnb, way.plan),
                                 .set_up = [&] { tune_directly(session, way.plan); }},
                                options.watch, output);
    });
}

ExitStatus monitor_user_band(Program &program, const MonitorOptions &options) {
    program.honour_only("monitor --user-band",
                        {"board", "lnb", "real-time", "trace", "driver-log"});
    Target target = find_target("monitor", options.target, program.console);
    Output output(program.options.format, program.options.output);
    ChipRig rig(program.rig_options(), program.console);
    const UnicableWay way =
        plan_unicable_way(program, options.band, std::move(target), rig.board());
    arrange_world(rig, way);
    const ExitStatus status = rig.run([&](ChipSession &session) {
        const UserBand band = find_user_band(session, way, rig, program.console);
        const UserBandPlan channel = plan_user_band(band, way.tune, way.lnb, way.position);
        return watch_to_its_end(
            rig, session, way.tune,
            {.about = json_of(way, band, channel),
             .set_up = [&] { tune_through(session, band, channel.bank, way.tune); }},
            options.watch, output);
    });
    if (status == ExitStatus::no_lock && lacks_unit(rig.board())) {
        program.console.note(no_unit_advice);
    }
    return status;
}

}  // namespace

MonitorReport watch_channel(ChipRig &rig, ChipSession &session, ChipReceptionReader &reader,
                            const WatchedChannel &channel, const WatchOptions &options,
                            MonitorWriter &writer) {
    const std::uint64_t begin_ns = now_ns();
    MonitorReport report{.about = channel.about, .cut_short_by = {}, .lock = {}};
    report.lock = watch_reception(
        reader, {.every_ms = ms_of(options.every_s.value_or(usual_period_s)),
                 .for_ms = options.for_s ? std::optional(ms_of(*options.for_s)) : std::nullopt,
                 .set_up = channel.set_up,
                 .must_end = [&rig] { return rig.must_end_by_look(); },
                 .show =
                     [&](const MonitorReading &reading) {
                         session.take_lines();
                         writer.write(reading);
                     }});
    report.watched_ms = ms_since(begin_ns);
    report.cut_short_by = rig.cut_short_by();
    return report;
}

ExitStatus status_of(const MonitorReport &report) {
    if (!report.cut_short_by.empty()) {
        return ExitStatus::cancelled;
    }
    if (!report.lock.ever_locked()) {
        return ExitStatus::no_lock;
    }
    return report.lock.losses() == 0 ? ExitStatus::done : ExitStatus::lock_lost;
}

ExitStatus run_monitor(Program &program, const MonitorOptions &options) {
    return options.band.user_band.empty() ? monitor_directly(program, options)
                                          : monitor_user_band(program, options);
}

}  // namespace host
