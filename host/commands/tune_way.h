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

// What a person wants on the cable instead of what polarisation and band choose.
struct CableChoice {
    std::optional<unsigned> volts;  // 13 or 18
    std::optional<bool> tone;
};

// Let a request ask for it. Throws Failure (usage) for a tone that the plug-in would not hear of.
void choose(tune_request &request, const CableChoice &choice);

// Choose the way, and arrange a simulated world for it.
TuneWay prepare_way(Workbench &rig, const Program &program, const Target &target,
                    const CableChoice &choice = {});

// The members of a result that say what was asked for, and how that is reached.
Json json_of(const Target &target, const broadcast::Lnb &lnb, const TunePlan &plan);

}  // namespace host
