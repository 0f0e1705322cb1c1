// SPDX-License-Identifier: MIT
#include "host/terminal/sheet.h"

#include <fmt/format.h>

namespace host {

namespace {

std::string cell_of(const Json &value) {
    return value.is_string() ? value.get<std::string>() : value.dump();
}

std::vector<std::string> names_of(const Sheet &sheet) {
    std::vector<std::string> names;
    std::transform(sheet.heads.begin(), sheet.heads.end(), std::back_inserter(names),
                   [](const Sheet::Head &head) { return head.name; });
    return names;
}

std::vector<std::size_t> widths_of(const Sheet &sheet) {
    std::vector<std::size_t> widths;
    for (std::size_t i = 0; i < sheet.heads.size(); ++i) {
        std::size_t width = std::max(sheet.heads[i].least_width, sheet.heads[i].name.size());
        for (const auto &row : sheet.rows) {
            width = std::max(width, row[i].size());
        }
        widths.push_back(width);
    }
    return widths;
}

std::string aligned(const Sheet &sheet, const std::vector<std::string> &cells,
                    const std::vector<std::size_t> &widths, std::size_t blanks) {
    std::string line;
    for (std::size_t i = 0; i < cells.size(); ++i) {
        line += sheet.heads[i].align == Align::right ? fmt::format("{:>{}}", cells[i], widths[i])
                                                     : fmt::format("{:<{}}", cells[i], widths[i]);
        line.append(blanks, ' ');
    }
    line.erase(line.find_last_not_of(' ') + 1);
    return line;
}

}  // namespace

Sheet sheet_of(const std::vector<std::string> &names, const std::vector<Json> &objects) {
    Sheet sheet;
    for (const std::string &name : names) {
        sheet.heads.push_back({name});
    }
    for (const Json &object : objects) {
        std::vector<std::string> &cells = sheet.rows.emplace_back();
        for (const std::string &name : names) {
            const auto value = object.find(name);
            cells.push_back(value == object.end() ? "" : cell_of(*value));
        }
    }
    return sheet;
}

Sheet sheet_of(const Json &object) {
    Sheet sheet;
    sheet.rows.emplace_back();
    for (const auto &[name, value] : object.items()) {
        if (!value.is_structured() && name != "schema") {
            sheet.heads.push_back({name});
            sheet.rows.front().push_back(cell_of(value));
        }
    }
    return sheet;
}

void write_csv(Output &output, const Sheet &sheet) {
    output.csv_row(names_of(sheet));
    for (const auto &row : sheet.rows) {
        output.csv_row(row);
    }
}

void write_aligned(Output &output, const Sheet &sheet, std::size_t blanks) {
    const std::vector<std::size_t> widths = widths_of(sheet);
    output.line(aligned(sheet, names_of(sheet), widths, blanks));
    for (const auto &row : sheet.rows) {
        output.line(aligned(sheet, row, widths, blanks));
    }
}

void write_aligned_row(Output &output, const Sheet &one_row, bool with_heads) {
    const std::vector<std::size_t> widths = widths_of({one_row.heads, {}});
    if (with_heads) {
        output.line(aligned(one_row, names_of(one_row), widths, 2));
    }
    output.line(aligned(one_row, one_row.rows.front(), widths, 2));
}

}  // namespace host
