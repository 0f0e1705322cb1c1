// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

#include "host/report/report.h"
#include "host/scan/scan_result.h"
#include "host/tables/table_writer.h"
#include "host/terminal/output.h"

namespace host {

// "sweep" or "stepwise".
std::string algorithm_name(scan_algorithm algorithm);

// The transponders, the comparison and the totals, in the output's format, which is then finished.
// Lines and rows of missed transponders follow those of the found ones.
void write_scan(Output &output, const ScanResult &result);

// The transponders as a channel table's rows. A spectrum that the oscillator has mirrored is put
// right: a table says what is transmitted.
std::vector<WrittenRow> table_rows(const ScanResult &result);

// The transponders and the missed rows as a page's content.
ScanPage page_of(const ScanResult &result, const std::string &title, const std::string &board);

}  // namespace host
