// SPDX-License-Identifier: MIT
#include "host/commands/sweep_output.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <iterator>
#include <map>
#include <utility>
#include <vector>

#include "host/cable/describe.h"
#include "host/commands/no_lock.h"
#include "host/terminal/counted.h"

namespace host {

namespace {

// The members of a row that spreadsheets get.
const std::vector<std::string> sheet_members{"table",
                                             "row",
                                             "line",
                                             "class",
                                             "frequency_khz",
                                             "polarisation",
                                             "symbol_rate_sps",
                                             "system",
                                             "modcod",
                                             "lnb",
                                             "if_khz",
                                             "lock_ms",
                                             "quality_db",
                                             "strength_percent",
                                             "restarts",
                                             "receivable",
                                             "reason",
                                             "explanation"};

Json row_json(const SweptRow &row) {
    Json json{{"table", row.table->name},
              {"row", row.place.row},
              {"line", row.place.line},
              {"class", to_string(row.row_class)}};
    if (row.transponder) {
        json.update(json_of(*row.transponder));
        json["modcod"] = broadcast::modcod_name(*row.transponder);
        json["lnb"] = row.lnb;
        json["if_khz"] = *row.if_khz;
    }
    if (row.lock_ms) {
        json["lock_ms"] = *row.lock_ms;
    }
    if (row.signal) {
        json["quality_db"] = row.signal->quality_db;
        json["strength_percent"] = row.signal->strength_percent;
    }
    if (row.restarts) {
        json["restarts"] = *row.restarts;
    }
    if (row.receivable) {
        json["receivable"] = *row.receivable;
    }
    if (!row.obstacle.empty()) {
        json["obstacle"] = row.obstacle;
    }
    if (!row.reason.empty()) {
        json["reason"] = row.reason;
        if (!row.explanation.empty()) {
            json["explanation"] = row.explanation;
        }
    }
    return json;
}

std::vector<Json> row_objects(const SweepReport &report) {
    std::vector<Json> objects;
    std::transform(report.rows.begin(), report.rows.end(), std::back_inserter(objects), row_json);
    return objects;
}

Json totals_json(const ClassTotals &totals) {
    Json json;
    unsigned rows = 0;
    for (std::size_t i = 0; i < totals.size(); ++i) {
        json[row_class_names.at(i)] = totals.at(i);
        rows += totals.at(i);
    }
    json["rows"] = rows;
    return json;
}

// All but the rows.
Json summary_json(const SweepReport &report) {
    Json json = completeness(report.cut_short_by);
    json["tables"] = Json::array();
    for (const Table &table : report.tables) {
        Json entry{{"table", table.name}};
        entry.update(totals_json(report.totals(&table)));
        json["tables"].push_back(std::move(entry));
    }
    json["totals"] = totals_json(report.totals());
    json["virtual_time_ms"] = report.virtual_ms;
    json["complaints"] = json_of(report.complaints);
    return json;
}

Json whole_json(const SweepReport &report) {
    Json json = tagged("ds3000.sweep/1", summary_json(report));
    json["transponders"] = row_objects(report);
    return json;
}

// A table's line among the totals.
struct TableTotals {
    std::string name;
    ClassTotals totals;
};

template <RowClass row_class>
std::string count_of(const TableTotals &row) {
    return fmt::format("{}", row.totals.at(static_cast<std::size_t>(row_class)));
}

constexpr auto totals_columns = std::to_array<Column<TableTotals>>(
    {{"table", [](const TableTotals &row) { return row.name; }},
     {"locked", count_of<RowClass::locked>, Align::right, 8},
     {"no data", count_of<RowClass::locked_without_data>, Align::right, 8},
     {"no lock", count_of<RowClass::no_lock>, Align::right, 8},
     {"out of range", count_of<RowClass::out_of_range>, Align::right, 12},
     {"refused", count_of<RowClass::refused>, Align::right, 8},
     {"unusable", count_of<RowClass::unusable_row>, Align::right, 9}});

std::vector<TableTotals> totals_by_table(const SweepReport &report) {
    std::vector<TableTotals> rows;
    for (const Table &table : report.tables) {
        rows.push_back({table.name, report.totals(&table)});
    }
    if (report.tables.size() > 1) {
        rows.push_back({"all", report.totals()});
    }
    return rows;
}

// Why rows are without lock or data, the most frequent reason first.
void write_reasons(Output &output, const SweepReport &report) {
    std::map<std::string, unsigned> counts;
    for (const SweptRow &row : report.rows) {
        if (row.row_class == RowClass::no_lock) {
            ++counts["no lock, " + row.reason];
        } else if (row.row_class == RowClass::locked_without_data) {
            ++counts["no data, " + row.reason];
        }
    }
    std::vector<std::pair<unsigned, std::string>> ordered;
    ordered.reserve(counts.size());
    for (const auto &[reason, count] : counts) {
        ordered.emplace_back(count, reason);
    }
    std::sort(ordered.rbegin(), ordered.rend());
    for (const auto &[count, reason] : ordered) {
        output.line(fmt::format("{}: {}", reason, count));
    }
}

void write_text(Output &output, const SweepReport &report) {
    write_aligned(output, sheet_of(totals_columns, totals_by_table(report)), 1);
    write_reasons(output, report);
    output.line(fmt::format("{} in {:.1f} s of the receiver's time, {:.1f} s on the wall{}",
                            counted(report.rows.size(), "row"),
                            static_cast<double>(report.virtual_ms) / 1e3,
                            static_cast<double>(report.wall_ms) / 1e3,
                            report.complete() ? "" : ", " + report.cut_short_by));
}

}  // namespace

SweepWriter::SweepWriter(Output &output, bool every_row)
    : rows_(output, sheet_members), every_row_(every_row) {}

void SweepWriter::write(const SweptRow &row) {
    rows_.show({.text =
                    [&](Output &text) {
                        if (every_row_) {
                            text.line(line_of(row));
                        }
                    },
                .line = [&] { return tagged("ds3000.sweep.row/1", row_json(row)); },
                .cells = [&] { return sheet_of(sheet_members, {row_json(row)}).rows.front(); }});
}

void SweepWriter::finish(const SweepReport &report) {
    rows_.finish(
        {.text = [&](Output &text) { write_text(text, report); },
         .json = [&] { return whole_json(report); },
         .lines =
             [&] { return std::vector{tagged("ds3000.sweep.summary/1", summary_json(report))}; }});
}

std::string line_of(const SweptRow &row) {
    std::string text =
        fmt::format("{:<12} {}:{}", to_string(row.row_class), row.table->name, row.place.row);
    if (row.transponder) {
        text += fmt::format("  {}", broadcast::describe(*row.transponder));
    }
    if (row.lock_ms) {
        text += fmt::format("  {} ms", *row.lock_ms);
    }
    text += restarts_in_words(row.restarts.value_or(0));
    if (row.signal) {
        text += fmt::format(", {} dB, {} %", row.signal->quality_db, row.signal->strength_percent);
    }
    for (const std::string &remark : {row.explanation, row.obstacle}) {
        text += remark.empty() ? "" : fmt::format("  {}", remark);
    }
    return text;
}

}  // namespace host
