// SPDX-License-Identifier: MIT
#include "host/commands/scan_surroundings.h"

#include <fmt/format.h>

#include <cstddef>
#include <map>
#include <utility>

#include "host/cable/lnb_choice.h"
#include "host/cable/plan.h"
#include "host/tables/catalogue.h"
#include "host/tables/table.h"

namespace host {

namespace {

bool reaches(const broadcast::Lnb &lnb, const broadcast::Transponder &transponder) {
    return !plan_tune(request_for(transponder, lnb, 0)).refusal;
}

// The usual LNB of most of the transponders.
broadcast::Lnb usual_lnb(const std::vector<broadcast::Transponder> &transponders) {
    const LnbChoice choice(transponders);
    std::map<std::string, unsigned> count;
    const broadcast::Lnb *usual = &lnb_named("EXTENDED");
    for (const broadcast::Transponder &transponder : transponders) {
        const broadcast::Lnb &lnb = choice.for_transponder(transponder);
        if (reaches(lnb, transponder) && ++count[lnb.name] > count[usual->name]) {
            usual = &lnb;
        }
    }
    return *usual;
}

}  // namespace

Surroundings Surroundings::of(Workbench &rig, const std::optional<std::string> &satellite) {
    const SimulatedBoard *simulated = rig.board().simulated();
    const bool demo = simulated != nullptr && simulated->is_demo();
    if (satellite && simulated != nullptr && !demo) {
        refuse_usage("--satellite has no use on a board whose scenario says what the dish sees");
    }
    std::optional<broadcast::Satellite> known;
    if (satellite) {
        known = table_named(*satellite).satellite();
    } else if (demo) {
        known = demo_satellite();
    }
    Surroundings surroundings;
    if (known) {
        surroundings.transponders = known->transponders;
    } else if (simulated != nullptr) {
        for (const broadcast::Satellite &seen : simulated->scenario().satellites) {
            surroundings.transponders.insert(surroundings.transponders.end(),
                                             seen.transponders.begin(), seen.transponders.end());
        }
    }
    if (demo) {
        surroundings.satellite = std::move(known);
    }
    return surroundings;
}

broadcast::Lnb lnb_for(const Program &program, HostBoard &board, const Surroundings &surroundings) {
    if (const auto chosen = program.chosen_lnb()) {
        return *chosen;
    }
    if (const auto fitted = board.fitted_lnb()) {
        return *fitted;
    }
    broadcast::Lnb usual = usual_lnb(surroundings.transponders);
    if (board.simulated() == nullptr) {
        program.console.note(
            fmt::format("LNB {} is assumed; name another one with --lnb", usual.name));
    }
    return usual;
}

bool mostly_circular(const std::vector<broadcast::Transponder> &transponders,
                     const broadcast::Lnb &lnb) {
    std::ptrdiff_t balance = 0;
    for (const broadcast::Transponder &transponder : transponders) {
        if (reaches(lnb, transponder)) {
            balance += is_circular(transponder.polarisation) ? 1 : -1;
        }
    }
    return balance > 0;
}

}  // namespace host
