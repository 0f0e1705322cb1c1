// SPDX-License-Identifier: MIT
#include "host/commands/leg_plan.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "host/cable/frequency.h"
#include "host/commands/target.h"
#include "host/session/chip_session.h"
#include "host/tables/catalogue.h"
#include "host/terminal/wall_date.h"

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

bool uses_circular(const LegOptions &options, const LegsWanted &wanted,
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

}  // namespace

LegsWanted read_wanted(std::string_view command, const LegOptions &options,
                       const Program &program) {
    if (options.range && options.intermediate) {
        refuse_usage(fmt::format("{} takes --range or --if, not both", command));
    }
    if (options.all_ports && program.options.switch_port != 0) {
        refuse_usage(fmt::format("{} takes --all-ports or --switch, not both", command));
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

LegPlan plan_legs(const Program &program, const LegOptions &options, LegsWanted wanted,
                  const std::optional<Table> &table, Workbench &rig) {
    LegPlan plan{std::move(wanted), Surroundings::of(rig, options.satellite), {}};
    plan.wanted.lnb = lnb_for(program, rig.board(), plan.surroundings);
    plan.wanted.circular = uses_circular(options, plan.wanted, table, plan.surroundings);
    plan.legs = scan_legs(plan.wanted);
    note_shortfall(plan.wanted, plan.legs, program.console);
    return plan;
}

void arrange_world(Workbench &rig, const LegPlan &plan) {
    rig.fit_lnb(plan.wanted.lnb);
    if (plan.surroundings.satellite) {
        rig.point_at(*plan.surroundings.satellite, plan.wanted.ports.front());
    }
}

void refuse_truth_without_world(bool wanted, HostBoard &board) {
    if (wanted && board.simulated() == nullptr) {
        refuse_usage("--simulated-truth: this board has no simulated world");
    }
}

FieldRecord record_of_session(const Program &program, const std::string &note) {
    return record_of({.date = wall_date(),
                      .note = note,
                      .board = program.options.board,
                      .chip = ChipSession::chip_name(),
                      .firmware = ChipSession::firmware()});
}

}  // namespace host
