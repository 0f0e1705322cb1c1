// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "host/commands/sweep_report.h"
#include "host/terminal/presentation.h"

namespace host {

// Writes a sweep in the output's format: each row as it comes, then the totals; JSON as a whole at
// the end. In text a row has a line only where every row is asked for.
class SweepWriter {
 public:
    SweepWriter(Output &output, bool every_row);

    void write(const SweptRow &row);
    void finish(const SweepReport &report);

 private:
    RowStream rows_;
    bool every_row_;
};

// "locked       Astra-19.2E:12  11494 MHz ...".
std::string line_of(const SweptRow &row);

}  // namespace host
