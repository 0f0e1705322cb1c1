// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>

#include "ds3000/scan/scan_request.h"
#include "host/commands/leg_plan.h"
#include "host/commands/program.h"
#include "host/scan/leg_scan.h"
#include "host/tables/receiver_lists.h"

namespace host {

struct ScanOptions {
    LegOptions legs;
    scan_algorithm algorithm = SCAN_ALGO_SWEEP;
    unsigned passes = 2;
    unsigned list_size = most_candidates;
    unsigned call_offs = 0;
    std::optional<std::string> user_band;
    Position position = Position::a;
    std::optional<std::string> compare;
    std::optional<std::string> report;
    std::optional<ListForm> list;  // of the file of -o; absent: as its suffix says
    std::string note;
    bool simulated_truth = false;
    bool wall_time = false;
};

ExitStatus run_scan(Program &program, const ScanOptions &options);

}  // namespace host
