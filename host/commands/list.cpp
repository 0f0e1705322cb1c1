// SPDX-License-Identifier: MIT
#include "host/commands/list.h"

#include <fmt/format.h>

#include "host/boards/linux_address.h"
#include "host/cable/describe.h"
#include "host/cable/frequency.h"
#include "host/tables/catalogue.h"
#include "host/tables/table.h"

namespace host {

namespace {

// A list is a table of strings for people and an array of objects for programs.
class Listing {
 public:
    Listing(std::string what, std::vector<std::string> columns)
        : what_(std::move(what)), columns_(std::move(columns)) {}

    void add(std::vector<std::string> fields, Json object) {
        rows_.push_back(std::move(fields));
        objects_.push_back(std::move(object));
    }

    void write(const GlobalOptions &options) const {
        Output output(options.format, options.output);
        switch (options.format) {
            case Format::text:
                write_text(output);
                break;
            case Format::csv:
                output.csv_row(columns_);
                for (const auto &row : rows_) {
                    output.csv_row(row);
                }
                break;
            case Format::json:
                output.json(Json{{"schema", fmt::format("ds3000.list.{}/1", what_)},
                                 {"entries", objects_}});
                break;
            case Format::jsonl:
                for (const Json &object : objects_) {
                    Json line{{"schema", fmt::format("ds3000.list.{}.entry/1", what_)}};
                    line.update(object);
                    output.json(line);
                }
                break;
        }
        output.finish();
    }

 private:
    void write_text(Output &output) const {
        std::vector<std::size_t> widths(columns_.size());
        for (std::size_t i = 0; i < columns_.size(); ++i) {
            widths[i] = columns_[i].size();
            for (const auto &row : rows_) {
                widths[i] = std::max(widths[i], row[i].size());
            }
        }
        write_text_row(output, widths, columns_);
        for (const auto &row : rows_) {
            write_text_row(output, widths, row);
        }
    }

    static void write_text_row(Output &output, const std::vector<std::size_t> &widths,
                               const std::vector<std::string> &row) {
        std::string line;
        for (std::size_t i = 0; i < row.size(); ++i) {
            line += fmt::format("{:<{}}", row[i], i + 1 < row.size() ? widths[i] + 2 : 0);
        }
        line.erase(line.find_last_not_of(' ') + 1);
        output.line(line);
    }

    std::string what_;
    std::vector<std::string> columns_;
    std::vector<std::vector<std::string>> rows_;
    Json objects_ = Json::array();
};

std::string mhz_or_nothing(std::uint32_t khz) {
    return khz == 0 ? "" : fmt::format("{}", khz / 1000);
}

}  // namespace

ExitStatus list_lnbs(Program &program) {
    program.honour_only("list lnb", {});
    Listing listing("lnb", {"name", "low_mhz", "high_mhz", "switch_mhz", "description"});
    for (const broadcast::Lnb &lnb : known_lnbs()) {
        Json object = json_of(lnb);
        object["description"] = lnb.description;
        listing.add({lnb.name, mhz_or_nothing(lnb.low_khz), mhz_or_nothing(lnb.high_khz),
                     mhz_or_nothing(lnb.switch_khz), lnb.description},
                    std::move(object));
    }
    listing.write(program.options);
    return ExitStatus::done;
}

ExitStatus list_boards(Program &program) {
    program.honour_only("list boards", {});
    Listing listing("boards", {"uri", "description"});
    for (const auto &[uri, description] :
         {std::pair{"sim", "a simulated receiver in a built-in world"},
          std::pair{"sim:FILE.toml", "a simulated receiver in the world of a scenario file"},
          std::pair{linux_address_form, "a real board on an I2C adapter of this machine"},
          std::pair{"replay:FILE", "a recorded session; the driver must do what it did then"}}) {
        listing.add({uri, description}, Json{{"uri", uri}, {"description", description}});
    }
    listing.write(program.options);
    return ExitStatus::done;
}

ExitStatus list_satellites(Program &program) {
    program.honour_only("list satellites", {});
    Listing listing("satellites", {"table", "transponders", "unusable"});
    const auto files = installed_tables();
    if (files.empty()) {
        throw Failure(ExitStatus::nothing_found,
                      fmt::format("there are no tables in {}; install dtv-scan-tables",
                                  table_folder().string()));
    }
    for (const auto &file : files) {
        const Table table = read_table(file);
        listing.add(
            {table.name, std::to_string(table.rows.size()), std::to_string(table.rejected.size())},
            Json{{"table", table.name},
                 {"transponders", table.rows.size()},
                 {"unusable", table.rejected.size()}});
    }
    listing.write(program.options);
    return ExitStatus::done;
}

ExitStatus list_transponders(Program &program, const ListTranspondersOptions &options) {
    program.honour_only("list transponders", {});
    const Table table = read_table(find_table(options.table));
    Listing listing("transponders", {"row", "frequency_mhz", "polarisation", "symbol_rate_ksps",
                                     "system", "modcod", "name"});
    for (const TableRow &row : table.rows) {
        const broadcast::Transponder &transponder = row.transponder;
        Json object{{"row", row.place.row}, {"line", row.place.line}};
        if (!row.name.empty()) {
            object["name"] = row.name;
        }
        object.update(json_of(transponder));
        object["modcod"] = broadcast::modcod_name(transponder);
        const auto number = [](const std::string &text) { return text.substr(0, text.find(' ')); };
        listing.add({std::to_string(row.place.row), number(format_mhz(transponder.frequency_khz)),
                     polarisation_letter(transponder.polarisation),
                     number(format_ksps(transponder.symbol_rate)), to_string(transponder.system),
                     broadcast::modcod_name(transponder), row.name},
                    std::move(object));
    }
    for (const RejectedRow &row : table.rejected) {
        program.console.note(fmt::format("{}:{}: row {} is unusable: {}", table.file.string(),
                                         row.place.line, row.place.row, row.reason));
    }
    listing.write(program.options);
    return ExitStatus::done;
}

}  // namespace host
