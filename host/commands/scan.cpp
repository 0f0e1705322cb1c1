// SPDX-License-Identifier: MIT
#include "host/commands/scan.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>
#include <vector>

#include "host/cable/frequency.h"
#include "host/cable/legs.h"
#include "host/commands/scan_destinations.h"
#include "host/commands/scan_surroundings.h"
#include "host/commands/target.h"
#include "host/scan/compare.h"
#include "host/scan/scan_runner.h"
#include "host/session/pace.h"
#include "host/session/rig.h"
#include "host/tables/catalogue.h"
#include "host/terminal/same_word.h"

namespace host {

namespace {

constexpr unsigned switch_ports = 4;

FrequencyRange noted_range(const std::string &text, Console &console) {
    const RangeReading reading = parse_range(text);
    if (reading.unit_assumed) {
        console.note(fmt::format("range {} is read as {} to {}", text,
                                 format_mhz(reading.range.low_khz),
                                 format_mhz(reading.range.high_khz)));
    }
    return reading.range;
}

// The options that can be read before there is a board.
LegsWanted read_wanted(const ScanOptions &options, const Program &program) {
    if (options.range && options.intermediate) {
        refuse_usage("scan takes --range or --if, not both");
    }
    if (options.all_ports && program.options.switch_port != 0) {
        refuse_usage("scan takes --all-ports or --switch, not both");
    }
    if (options.report && *options.report == "-") {
        refuse_usage(fmt::format("--report {}: the page needs a file of its own", *options.report));
    }
    if (options.report && program.options.output && has_suffix(*program.options.output, ".html")) {
        refuse_usage(fmt::format("-o {} is the page already; leave --report out or name another -o",
                                 *program.options.output));
    }
    LegsWanted wanted;
    if (options.range) {
        wanted.downlink = noted_range(*options.range, program.console);
    }
    if (options.intermediate) {
        wanted.intermediate = noted_range(*options.intermediate, program.console);
    }
    if (options.polarisation) {
        wanted.polarisation = parse_polarisation(*options.polarisation);
        if (options.circular && !is_circular(*wanted.polarisation)) {
            refuse_usage(fmt::format("polarisation {} is not circular; write L or R",
                                     *options.polarisation));
        }
    }
    wanted.ports = {program.options.switch_port};
    if (options.all_ports) {
        wanted.ports = {1, 2, 3, 4};
        static_assert(switch_ports == 4);
    }
    return wanted;
}

bool uses_circular(const ScanOptions &options, const LegsWanted &wanted,
                   const std::optional<Table> &table, const Surroundings &surroundings) {
    if (wanted.polarisation) {
        return is_circular(*wanted.polarisation);
    }
    return options.circular || is_circular(wanted.lnb) ||
           mostly_circular(table ? table->satellite().transponders : surroundings.transponders,
                           wanted.lnb);
}

// What of a range is left out, in a note: a scan of less than was asked for is no failure.
void note_shortfall(const LegsWanted &wanted, const std::vector<ScanLeg> &legs, Console &console) {
    if (!wanted.downlink && !wanted.intermediate) {
        return;
    }
    const FrequencyRange asked = wanted.downlink ? *wanted.downlink : *wanted.intermediate;
    FrequencyRange reached{0xFFFFFFFF, 0};
    for (const ScanLeg &leg : legs) {
        const FrequencyRange range =
            wanted.downlink ? leg.downlink()
                            : FrequencyRange{leg.if_low_mhz * 1000U, leg.if_high_mhz * 1000U};
        reached.low_khz = std::min(reached.low_khz, range.low_khz);
        reached.high_khz = std::max(reached.high_khz, range.high_khz);
    }
    if (reached.low_khz > asked.low_khz || reached.high_khz < asked.high_khz) {
        console.note(fmt::format("of {} to {} only {} to {} can be reached",
                                 format_mhz(asked.low_khz), format_mhz(asked.high_khz),
                                 format_mhz(reached.low_khz), format_mhz(reached.high_khz)));
    }
}

// Everything that is decided before the hardware is touched.
struct ScanPlan {
    LegsWanted wanted;
    Surroundings surroundings;
    std::vector<ScanLeg> legs;
};

ScanPlan plan_scan(const Program &program, const ScanOptions &options, LegsWanted wanted,
                   const std::optional<Table> &table, Workbench &rig) {
    ScanPlan plan{std::move(wanted), Surroundings::of(rig, options.satellite), {}};
    plan.wanted.lnb = lnb_for(program, rig.board(), plan.surroundings);
    plan.wanted.circular = uses_circular(options, plan.wanted, table, plan.surroundings);
    plan.legs = scan_legs(plan.wanted);
    note_shortfall(plan.wanted, plan.legs, program.console);
    return plan;
}

void arrange_world(Workbench &rig, const ScanPlan &plan) {
    rig.fit_lnb(plan.wanted.lnb);
    if (plan.surroundings.satellite) {
        rig.point_at(*plan.surroundings.satellite, plan.wanted.ports.front());
    }
}

std::string title_of(const ScanPlan &plan) {
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

// What is wrong with the scan, said to a person. Returns the exit status.
ExitStatus judge(const ScanResult &result, HostBoard &board, Console &console) {
    SimulatedBoard *const simulated = board.simulated();
    bool complaints = false;
    if (simulated != nullptr) {
        for (const sim::Complaint &complaint : simulated->receiver().complaints()) {
            console.error(fmt::format("the driver: {} ({} times), first: {}",
                                      to_string(complaint.offence), complaint.count,
                                      complaint.first));
            complaints = true;
        }
    }
    if (!result.complete()) {
        return ExitStatus::cancelled;
    }
    if (complaints) {
        return ExitStatus::internal_error;
    }
    if (result.transponders.empty()) {
        console.error("no transponder found");
        if (simulated != nullptr && simulated->scenario().unicable) {
            console.note(
                "On this cable a Unicable unit shows only what it was asked for; scan asks for "
                "nothing. See ds3000-ctl unicable");
        }
        return ExitStatus::nothing_found;
    }
    return ExitStatus::done;
}

}  // namespace

ExitStatus run_scan(Program &program, const ScanOptions &options) {
    program.honour_only("scan", {"board", "lnb", "switch", "real-time", "trace", "driver-log"});
    LegsWanted wanted = read_wanted(options, program);
    const auto table =
        options.compare ? std::optional(table_named(*options.compare)) : std::nullopt;
    const std::uint64_t wall_begin_ns = board::wall_now_ns();
    // The built-in board has a switch if a port is asked for; its dish then hangs at that port.
    RigOptions set_up = program.rig_options();
    set_up.board.switch_port = wanted.ports.front();
    ChipRig rig(set_up, program.console);
    const ScanPlan plan = plan_scan(program, options, std::move(wanted), table, rig);
    ScanDestinations destinations(program.options, {options.report, options.list},
                                  table.has_value());
    arrange_world(rig, plan);
    const ScanSettings settings{options.algorithm, static_cast<std::uint8_t>(options.passes)};
    return rig.run([&](ChipSession &session) {
        const std::uint64_t begin_ns = now_ns();
        ScanRunner runner(rig, program.console, settings, destinations.wants_report(),
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
        destinations.write(result, title_of(plan), program.options.board);
        return judge(result, rig.board(), program.console);
    });
}

}  // namespace host
