// SPDX-License-Identifier: MIT
#include "host/commands/scan.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>
#include <vector>

#include "host/cable/legs.h"
#include "host/commands/leg_plan.h"
#include "host/commands/page_choice.h"
#include "host/commands/scan_destinations.h"
#include "host/scan/compare.h"
#include "host/scan/scan_runner.h"
#include "host/session/pace.h"
#include "host/session/rig.h"
#include "host/tables/catalogue.h"

namespace host {

namespace {

std::string title_of(const LegPlan &plan) {
    return plan.surroundings.satellite
               ? fmt::format("Blind scan of {}", plan.surroundings.satellite->name)
               : "Blind scan";
}

void add_comparison(ScanResult &result, const Table &table, HostBoard &board) {
    std::vector<ScanLeg> whole;
    std::vector<SeenLeg> seen;
    for (const ScannedLeg &scanned : result.legs) {
        seen.push_back({scanned.leg, scanned.result.peaks});
        if (scanned.result.complete) {
            whole.push_back(scanned.leg);
        }
    }
    result.comparison = compare(table, whole, result.transponders);
    if (SimulatedBoard *simulated = board.simulated()) {
        explain(*result.comparison, simulated->receiver(), seen, result.transponders);
    }
}

void refuse_wrong_pages(const GlobalOptions &global, const ScanOptions &options) {
    refuse_contradicting_pages(global, options.report);
    if (options.simulated_truth && !page_file(global, options.report)) {
        refuse_usage("--simulated-truth is drawn into the page of --report");
    }
    if (options.user_band && page_file(global, options.report)) {
        refuse_usage("the page of --report shows the levels on the cable; leave --user-band out");
    }
}

ScanSettings settings_of(const ScanOptions &options) {
    return {options.algorithm,
            static_cast<std::uint8_t>(options.passes),
            static_cast<std::uint16_t>(options.list_size),
            options.call_offs,
            options.user_band ? std::optional(parse_user_band(*options.user_band)) : std::nullopt,
            options.position};
}

void write_all(ScanDestinations &destinations, const ScanResult &result, const std::string &title,
               const Program &program) {
    destinations.write(result, title, record_of_session(program, result.note));
    if (destinations.mixes_ports(result)) {
        program.console.note(
            "the list holds rows of several switch ports, and its form does not say of which; a "
            "DVBv5 file and a playlist do");
    }
}

// What is wrong with the scan, said to a person. Returns the exit status.
ExitStatus status_of(const ScanResult &result, HostBoard &board, Console &console) {
    if (!result.complete()) {
        return ExitStatus::cancelled;
    }
    if (result.transponders.empty()) {
        console.error("no transponder found");
        if (const SimulatedBoard *simulated = board.simulated();
            simulated != nullptr && simulated->scenario().unicable) {
            console.note(
                "On this cable a Unicable unit shows only what it was asked for: name a user band "
                "with --user-band INDEX:FREQ. See ds3000-ctl unicable");
        }
        return ExitStatus::nothing_found;
    }
    return ExitStatus::done;
}

}  // namespace

ExitStatus run_scan(Program &program, const ScanOptions &options) {
    program.honour_on_chips("scan", {"lnb", "switch"});
    LegsWanted wanted = read_wanted("scan", options.legs, program);
    refuse_wrong_pages(program.options, options);
    const ScanSettings settings = settings_of(options);
    const auto table =
        options.compare ? std::optional(table_named(*options.compare)) : std::nullopt;
    const std::uint64_t wall_begin_ns = board::wall_now_ns();
    // The built-in board has a switch if a port is asked for; its dish then hangs at that port.
    RigOptions set_up = program.rig_options();
    set_up.board.switch_port = wanted.ports.front();
    ChipRig rig(set_up, program.console);
    const LegPlan plan = plan_legs(program, options.legs, std::move(wanted), table, rig);
    refuse_truth_without_world(options.simulated_truth, rig.board());
    ScanDestinations destinations(program.options, {options.report, options.list},
                                  table.has_value());
    arrange_world(rig, plan);
    return rig.run([&](ChipSession &session) {
        const std::uint64_t begin_ns = now_ns();
        ScanRunner runner(rig, program.console, settings,
                          {destinations.wants_report(), options.simulated_truth},
                          [&](ScanResult so_far) {
                              if (table) {
                                  add_comparison(so_far, *table, rig.board());
                              }
                              destinations.show(so_far);
                          });
        ScanResult result = runner.run(session, plan.wanted.lnb, plan.legs);
        if (table) {
            add_comparison(result, *table, rig.board());
        }
        result.time_ms = (now_ns() - begin_ns) / 1'000'000U;
        result.wall_ms = (board::wall_now_ns() - wall_begin_ns) / 1'000'000U;
        result.shows_wall_time = options.wall_time;
        result.satellite = plan.surroundings.satellite ? plan.surroundings.satellite->name : "";
        result.note = options.note;
        write_all(destinations, result, title_of(plan), program);
        return status_of(result, rig.board(), program.console);
    });
}

}  // namespace host
