// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

#include "host/commands/cycle_run.h"
#include "host/session/judge.h"
#include "host/terminal/output.h"
#include "host/terminal/presentation.h"

namespace host {

struct CycleReport {
    Json about;  // what was tuned to, and how
    std::vector<CycleStep> steps;
    std::string cut_short_by;  // empty for one that is complete
    Complaints complaints;
};

// Shows the steps of a cycle as they are over.
class CycleWriter {
 public:
    explicit CycleWriter(Output &output);

    void write(const CycleStep &step);
    void finish(const CycleReport &report);

 private:
    RowStream rows_;
};

}  // namespace host
