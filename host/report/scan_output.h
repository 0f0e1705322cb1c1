// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/report/field_record.h"
#include "host/report/report.h"
#include "host/scan/scan_result.h"
#include "host/tables/table_writer.h"
#include "host/terminal/presentation.h"

namespace host {

// "sweep" or "stepwise".
std::string algorithm_name(scan_algorithm algorithm);

// Writes a scan in the output's format: transponders as they become known, then the missed rows,
// the comparison and the totals; JSON as a whole at the end.
class ScanWriter {
 public:
    // compares: whether there will be a comparison with a table.
    ScanWriter(Output &output, bool compares);

    // Write what is new. A transponder that a later leg shows better, or whose comparison changes,
    // is written again, and the row says which earlier ones it takes the place of.
    void show(const ScanResult &so_far);

    // The last of it; the output is then finished.
    void finish(const ScanResult &result);

 private:
    struct Shown {
        FoundTransponder transponder;
        std::string state;
        std::optional<std::uint32_t> nominal_khz;  // of the table's row that it is
        std::optional<std::int64_t> offset_khz;    // from that
        bool replaced = false;
    };

    void show_new(const Shown &row, const ScanResult &so_far);
    std::vector<std::size_t> replace_by(const Shown &row, const ScanResult &so_far);
    void show_object(const Json &json, const std::function<void(Output &)> &text);

    RowStream rows_;
    std::vector<std::string> members_;
    std::vector<Shown> shown_;
};

// The transponders as a channel table's rows. A spectrum that the oscillator has mirrored is put
// right: a table says what is transmitted.
std::vector<WrittenRow> table_rows(const ScanResult &result);

// The transponders and the missed rows as a page's content. `record`: what was known beforehand.
ScanPage page_of(const ScanResult &result, const std::string &title, const FieldRecord &record);

}  // namespace host
