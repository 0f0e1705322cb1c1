// SPDX-License-Identifier: MIT
#include "host/commands/tune_way.h"

#include <fmt/format.h>

#include "host/cable/describe.h"
#include "host/cable/request.h"
#include "host/tables/catalogue.h"

namespace host {

namespace {

void point_dish(Workbench &rig, const Program &program, const Target &target) {
    SimulatedBoard *simulated = rig.board().simulated();
    if (target.table) {
        rig.point_at(satellite_of(target), program.options.switch_port);
    } else if (simulated != nullptr && simulated->is_demo()) {
        rig.point_at(demo_satellite(), program.options.switch_port);
    }
}

}  // namespace

void choose(tune_request &request, const CableChoice &choice) {
    if (choice.volts) {
        fix_voltage(request, *choice.volts);
    }
    if (!choice.tone) {
        return;
    }
    if (request.lof_high == 0 || request.lof_switch == 0) {
        refuse_usage(
            "--lnb-tone cannot be honoured: a request's tone counts for an LNB with two "
            "oscillators and a switch frequency alone; give one of a single oscillator as "
            "--lnb LOW,LOW,SWITCH");
    }
    fix_tone(request, *choice.tone);
}

TuneWay prepare_way(Workbench &rig, const Program &program, const Target &target,
                    const CableChoice &choice) {
    const LnbSource lnbs(program.chosen_lnb(), rig.board().fitted_lnb(), {target.transponder});
    TuneWay way{lnbs.for_transponder(target.transponder), {}, {}};
    way.request = request_for(target.transponder, way.lnb, program.options.switch_port);
    choose(way.request, choice);
    way.plan = plan_tune(way.request);
    if (target.any_system) {
        way.plan.standard = STANDARD_AUTO;
    }
    rig.fit_lnb(way.lnb);
    point_dish(rig, program, target);
    program.console.detail(fmt::format("{}: {}", headline(target), summary(way.lnb, way.plan)));
    return way;
}

Json json_of(const Target &target, const broadcast::Lnb &lnb, const TunePlan &plan) {
    Json json = json_of(target);
    json["lnb"] = json_of(lnb);
    json["plan"] = json_of(plan);
    return json;
}

}  // namespace host
