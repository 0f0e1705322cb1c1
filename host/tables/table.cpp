// SPDX-License-Identifier: MIT
#include "host/tables/table.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <iterator>
#include <limits>
#include <optional>
#include <utility>
#include <variant>

#include "broadcast/modcod.h"
#include "host/cable/frequency.h"
#include "host/tables/receiver_lists.h"
#include "host/tables/satellites_xml.h"
#include "host/tables/vocabulary.h"
#include "host/terminal/same_word.h"
#include "host/terminal/suggestion.h"

namespace host {

namespace {

// No satellite transmits outside these; a number below is a frequency in MHz, one above in Hz.
constexpr std::uint32_t lowest_khz = 1'000'000;
constexpr std::uint32_t highest_khz = 45'000'000;

// How programs write a number that they do not know.
constexpr std::uint32_t unknown = 0xFFFFFFFF;

// The word that a group says behind a key; open without one.
template <typename Value>
Word<Value> word_of(const TableGroup &group, const Key<Value> &key) {
    const TableLine *line = group.find(key.name);
    const Word<Value> *word = line == nullptr ? nullptr : key.find(line->value);
    return word == nullptr ? Word<Value>{} : *word;
}

template <typename Value>
bool has_no_word_for(const Key<Value> &key, const TableLine &line) {
    return line.key == key.name && key.find(line.value) == nullptr;
}

// The complaint about the first line whose key has no such word; empty without one.
std::string word_fault(const TableGroup &group) {
    for (const TableLine &line : group.lines) {
        if (has_no_word_for(delivery_system_key, line) || has_no_word_for(polarisation_key, line) ||
            has_no_word_for(modulation_key, line) || has_no_word_for(code_rate_key, line) ||
            has_no_word_for(roll_off_key, line) || has_no_word_for(pilot_key, line) ||
            has_no_word_for(inversion_key, line)) {
            return fmt::format("value {} is invalid for {}", line.value, line.key);
        }
    }
    return "";
}

std::uint32_t number_of(const TableGroup &group, std::string_view key) {
    const TableLine *line = group.find(key);
    return line == nullptr ? unknown : whole_number(line->value).value_or(unknown);
}

// A row without its place and name, or the reason why it is none.
using RowReading = std::variant<TableRow, std::string>;

constexpr std::uint32_t switch_ports = 4;

std::string frequency_fault(std::uint32_t khz) {
    if (khz == unknown || khz == 0) {
        return "no frequency";
    }
    if (khz < lowest_khz) {
        return fmt::format("frequency {} kHz is too low; is it in MHz?", khz);
    }
    if (khz > highest_khz) {
        return fmt::format("frequency {} kHz is too high; is it in Hz?", khz);
    }
    return "";
}

std::string symbol_rate_fault(std::uint32_t rate) {
    if (rate == unknown || rate == 0) {
        return "no symbol rate";
    }
    if (rate < lowest_symbol_rate || rate > highest_symbol_rate) {
        return fmt::format("absurd symbol rate: {} sym/s", rate);
    }
    return "";
}

// Read the keys that only refine the carrier.
std::string refine(const TableGroup &group, broadcast::Transponder &transponder) {
    const auto modulation = word_of(group, modulation_key);
    if (modulation.sense == Sense::foreign) {
        return "a modulation that is not transmitted by satellite";
    }
    // Where a table leaves the modulation open, QPSK is meant.
    transponder.modulation = modulation.value_or(broadcast::Modulation::qpsk);
    const auto code_rate = word_of(group, code_rate_key);
    if (code_rate.sense == Sense::foreign) {
        return "a code rate that is not transmitted by satellite";
    }
    if (code_rate.sense == Sense::value) {
        transponder.code_rate = code_rate.value;
    }
    transponder.roll_off = word_of(group, roll_off_key).value_or(broadcast::RollOff::r35);
    transponder.pilots = word_of(group, pilot_key).value_or(false);
    transponder.inverted = word_of(group, inversion_key).value_or(false);
    return threshold_db(transponder) ? ""
                                     : fmt::format("{} has no {}", to_string(transponder.system),
                                                   modcod_name(transponder));
}

RowReading read_row(const TableGroup &group) {
    const auto system = word_of(group, delivery_system_key);
    if (system.sense != Sense::value) {
        return system.sense == Sense::open ? "no delivery system"
                                           : "a delivery system other than DVB-S and DVB-S2";
    }
    TableRow row;
    row.transponder.system = system.value;
    row.transponder.frequency_khz = number_of(group, frequency_key);
    if (std::string fault = frequency_fault(row.transponder.frequency_khz); !fault.empty()) {
        return fault;
    }
    row.transponder.symbol_rate = number_of(group, symbol_rate_key);
    if (std::string fault = symbol_rate_fault(row.transponder.symbol_rate); !fault.empty()) {
        return fault;
    }
    const auto polarisation = word_of(group, polarisation_key);
    if (polarisation.sense != Sense::value) {
        return "no polarisation";
    }
    row.transponder.polarisation = polarisation.value;
    if (const std::uint32_t port = number_of(group, satellite_key); port != unknown) {
        if (port >= switch_ports) {
            return fmt::format("SAT_NUMBER {} is no port of a committed switch", port);
        }
        row.switch_port = port + 1;
    }
    if (std::string fault = refine(group, row.transponder); !fault.empty()) {
        return fault;
    }
    return row;
}

RowReading read_group(const TableGroup &group) {
    if (!group.fault.empty()) {
        return group.fault;
    }
    if (std::string fault = word_fault(group); !fault.empty()) {
        return fault;
    }
    return read_row(group);
}

Table table_of(const std::vector<TableGroup> &groups, const std::filesystem::path &file,
               const std::string &name) {
    Table table;
    table.file = file;
    table.name = name;
    unsigned number = 0;
    for (const TableGroup &group : groups) {
        const RowPlace place{++number, group.line};
        RowReading reading = read_group(group);
        if (auto *row = std::get_if<TableRow>(&reading)) {
            row->place = place;
            row->name = group.name;
            row->transponder.source = fmt::format("{}:{}", table.name, place.row);
            table.rows.push_back(std::move(*row));
        } else {
            table.rejected.push_back({place, std::get<std::string>(reading)});
        }
    }
    return table;
}

using Choice = std::vector<const TableRow *>;

Choice rows_with(const Table &table, const auto &fits) {
    Choice choice;
    for (const TableRow &row : table.rows) {
        if (fits(row)) {
            choice.push_back(&row);
        }
    }
    return choice;
}

Choice rows_named(const Table &table, const std::string &name) {
    return rows_with(table, [&name](const TableRow &row) {
        return !row.name.empty() && same_word(row.name, name);
    });
}

std::vector<std::string> names_in(const Table &table) {
    std::vector<std::string> names;
    std::transform(table.rows.begin(), table.rows.end(), std::back_inserter(names),
                   [](const TableRow &row) { return row.name; });
    return names;
}

Choice rows_numbered(const Table &table, const std::string &number) {
    if (number.empty() || number.size() > 5 ||
        !std::all_of(number.begin(), number.end(), [](unsigned char c) { return isdigit(c); })) {
        return {};
    }
    return rows_with(table, [wanted = std::stoul(number)](const TableRow &row) {
        return row.place.row == wanted;
    });
}

Choice rows_at_frequency(const Table &table, std::string_view text) {
    constexpr std::uint32_t tolerance_khz = 2000;
    constexpr std::uint32_t unreachable_khz = std::numeric_limits<std::uint32_t>::max();
    DownlinkReading wanted;
    try {
        wanted = parse_downlink(text);
    } catch (const ReadingError &) {
        return {};
    }
    const std::uint32_t khz = wanted.frequency.khz;
    const auto polarisation = wanted.polarisation;
    std::uint32_t nearest_khz = tolerance_khz;
    const auto distance_khz = [khz, polarisation](const TableRow &row) {
        const std::uint32_t at = row.transponder.frequency_khz;
        const bool fits = !polarisation || row.transponder.polarisation == *polarisation;
        return !fits ? unreachable_khz : at > khz ? at - khz : khz - at;
    };
    for (const TableRow &row : table.rows) {
        nearest_khz = std::min(nearest_khz, distance_khz(row));
    }
    return rows_with(table, [&](const TableRow &row) { return distance_khz(row) == nearest_khz; });
}

// Tables repeat rows; any of them will do.
bool all_alike(const Choice &choice) {
    return std::all_of(choice.begin(), choice.end(), [&choice](const TableRow *row) {
        const broadcast::Transponder &a = row->transponder;
        const broadcast::Transponder &b = choice.front()->transponder;
        return a.frequency_khz == b.frequency_khz && a.polarisation == b.polarisation &&
               a.symbol_rate == b.symbol_rate && a.system == b.system;
    });
}

}  // namespace

broadcast::Satellite Table::satellite() const {
    broadcast::Satellite satellite{name, {}};
    for (const TableRow &row : rows) {
        satellite.transponders.push_back(row.transponder);
    }
    return satellite;
}

broadcast::Satellite Table::satellite_at(unsigned switch_port) const {
    broadcast::Satellite satellite{name, {}};
    for (const TableRow &row : rows) {
        if (row.switch_port == switch_port) {
            satellite.transponders.push_back(row.transponder);
        }
    }
    return satellite;
}

Table read_table(const std::filesystem::path &file, const std::string &satellite) {
    return parse_table(read_table_text(file), file, satellite);
}

Table parse_table(std::string_view text, const std::filesystem::path &file,
                  const std::string &satellite) {
    if (list_form_of(file.string()) == ListForm::satellites_xml) {
        const XmlSatellite read = read_satellites_xml(text, file.string(), satellite);
        return table_of(read.groups, file, read.name);
    }
    return table_of(split_table(text, file.string()), file, file.filename().string());
}

const TableRow &find_row(const Table &table, const std::string &selector) {
    Choice choice = rows_named(table, selector);
    if (choice.empty()) {
        choice = rows_numbered(table, selector);
    }
    if (choice.empty()) {
        choice = rows_at_frequency(table, selector);
    }
    if (choice.empty()) {
        throw NoSuchRow(
            fmt::format("'{}' is no name, number or frequency of a usable row in {}{}; see "
                        "ds3000-ctl list transponders {}",
                        selector, table.file.string(), did_you_mean(selector, names_in(table)),
                        table.file.string()));
    }
    if (!all_alike(choice)) {
        std::string rows;
        for (const TableRow *row : choice) {
            rows +=
                fmt::format("\n  {}: {}", row->place.row, broadcast::describe(row->transponder));
        }
        throw FormError(fmt::format("'{}' fits {} rows of {}; give the row's number:{}", selector,
                                    choice.size(), table.file.string(), rows));
    }
    return *choice.front();
}

}  // namespace host
