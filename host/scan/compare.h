// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/cable/legs.h"
#include "host/scan/found.h"
#include "host/scan/leg_scan.h"
#include "host/tables/table.h"
#include "sim/receiver.h"

namespace host {

// What a row of the table came to in the scan.
struct ComparedRow {
    TableRow row;
    std::optional<std::size_t> found;  // index into the transponders; absent: missed

    // What the simulated world knows: whether a perfect driver receives it, and whether a blind
    // scan by its rules can find it.
    std::optional<bool> receivable;
    std::optional<bool> findable;
    std::string cause;  // of a row that is missed, or that cannot be received
};

struct Comparison {
    std::string table;
    std::vector<ComparedRow> rows;        // within what was scanned, in the table's order
    std::vector<std::size_t> unexpected;  // transponders that no row describes
    std::size_t rows_outside = 0;         // of what was scanned
    std::size_t rows_repeated = 0;        // that describe the same carrier as an earlier row

    // How far the transponders lie above their rows in common, as an LNB's drift puts them; absent
    // where too few go together to say.
    std::optional<std::int64_t> common_offset_khz;

    [[nodiscard]] std::size_t found() const;
    [[nodiscard]] std::size_t missed() const { return rows.size() - found(); }
};

// Match what was found with a table's rows, the nearest first, each at most once.
// A match has a polarisation that the same supply voltage selects, a symbol rate within 2 %, and,
// the common offset taken off, a frequency within 3 MHz or a quarter of the symbol rate, whichever
// is more. That allows for what tables round; at equal distance the same system is preferred, then
// the earlier row.
// The common offset is the median of the differences that agree, within 1.5 MHz, for the most rows
// and lie below 12 MHz. They must be three, and half of those that could agree: the carriers of
// another satellite, which stand in a raster of their own, are not drift.
// legs: those that were scanned to their end.
Comparison compare(const Table &table, const std::vector<ScanLeg> &legs,
                   const std::vector<FoundTransponder> &found);

// What the scan saw of a leg's spectrum.
struct SeenLeg {
    const ScanLeg &leg;
    const std::vector<SeenPeak> &peaks;
};

// Add what the simulated world knows of each row, from the dishes of the ports scanned.
void explain(Comparison &comparison, const sim::Receiver &receiver,
             const std::vector<SeenLeg> &legs, const std::vector<FoundTransponder> &found);

}  // namespace host
