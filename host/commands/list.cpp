// SPDX-License-Identifier: MIT
#include "host/commands/list.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <iterator>
#include <string_view>
#include <vector>

#include "host/boards/linux_address.h"
#include "host/cable/describe.h"
#include "host/cable/frequency.h"
#include "host/tables/catalogue.h"
#include "host/tables/table.h"
#include "host/terminal/presentation.h"

namespace host {

namespace {

// A list is a sheet for people and an array of objects for programs.
template <typename Row>
void write_list(const Program &program, std::string_view what, const std::vector<Row> &rows,
                Columns<Row> columns, Json (*object_of)(const Row &)) {
    std::vector<Json> objects;
    std::transform(rows.begin(), rows.end(), std::back_inserter(objects), object_of);
    Output output(program.options.format, program.options.output);
    present(
        output,
        {.text = [&](Output &text) { write_aligned(text, sheet_of(columns, rows)); },
         .json =
             [&] {
                 return Json{{"schema", fmt::format("ds3000.list.{}/1", what)},
                             {"entries", objects}};
             },
         .lines = [&] { return all_tagged(fmt::format("ds3000.list.{}.entry/1", what), objects); },
         .sheet = [&] { return sheet_of(columns, rows); }});
}

std::string mhz_or_nothing(std::uint32_t khz) {
    return khz == 0 ? "" : fmt::format("{}", khz / 1000);
}

constexpr auto lnb_columns = std::to_array<Column<broadcast::Lnb>>(
    {{"name", [](const broadcast::Lnb &lnb) { return lnb.name; }},
     {"low_mhz", [](const broadcast::Lnb &lnb) { return mhz_or_nothing(lnb.low_khz); }},
     {"high_mhz", [](const broadcast::Lnb &lnb) { return mhz_or_nothing(lnb.high_khz); }},
     {"switch_mhz", [](const broadcast::Lnb &lnb) { return mhz_or_nothing(lnb.switch_khz); }},
     {"description", [](const broadcast::Lnb &lnb) { return lnb.description; }}});

Json lnb_object(const broadcast::Lnb &lnb) {
    Json object = json_of(lnb);
    object["description"] = lnb.description;
    return object;
}

struct BoardForm {
    std::string uri;
    std::string description;
};

constexpr auto board_columns = std::to_array<Column<BoardForm>>(
    {{"uri", [](const BoardForm &form) { return form.uri; }},
     {"description", [](const BoardForm &form) { return form.description; }}});

constexpr auto satellite_columns = std::to_array<Column<Table>>(
    {{"table", [](const Table &table) { return table.name; }},
     {"transponders", [](const Table &table) { return std::to_string(table.rows.size()); }},
     {"unusable", [](const Table &table) { return std::to_string(table.rejected.size()); }}});

std::string without_unit(const std::string &text) { return text.substr(0, text.find(' ')); }

constexpr auto transponder_columns = std::to_array<Column<TableRow>>(
    {{"row", [](const TableRow &row) { return std::to_string(row.place.row); }},
     {"frequency_mhz",
      [](const TableRow &row) { return without_unit(format_mhz(row.transponder.frequency_khz)); }},
     {"polarisation",
      [](const TableRow &row) { return polarisation_letter(row.transponder.polarisation); }},
     {"symbol_rate_ksps",
      [](const TableRow &row) { return without_unit(format_ksps(row.transponder.symbol_rate)); }},
     {"system", [](const TableRow &row) { return to_string(row.transponder.system); }},
     {"modcod", [](const TableRow &row) { return broadcast::modcod_name(row.transponder); }},
     {"name", [](const TableRow &row) { return row.name; }}});

Json transponder_object(const TableRow &row) {
    Json object{{"row", row.place.row}, {"line", row.place.line}};
    if (!row.name.empty()) {
        object["name"] = row.name;
    }
    object.update(json_of(row.transponder));
    object["modcod"] = broadcast::modcod_name(row.transponder);
    return object;
}

}  // namespace

ExitStatus list_lnbs(Program &program) {
    program.honour_only("list lnb", {});
    write_list(program, "lnb", known_lnbs(), lnb_columns, lnb_object);
    return ExitStatus::done;
}

ExitStatus list_boards(Program &program) {
    program.honour_only("list boards", {});
    const std::vector<BoardForm> forms{
        {linux_address_form, "a real board on an I2C adapter of this machine"},
        {"replay:FILE", "a recorded session; the driver must do what it did then"},
        {"sim:FILE.toml", "a simulated receiver in the world of a scenario file"},
        {"sim", "a simulated receiver in a built-in world, the default"}};
    write_list<BoardForm>(program, "boards", forms, board_columns, [](const BoardForm &form) {
        return Json{{"uri", form.uri}, {"description", form.description}};
    });
    return ExitStatus::done;
}

ExitStatus list_satellites(Program &program) {
    program.honour_only("list satellites", {});
    std::vector<Table> tables;
    for (const auto &file : installed_tables()) {
        tables.push_back(read_table(file));
    }
    if (tables.empty()) {
        throw Failure(ExitStatus::nothing_found,
                      fmt::format("there are no tables in {}; install dtv-scan-tables",
                                  table_folder().string()));
    }
    write_list<Table>(program, "satellites", tables, satellite_columns, [](const Table &table) {
        return Json{{"table", table.name},
                    {"transponders", table.rows.size()},
                    {"unusable", table.rejected.size()}};
    });
    return ExitStatus::done;
}

ExitStatus list_transponders(Program &program, const ListTranspondersOptions &options) {
    program.honour_only("list transponders", {});
    const Table table = table_named(options.table);
    for (const RejectedRow &row : table.rejected) {
        program.console.note(fmt::format("{}:{}: row {} is unusable: {}", table.file.string(),
                                         row.place.line, row.place.row, row.reason));
    }
    write_list(program, "transponders", table.rows, transponder_columns, transponder_object);
    return ExitStatus::done;
}

}  // namespace host
