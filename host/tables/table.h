// SPDX-License-Identifier: MIT
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "broadcast/transponder.h"
#include "host/tables/table_file.h"

namespace host {

// Where a row stands: the how manieth transponder of its file, and the line it begins at.
struct RowPlace {
    unsigned row = 0;
    unsigned line = 0;
};

struct TableRow {
    RowPlace place;
    std::string name;  // empty for most
    broadcast::Transponder transponder;
    unsigned switch_port = 0;  // of the committed switch, where the row names one; else 0
};

// A row that cannot be tuned to, and why.
struct RejectedRow {
    RowPlace place;
    std::string reason;
};

// A channel table: the transponders of one satellite.
struct Table {
    std::filesystem::path file;
    std::string name;  // of the file, or of the satellite in one
    std::vector<TableRow> rows;
    std::vector<RejectedRow> rejected;

    [[nodiscard]] broadcast::Satellite satellite() const;

    // Of the rows that name this switch port; 0: of those that name none.
    [[nodiscard]] broadcast::Satellite satellite_at(unsigned switch_port) const;
};

// Read a DVBv5 table, or a satellite of a satellites.xml, which is known by its suffix .xml: the
// one of this name or place (19.2E), else the first. A wrong row is rejected with its reason and
// costs no other row. Throws TableError for what is no table at all.
Table read_table(const std::filesystem::path &file, const std::string &satellite = "");

// The same for a text.
Table parse_table(std::string_view text, const std::filesystem::path &file,
                  const std::string &satellite = "");

// Nothing in a table goes by what a person wrote.
class NoSuchRow : public ReadingError {
    using ReadingError::ReadingError;
};

// The row that a person names: its name, its number, or a frequency with the polarisation's letter
// if there are two (11494H, 11494.5M, 11494000). Throws NoSuchRow, or FormError with the choices
// when there are several.
const TableRow &find_row(const Table &table, const std::string &selector);

}  // namespace host
