// SPDX-License-Identifier: MIT
#include "host/commands/monitor.h"

#include <fmt/format.h>
#include <unistd.h>

#include <cmath>
#include <memory>
#include <utility>

#include "host/boards/replayed_board.h"
#include "host/cable/describe.h"
#include "host/commands/tune_way.h"
#include "host/doctor/reception_judgement.h"
#include "host/doctor/reception_words.h"
#include "host/monitor/meter_screen.h"
#include "host/session/channel.h"
#include "host/session/pace.h"

namespace host {

namespace {

constexpr double usual_period_s = 1;
constexpr double screen_period_s = 0.2;

std::uint64_t ms_of(double seconds) {
    return static_cast<std::uint64_t>(std::llround(seconds * 1e3));
}

// The meter and the terminal it is on; what is said meanwhile comes when it has gone.
struct OnScreen {
    OnScreen(Console &console, std::unique_ptr<Screen> opened, const std::string &title, bool tone)
        : hold(console), screen(std::move(opened)), meter(*screen, title, tone) {}

    // Null where there is none.
    static std::unique_ptr<OnScreen> where_wanted(const Program &program, const std::string &title,
                                                  const WatchOptions &options) {
        if (!takes_screen(program, options)) {
            return nullptr;
        }
        std::unique_ptr<Screen> screen = open_screen();
        if (!screen) {
            program.console.note("This terminal shows no full screen; a line a reading instead");
            return nullptr;
        }
        return std::make_unique<OnScreen>(program.console, std::move(screen), title, options.tone);
    }

    Console::Hold hold;
    std::unique_ptr<Screen> screen;
    MeterScreen meter;
};

// What a simulated world has to say of a reading.
void judge_reading(Judge &judge, const ReceptionReading &reading, MonitorReport &report) {
    judge.hear(reading);
    judge.expect_data();
    if (reading.locked && report.without_data.empty()) {
        report.without_data = judge.without_data();
    }
}

void say_what_lacked_data(Console &console, const MonitorReport &report) {
    if (!report.without_data.empty()) {
        console.error("locked without data: " + report.without_data);
    }
}

// Where the oscillators were seen to be, in the middle of what was seen.
void say_how_lnb_drifts(Console &console, const std::optional<broadcast::Lnb> &lnb,
                        const MonitorSummary &summary) {
    const Span<std::int32_t> &drift = summary.drift_khz;
    if (!lnb || drift.empty()) {
        return;
    }
    const std::int32_t farthest_khz = -drift.least() > drift.most() ? drift.least() : drift.most();
    if (const Cause *cause = cause_of(CarrierReading{.drift_khz = farthest_khz})) {
        const Finding finding =
            finding_of(*cause,
                       fmt::format("the LNB's oscillator was {:+} to {:+} kHz off", drift.least(),
                                   drift.most()),
                       oscillators_moved_by(*lnb, (drift.least() + drift.most()) / 2));
        console.note(fmt::format("{}. {}", finding.measured, finding.advice));
    }
}

ExitStatus watch_to_its_end(const Program &program, ChipRig &rig, ChipSession &session,
                            const TunePlan &plan, const WatchedChannel &channel,
                            const WatchOptions &options, Output &output) {
    channel.set_up();
    ChipReceptionReader reader(plan);
    MonitorWriter writer(output);
    const MonitorReport report =
        watch_channel(program, rig, session, reader, channel, options, writer);
    writer.finish(report);
    return status_of(report);
}

ExitStatus monitor_directly(Program &program, const MonitorOptions &options) {
    program.honour_on_chips("monitor", {"lnb", "switch"});
    const Target target = find_target("monitor", options.target, program.console);
    const GlobalOptions global = at_port_of(target, program.options);
    Program at_port = program.with(global);
    Output output(global.format, global.output);
    ChipRig rig(rig_options_for_watch(at_port, options.watch), program.console);
    const TuneWay way = prepare_way(rig, at_port, target);
    if (way.plan.refusal) {
        throw Failure(ExitStatus::outside_limits, *way.plan.refusal);
    }
    return rig.run([&](ChipSession &session) {
        return watch_to_its_end(program, rig, session, way.plan,
                                {.title = title_of(target),
                                 .about = json_of(target, way.lnb, way.plan),
                                 .set_up =
                                     [&] {
                                         tune_directly(session, way.plan);
                                         rig.judge().see_cable(way.request);
                                     },
                                 .lnb = way.lnb},
                                options.watch, output);
    });
}

ExitStatus monitor_user_band(Program &program, const MonitorOptions &options) {
    program.honour_on_chips("monitor --user-band", {"lnb"});
    Target target = find_target("monitor", options.target, program.console);
    Output output(program.options.format, program.options.output);
    ChipRig rig(rig_options_for_watch(program, options.watch), program.console);
    const UnicableWay way =
        plan_unicable_way(program, options.band, std::move(target), rig.board());
    arrange_world(rig, way);
    const ExitStatus status = rig.run([&](ChipSession &session) {
        const UserBand band = find_user_band(session, way, rig, program.console);
        const UserBandPlan channel = plan_user_band(band, way.tune, way.lnb, way.position);
        return watch_to_its_end(
            program, rig, session, way.tune,
            {.title = title_of(way.target),
             .about = json_of(way, band, channel),
             .set_up = [&] { tune_through(session, band, channel.bank, way.tune); }},
            options.watch, output);
    });
    if (status == ExitStatus::no_lock && lacks_unit(rig.board())) {
        program.console.note(no_unit_advice);
    }
    return status;
}

}  // namespace

bool takes_screen(const Program &program, const WatchOptions &options) {
    const bool takes = ::isatty(STDOUT_FILENO) != 0 && !program.options.output &&
                       !gives_global(program.given, "format");
    if (options.tone && !takes) {
        refuse_usage(
            "--tone rings a terminal's bell beside the screen that is drawn there; without "
            "--format "
            "and -o, and with standard output on a terminal, there is one");
    }
    return takes;
}

RigOptions rig_options_for_watch(const Program &program, const WatchOptions &options) {
    RigOptions set_up = program.rig_options();
    set_up.board.real_time = set_up.board.real_time || takes_screen(program, options);
    return set_up;
}

std::string title_of(const Target &target) {
    const std::string name = target.row ? target.row->name : "";
    return (name.empty() ? "" : name + "  ") + headline(target.transponder);
}

MonitorReport watch_channel(const Program &program, ChipRig &rig, ChipSession &session,
                            ChipReceptionReader &reader, const WatchedChannel &channel,
                            const WatchOptions &options, MonitorWriter &writer) {
    const std::uint64_t begin_ns = now_ns();
    MonitorReport report;
    report.about = channel.about;
    std::unique_ptr<OnScreen> on_screen = OnScreen::where_wanted(program, channel.title, options);
    const double usual_s = on_screen ? screen_period_s : usual_period_s;
    report.lock = watch_reception(
        reader,
        {.every_ms = ms_of(options.every_s.value_or(usual_s)),
         .for_ms = options.for_s ? std::optional(ms_of(*options.for_s)) : std::nullopt,
         .set_up = channel.set_up,
         .must_end =
             [&] { return rig.must_end_by_look() || (on_screen && on_screen->meter.ended()); },
         .show =
             [&](const MonitorReading &reading) {
                 session.take_lines();
                 judge_reading(rig.judge(), reading.reception, report);
                 if (on_screen) {
                     writer.count(reading);
                     on_screen->meter.show(reading);
                 } else {
                     writer.write(reading);
                 }
             },
         .after_poll =
             [&](std::uint64_t time_ms) {
                 if (on_screen) {
                     on_screen->meter.attend(time_ms);
                 }
             }});
    on_screen.reset();
    say_what_lacked_data(program.console, report);
    say_how_lnb_drifts(program.console, channel.lnb, writer.summary());
    report.watched_ms = ms_since(begin_ns);
    report.cut_short_by = rig.cut_short_by();
    report.complaints = rig.complaints();
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
    if (is_replay_uri(program.options.board) && !names_a_target(options.target)) {
        refuse_usage(fmt::format(
            "monitor on a recording needs the transponder that was recorded; ds3000-ctl trace "
            "replay {} --data repeats the recorded command",
            recording_of(program.options.board)));
    }
    return options.band.user_band.empty() ? monitor_directly(program, options)
                                          : monitor_user_band(program, options);
}

}  // namespace host
