// SPDX-License-Identifier: MIT
#pragma once

#include <optional>

#include "ds3000/plugin/channel.h"
#include "host/cable/plan.h"
#include "host/commands/program.h"
#include "host/commands/target.h"

namespace host {

// The way to a target on a board whose cable brings it directly.
struct TuneWay {
    broadcast::Lnb lnb;
    tune_request request;
    TunePlan plan;
};

// Choose the way, and arrange a simulated world for it.
// `volts` of the supply instead of what the polarisation chooses.
TuneWay prepare_way(Workbench &rig, const Program &program, const Target &target,
                    std::optional<unsigned> volts = {});

// The members of a result that say what was asked for, and how that is reached.
Json json_of(const Target &target, const broadcast::Lnb &lnb, const TunePlan &plan);

}  // namespace host
