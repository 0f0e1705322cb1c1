// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "host/commands/monitor_output.h"
#include "host/commands/program.h"
#include "host/commands/target.h"
#include "host/commands/unicable_way.h"

namespace host {

// How a person wants a transponder to be watched.
struct WatchOptions {
    std::optional<double> every_s;  // absent: a second, on a screen a fifth of one
    std::optional<double> for_s;    // absent: until it is stopped
    bool tone = false;              // on a screen: the bell tells the quality
};

// Whether a watch has the terminal for itself: where it is one, unless rows were asked for. Throws
// Failure (usage) when the options need it and it has not.
bool takes_screen(const Program &program, const WatchOptions &options);

// What a session is set up by for a watch: on a screen simulated time is as slow as real time.
RigOptions rig_options_for_watch(const Program &program, const WatchOptions &options);

struct MonitorOptions {
    TargetOptions target;
    UserBandOptions band;  // empty: from the dish itself
    WatchOptions watch;
};

// What a person calls a target.
std::string title_of(const Target &target);

// A channel that has been set up, to be watched.
struct WatchedChannel {
    std::string title;             // what a person calls it
    Json about;                    // the members of a result that say what it is
    std::function<void()> set_up;  // once more

    // The LNB whose oscillators are counted on; absent behind a unit, which has its own.
    std::optional<broadcast::Lnb> lnb = {};
};

// Stay on a channel and show how its reception does, until the time is over or the work must end.
MonitorReport watch_channel(const Program &program, ChipRig &rig, ChipSession &session,
                            ChipReceptionReader &reader, const WatchedChannel &channel,
                            const WatchOptions &options, MonitorWriter &writer);

// What a watch means for the exit status.
ExitStatus status_of(const MonitorReport &report);

ExitStatus run_monitor(Program &program, const MonitorOptions &options);

}  // namespace host
