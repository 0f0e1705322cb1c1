// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "broadcast/transponder.h"
#include "host/cable/lnb.h"
#include "host/commands/program.h"
#include "host/session/rig.h"

namespace host {

// What is known beforehand of what may be on the cable.
struct Surroundings {
    std::optional<broadcast::Satellite> satellite;  // that the built-in board's dish is turned to
    std::vector<broadcast::Transponder> transponders;

    // By the board, and by the satellite's table where the person names one.
    static Surroundings of(Workbench &rig, const std::optional<std::string> &satellite);
};

// The LNB that was chosen, else the one that is known to hang on the board, else the usual one of
// most of the transponders around.
broadcast::Lnb lnb_for(const Program &program, HostBoard &board, const Surroundings &surroundings);

// Whether most of the transponders in reach are circularly polarised.
bool mostly_circular(const std::vector<broadcast::Transponder> &transponders,
                     const broadcast::Lnb &lnb);

}  // namespace host
