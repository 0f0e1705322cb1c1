// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "host/commands/sweep_report.h"
#include "host/terminal/output.h"

namespace host {

// The rows, the totals and the complaints, in the output's format; in text a line a row only where
// every row is asked for.
void write_sweep(Output &output, const SweepReport &report, bool every_row);

// "locked       Astra-19.2E:12  11494 MHz ...".
std::string line_of(const SweptRow &row);

}  // namespace host
