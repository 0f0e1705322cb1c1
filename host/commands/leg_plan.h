// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/cable/legs.h"
#include "host/commands/program.h"
#include "host/commands/scan_surroundings.h"
#include "host/report/field_record.h"
#include "host/session/rig.h"
#include "host/tables/table.h"

namespace host {

// Which part of the cable a command is to look through, as the command line says it.
struct LegOptions {
    std::optional<std::string> range;
    std::optional<std::string> intermediate;
    bool all_ports = false;
    bool circular = false;
    std::optional<std::string> polarisation;
    std::optional<std::string> satellite;
};

// The options that can be read before there is a board. Throws Failure (usage).
LegsWanted read_wanted(std::string_view command, const LegOptions &options, const Program &program);

// Everything that is decided before the hardware is touched.
struct LegPlan {
    LegsWanted wanted;
    Surroundings surroundings;
    std::vector<ScanLeg> legs;
};

// The legs of the LNB at hand. `table`, where there is one, tells whether waves are circular.
LegPlan plan_legs(const Program &program, const LegOptions &options, LegsWanted wanted,
                  const std::optional<Table> &table, Workbench &rig);

// Fit the LNB and turn the dish, where the world is ours to arrange.
void arrange_world(Workbench &rig, const LegPlan &plan);

// The truth of a simulated world is for boards that have one. Throws Failure (usage).
void refuse_truth_without_world(bool wanted, HostBoard &board);

// When, where and with what a session works, while it lives. note: of the person.
FieldRecord record_of_session(const Program &program, const std::string &note);

}  // namespace host
