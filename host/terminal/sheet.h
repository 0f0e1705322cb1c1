// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <span>
#include <string>
#include <type_traits>
#include <vector>

#include "host/terminal/output.h"

namespace host {

enum class Align { left, right };

// Rows of cells under names, for people as for spreadsheets.
struct Sheet {
    struct Head {
        std::string name;
        Align align = Align::left;
        std::size_t least_width = 0;
    };
    std::vector<Head> heads;
    std::vector<std::vector<std::string>> rows;
};

// A column of a sheet: its name, and what it shows of a row.
template <typename Row>
struct Column {
    const char *name;
    std::string (*cell)(const Row &row);
    Align align = Align::left;
    std::size_t least_width = 0;
};

template <typename Row>
using Columns = std::type_identity_t<std::span<const Column<Row>>>;

template <typename Row>
Sheet sheet_of(Columns<Row> columns, const std::vector<Row> &rows) {
    Sheet sheet;
    for (const Column<Row> &column : columns) {
        sheet.heads.push_back({column.name, column.align, column.least_width});
    }
    for (const Row &row : rows) {
        std::vector<std::string> &cells = sheet.rows.emplace_back();
        std::transform(columns.begin(), columns.end(), std::back_inserter(cells),
                       [&row](const Column<Row> &column) { return column.cell(row); });
    }
    return sheet;
}

// The members of these names, a row for each object; a cell is empty where an object has none.
Sheet sheet_of(const std::vector<std::string> &names, const std::vector<Json> &objects);

// An object's plain members, but not its schema tag, as one row.
Sheet sheet_of(const Json &object);

void write_csv(Output &output, const Sheet &sheet);

// In lines, the columns one below the other with this many blanks between them.
void write_aligned(Output &output, const Sheet &sheet, std::size_t blanks = 2);

// The same of rows that come one by one, the heads in front of the first: the columns are as wide
// as the heads ask for, and a cell that is wider moves its line's others.
void write_aligned_row(Output &output, const Sheet &one_row, bool with_heads);

}  // namespace host
