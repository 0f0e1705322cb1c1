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
};

struct MonitorOptions {
    TargetOptions target;
    UserBandOptions band;  // empty: from the dish itself
    WatchOptions watch;
};

// A channel that has been set up, to be watched.
struct WatchedChannel {
    Json about;                    // the members of a result that say what it is
    std::function<void()> set_up;  // once more
};

// Stay on a channel and show how its reception does, until the time is over or the work must end.
MonitorReport watch_channel(ChipRig &rig, ChipSession &session, ChipReceptionReader &reader,
                            const WatchedChannel &channel, const WatchOptions &options,
                            MonitorWriter &writer);

// What a watch means for the exit status.
ExitStatus status_of(const MonitorReport &report);

ExitStatus run_monitor(Program &program, const MonitorOptions &options);

}  // namespace host
