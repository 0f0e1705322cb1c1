// SPDX-License-Identifier: MIT
#pragma once

#include <optional>

#include "host/commands/monitor.h"
#include "host/commands/program.h"
#include "host/commands/target.h"
#include "host/commands/tune_way.h"

namespace host {

// What tunes: the plug-in, as a receiver's host sees it, or the chip layer of this program.
enum class Via { plugin, chip };

struct TuneOptions {
    TargetOptions target;
    std::optional<Via> via;  // absent: what the job needs
    CableChoice cable;
    double timeout_s = 5.0;
    bool timeout_given = false;
    bool show_plan = false;
    bool keep_lnb_power = false;
    bool watch = false;  // stay on it once it has locked
    WatchOptions watching;
};

ExitStatus run_tune(Program &program, const TuneOptions &options);

}  // namespace host
