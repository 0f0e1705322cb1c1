// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>

#include "host/boards/host_board.h"
#include "host/cable/plan.h"
#include "host/cable/user_band.h"
#include "host/commands/program.h"
#include "host/commands/target.h"

namespace host {

// Where on a Unicable unit's cable a person wants a target.
struct UserBandOptions {
    std::string user_band;  // "auto": the first that a search finds
    Position position = Position::a;
};

// The way to a target through a user band: everything that is decided before the hardware is
// touched.
struct UnicableWay {
    Target target;
    broadcast::Lnb lnb;
    TunePlan tune;
    Position position = Position::a;
    std::optional<UserBand> band;  // absent: to be searched for
};

// Throws Failure (outside_limits) for what no unit converts and no connect takes.
UnicableWay plan_unicable_way(const Program &program, const UserBandOptions &options, Target target,
                              HostBoard &board);

// Fit the way's LNB and turn the dish, where the world is ours to arrange.
void arrange_world(Workbench &rig, const UnicableWay &way);

// The user band of the way; where none was named, the first of the unit that the search accepts,
// with its index. Throws Failure: nothing_found, cancelled.
UserBand find_user_band(ChipSession &session, const UnicableWay &way, ChipRig &rig,
                        Console &console);

// The members of a result that say which way it was, and through which band it led.
Json json_of(const UnicableWay &way);
Json json_of(const UnicableWay &way, const UserBand &band, const UserBandPlan &channel);

// Whether the world is a simulated one without a Unicable unit, and what to do about it.
bool lacks_unit(HostBoard &board);
constexpr const char *no_unit_advice =
    "This simulated world has no Unicable unit: give it one with [unicable] in a scenario, --board "
    "sim:FILE.toml";

}  // namespace host
