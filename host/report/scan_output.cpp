// SPDX-License-Identifier: MIT
#include "host/report/scan_output.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

#include "host/cable/describe.h"
#include "host/cable/frequency.h"
#include "host/cable/lnb.h"
#include "host/cable/lnb_choice.h"
#include "host/report/scan_verdict.h"
#include "host/report/spectrum_output.h"
#include "host/terminal/counted.h"
#include "host/terminal/presentation.h"

namespace host {

namespace {

Json transponder_json(const FoundTransponder &found) {
    Json json{{"leg", found.leg + 1}};
    if (found.port != 0) {
        json["port"] = found.port;
    }
    json["frequency_khz"] = found.frequency_khz;
    json["polarisation"] = polarisation_letter(found.polarisation);
    json["symbol_rate_sps"] = found.symbol_rate;
    json.update(json_of(found.signal));
    if (found.quality_db) {
        json["quality_db"] = *found.quality_db;
    }
    if (found.strength_percent) {
        json["strength_percent"] = *found.strength_percent;
    }
    json["if_khz"] = found.if_khz;
    if (!found.without_data.empty()) {
        json["without_data"] = found.without_data;
    }
    return json;
}

Json leg_json(const ScannedLeg &scanned) {
    Json json = json_of(scanned.leg);
    json["complete"] = scanned.result.complete;
    json["candidates"] = scanned.result.candidates;
    if (scanned.result.lost != 0) {
        json["candidates_lost"] = scanned.result.lost;
    }
    json["locked"] = scanned.result.found.size();
    for (const CalledOff &ended : scanned.result.called_off) {
        json["called_off"].push_back(
            {{"transfers", ended.transfers}, {"ended_in_ms", ended.ended_in_ms}});
    }
    json["virtual_time_ms"] = scanned.result.time_ms;
    return json;
}

Json row_json(const ComparedRow &row) {
    Json json{{"row", row.row.place.row}, {"line", row.row.place.line}};
    if (!row.row.name.empty()) {
        json["name"] = row.row.name;
    }
    json.update(json_of(row.row.transponder));
    if (row.found) {
        json["transponder"] = *row.found + 1;
    }
    if (row.receivable) {
        json["receivable"] = *row.receivable;
        json["findable"] = *row.findable;
    }
    if (!row.cause.empty()) {
        json["cause"] = row.cause;
    }
    return json;
}

// How far a found row's transponder lies above its place.
std::int64_t offset_khz(const ScanResult &result, const ComparedRow &row) {
    return std::int64_t{result.transponders.at(*row.found).frequency_khz} -
           row.row.transponder.frequency_khz;
}

// The row that a transponder matches, if one does.
const ComparedRow *row_of(const ScanResult &result, std::size_t transponder) {
    if (!result.comparison) {
        return nullptr;
    }
    const auto &rows = result.comparison->rows;
    const auto row = std::find_if(rows.begin(), rows.end(), [transponder](const ComparedRow &r) {
        return r.found == transponder;
    });
    return row == rows.end() ? nullptr : &*row;
}

// How many rows have a quality, and how many of these were missed.
void count_rows(Json &json, const std::string &name, const Comparison &comparison,
                std::optional<bool> ComparedRow::*quality) {
    const auto has = [quality](const ComparedRow &row) { return (row.*quality).value_or(false); };
    json[name] = std::count_if(comparison.rows.begin(), comparison.rows.end(), has);
    json[name + "_missed"] =
        std::count_if(comparison.rows.begin(), comparison.rows.end(),
                      [&has](const ComparedRow &row) { return has(row) && !row.found; });
}

Json counts_json(const Comparison &comparison) {
    Json json{{"table", comparison.table},
              {"rows_compared", comparison.rows.size()},
              {"rows_outside", comparison.rows_outside},
              {"rows_repeated", comparison.rows_repeated},
              {"rows_found", comparison.found()},
              {"rows_missed", comparison.missed()},
              {"transponders_unexpected", comparison.unexpected.size()}};
    if (comparison.common_offset_khz) {
        json["common_offset_khz"] = *comparison.common_offset_khz;
    }
    if (!comparison.rows.empty() && comparison.rows.front().receivable) {
        count_rows(json, "rows_receivable", comparison, &ComparedRow::receivable);
        count_rows(json, "rows_findable", comparison, &ComparedRow::findable);
    }
    return json;
}

Json comparison_json(const ScanResult &result) {
    const Comparison &comparison = *result.comparison;
    Json json = counts_json(comparison);
    json["found"] = Json::array();
    json["missed"] = Json::array();
    json["unexpected"] = Json::array();
    for (const ComparedRow &row : comparison.rows) {
        json[row.found ? "found" : "missed"].push_back(row_json(row));
        if (row.found) {
            json["found"].back()["offset_khz"] = offset_khz(result, row);
        }
    }
    for (const std::size_t index : comparison.unexpected) {
        json["unexpected"].push_back(index + 1);
    }
    return json;
}

Json summary_json(const ScanResult &result) {
    Json json = completeness(result.cut_short_by);
    if (!result.note.empty()) {
        json["note"] = result.note;
    }
    json["lnb"] = json_of(result.lnb);
    json["algorithm"] = algorithm_name(result.settings.algorithm);
    json["passes"] = result.settings.passes;
    if (result.settings.user_band) {
        json["user_band"] = {{"index", result.settings.user_band->index},
                             {"frequency_mhz", result.settings.user_band->frequency_mhz}};
    }
    json["legs_planned"] = result.legs_planned;
    json["legs"] = Json::array();
    for (const ScannedLeg &leg : result.legs) {
        json["legs"].push_back(leg_json(leg));
    }
    json["virtual_time_ms"] = result.time_ms;
    if (result.shows_wall_time) {
        json["wall_time_ms"] = result.wall_ms;
    }
    add_complaints(json, result.complaints);
    return json;
}

bool is_unexpected(const ScanResult &result, std::size_t index) {
    const auto &unexpected = result.comparison->unexpected;
    return std::find(unexpected.begin(), unexpected.end(), index) != unexpected.end();
}

// "found" or "unexpected"; empty without a comparison.
std::string state_of(const ScanResult &result, std::size_t index) {
    if (!result.comparison) {
        return "";
    }
    return is_unexpected(result, index) ? "unexpected" : "found";
}

Json whole_json(const ScanResult &result) {
    Json json = tagged("ds3000.scan/1", summary_json(result));
    json["transponders"] = Json::array();
    for (const FoundTransponder &found : result.transponders) {
        json["transponders"].push_back(transponder_json(found));
    }
    if (result.comparison) {
        json["comparison"] = comparison_json(result);
    }
    return json;
}

std::vector<Json> last_line(const ScanResult &result) {
    Json line = tagged("ds3000.scan.summary/1", summary_json(result));
    if (result.comparison) {
        line["comparison"] = counts_json(*result.comparison);
    }
    return {line};
}

std::vector<std::string> members(bool compares) {
    std::vector<std::string> names{"frequency_khz", "polarisation", "symbol_rate_sps",  "system",
                                   "modulation",    "code_rate",    "roll_off",         "pilots",
                                   "inverted",      "quality_db",   "strength_percent", "port",
                                   "leg",           "if_khz",       "without_data",     "replaces"};
    if (compares) {
        names.insert(names.end(), {"state", "row", "cause", "nominal_khz", "offset_khz"});
    }
    return names;
}

std::string bare(const std::string &text_with_unit) {
    return text_with_unit.substr(0, text_with_unit.find(' '));
}

// Of what the driver need not have measured.
template <typename Value>
std::string text_of(const std::optional<Value> &value) {
    return value ? to_string(*value) : "";
}

std::string text_of(const std::optional<bool> &value) {
    return value ? (*value ? "yes" : "no") : "";
}

constexpr auto found_columns = std::to_array<Column<FoundTransponder>>(
    {{"MHz", [](const FoundTransponder &found) { return bare(format_mhz(found.frequency_khz)); },
      Align::left, 9},
     {"pol", [](const FoundTransponder &found) { return polarisation_letter(found.polarisation); }},
     {"ksym/s", [](const FoundTransponder &found) { return bare(format_ksps(found.symbol_rate)); }},
     {"system", [](const FoundTransponder &found) { return to_string(found.signal.system); },
      Align::left, 7},
     {"modulation", [](const FoundTransponder &found) { return text_of(found.signal.modulation); }},
     {"FEC", [](const FoundTransponder &found) { return text_of(found.signal.code_rate); },
      Align::left, 4},
     {"pilots", [](const FoundTransponder &found) { return text_of(found.signal.pilots); }},
     {"roll-off", [](const FoundTransponder &found) { return text_of(found.signal.roll_off); }},
     {"inverted", [](const FoundTransponder &found) { return text_of(found.signal.inverted); }},
     {"quality",
      [](const FoundTransponder &found) {
          return found.quality_db ? fmt::format("{} dB", *found.quality_db) : "";
      }},
     {"strength",
      [](const FoundTransponder &found) {
          return found.strength_percent ? fmt::format("{} %", *found.strength_percent) : "";
      }},
     {"port",
      [](const FoundTransponder &found) {
          return found.port != 0 ? fmt::format("{}", found.port) : "";
      }},
     {"data", [](const FoundTransponder &found) {
          return std::string(found.without_data.empty() ? "" : "none");
      }}});

void write_comparison(Output &output, const ScanResult &result) {
    const Comparison &comparison = *result.comparison;
    output.line(verdict_of(result));
    output.line(fmt::format(
        "against {}: {} of {} found, {} missed, {} unexpected; {} outside the scan, {} repeated",
        comparison.table, comparison.found(), counted(comparison.rows.size(), "row"),
        comparison.missed(), comparison.unexpected.size(), counted(comparison.rows_outside, "row"),
        comparison.rows_repeated));
    for (const ComparedRow &row : comparison.rows) {
        if (!row.found) {
            output.line(fmt::format("missed      {}:{}  {}{}", comparison.table, row.row.place.row,
                                    headline(row.row.transponder),
                                    row.cause.empty() ? "" : "  " + row.cause));
        }
    }
    for (const std::size_t index : comparison.unexpected) {
        const FoundTransponder &found = result.transponders[index];
        output.line(fmt::format("unexpected  {} {}, {}, {}{}", format_mhz(found.frequency_khz),
                                polarisation_letter(found.polarisation),
                                format_ksps(found.symbol_rate), to_string(found.signal.system),
                                found.port != 0 ? fmt::format(", port {}", found.port) : ""));
    }
}

// What a leg's list had no room for, and how scans ended that were called off.
void write_rehearsals(Output &output, const ScannedLeg &scanned) {
    const LegResult &leg = scanned.result;
    if (leg.lost != 0) {
        output.line(fmt::format("{}: no room in the list for {}", scanned.leg.label(),
                                counted(leg.lost, "candidate")));
    }
    if (!leg.called_off.empty()) {
        const auto latest = std::max_element(
            leg.called_off.begin(), leg.called_off.end(),
            [](const CalledOff &a, const CalledOff &b) { return a.ended_in_ms < b.ended_in_ms; });
        output.line(fmt::format("{}: called off {}, ended within {} ms", scanned.leg.label(),
                                times_in_words(leg.called_off.size()), latest->ended_in_ms));
    }
}

void write_text(Output &output, const ScanResult &result) {
    if (result.comparison) {
        write_comparison(output, result);
    }
    for (const ScannedLeg &scanned : result.legs) {
        write_rehearsals(output, scanned);
    }
    output.line(fmt::format(
        "{} in {} of {}, {:.1f} s of the receiver's time, {:.1f} s on the wall{}",
        counted(result.transponders.size(), "transponder"), result.legs_complete(),
        counted(result.legs_planned, "leg"), static_cast<double>(result.time_ms) / 1000.0,
        static_cast<double>(result.wall_ms) / 1000.0,
        result.complete() ? "" : "; " + result.cut_short_by));
}

ReportTransponder report_row(const FoundTransponder &found) {
    ReportTransponder row;
    row.frequency_mhz = found.frequency_khz / 1000.0;
    row.polarisation = polarisation_letter(found.polarisation);
    row.symbol_rate_ksps = found.symbol_rate / 1000.0;
    row.system = to_string(found.signal.system);
    row.modulation = text_of(found.signal.modulation);
    row.fec = text_of(found.signal.code_rate);
    row.roll_off = text_of(found.signal.roll_off);
    row.inversion = found.signal.inverted ? (*found.signal.inverted ? "inverted" : "normal") : "";
    row.pilots = found.signal.pilots;
    row.quality_db = found.quality_db;
    row.strength_percent = found.strength_percent;
    row.port = found.port;
    row.leg = found.leg;
    return row;
}

ReportLeg page_leg(const ScannedLeg &scanned) {
    ReportLeg picture = picture_of(scanned.leg, scanned.spectrum);
    if (!scanned.truth.empty()) {
        picture.traces.push_back(simulated_trace(scanned.truth));
    }
    return picture;
}

// The first leg that should have shown a row.
std::size_t leg_for(const broadcast::Transponder &transponder,
                    const std::vector<ScannedLeg> &legs) {
    const auto shows = [&transponder](const ScannedLeg &scanned) {
        return scanned.leg.covers(transponder);
    };
    return static_cast<std::size_t>(std::find_if(legs.begin(), legs.end(), shows) - legs.begin());
}

ReportTransponder report_row(const ComparedRow &row, const std::vector<ScannedLeg> &legs) {
    const broadcast::Transponder &transponder = row.row.transponder;
    ReportTransponder missed;
    missed.frequency_mhz = transponder.frequency_khz / 1000.0;
    missed.nominal_mhz = missed.frequency_mhz;
    missed.polarisation = polarisation_letter(transponder.polarisation);
    missed.symbol_rate_ksps = transponder.symbol_rate / 1000.0;
    missed.system = to_string(transponder.system);
    missed.leg = leg_for(transponder, legs);
    missed.port = legs.at(missed.leg).leg.cable.switch_port;
    missed.state = ReportState::missed;
    missed.note = row.cause;
    return missed;
}

std::vector<broadcast::Transponder> carriers_of(const ScanResult &result) {
    std::vector<broadcast::Transponder> carriers;
    for (const FoundTransponder &found : result.transponders) {
        broadcast::Transponder &carrier = carriers.emplace_back();
        carrier.frequency_khz = found.frequency_khz;
        carrier.polarisation = found.polarisation;
        carrier.symbol_rate = found.symbol_rate;
    }
    return carriers;
}

// The LNB's name where a reader would count on another one; empty where it has none that others
// know.
std::string lnb_to_tell(const broadcast::Lnb &lnb, const broadcast::Lnb &usual) {
    const bool is_usual = lnb.low_khz == usual.low_khz && lnb.high_khz == usual.high_khz &&
                          lnb.switch_khz == usual.switch_khz;
    const std::vector<broadcast::Lnb> &known = known_lnbs();
    const bool has_name = std::any_of(known.begin(), known.end(),
                                      [&lnb](const auto &type) { return type.name == lnb.name; });
    return has_name && !is_usual ? lnb.name : "";
}

}  // namespace

std::string algorithm_name(scan_algorithm algorithm) {
    return algorithm == SCAN_ALGO_SWEEP ? "sweep" : "stepwise";
}

ScanWriter::ScanWriter(Output &output, bool compares)
    : rows_(output, members(compares)), members_(members(compares)) {}

void ScanWriter::show(const ScanResult &so_far) {
    for (std::size_t i = 0; i < so_far.transponders.size(); ++i) {
        Shown row{so_far.transponders[i], state_of(so_far, i), {}, {}};
        if (const ComparedRow *compared = row_of(so_far, i)) {
            row.nominal_khz = compared->row.transponder.frequency_khz;
            row.offset_khz = offset_khz(so_far, *compared);
        }
        const auto same = [&row](const Shown &earlier) {
            return earlier.transponder == row.transponder && earlier.state == row.state &&
                   earlier.nominal_khz == row.nominal_khz;
        };
        if (std::none_of(shown_.begin(), shown_.end(), same)) {
            show_new(row, so_far);
        }
    }
}

// The numbers of the rows that this one takes the place of: what it was itself before, and what is
// not listed any more because of it.
std::vector<std::size_t> ScanWriter::replace_by(const Shown &row, const ScanResult &so_far) {
    std::vector<std::size_t> numbers;
    for (std::size_t i = 0; i < shown_.size(); ++i) {
        Shown &earlier = shown_[i];
        const auto &listed = so_far.transponders;
        const bool is_gone =
            std::find(listed.begin(), listed.end(), earlier.transponder) == listed.end() &&
            takes_the_place_of(row.transponder, earlier.transponder);
        if (!earlier.replaced && (is_gone || earlier.transponder == row.transponder)) {
            earlier.replaced = true;
            numbers.push_back(i + 1);
        }
    }
    return numbers;
}

void ScanWriter::show_new(const Shown &row, const ScanResult &so_far) {
    const std::vector<std::size_t> replaced = replace_by(row, so_far);
    Json json = transponder_json(row.transponder);
    if (!replaced.empty()) {
        json["replaces"] = replaced;
    }
    if (!row.state.empty()) {
        json["state"] = row.state;
    }
    if (row.nominal_khz) {
        json["nominal_khz"] = *row.nominal_khz;
        json["offset_khz"] = *row.offset_khz;
    }
    std::string remark;
    for (const std::size_t number : replaced) {
        const FoundTransponder &earlier = shown_[number - 1].transponder;
        remark += fmt::format("  replaces {} {}", bare(format_mhz(earlier.frequency_khz)),
                              polarisation_letter(earlier.polarisation));
    }
    show_object(json, [&](Output &text) {
        Sheet sheet = sheet_of<FoundTransponder>(found_columns, {row.transponder});
        sheet.rows.front().back() += remark;
        write_aligned_row(text, sheet, shown_.empty());
    });
    shown_.push_back(row);
}

void ScanWriter::show_object(const Json &json, const std::function<void(Output &)> &text) {
    rows_.show({.text = text,
                .line = [&] { return tagged("ds3000.scan.transponder/1", json); },
                .cells = [&] { return sheet_of(members_, {json}).rows.front(); }});
}

void ScanWriter::finish(const ScanResult &result) {
    show(result);
    if (result.comparison) {
        for (const ComparedRow &row : result.comparison->rows) {
            if (!row.found) {
                Json json = row_json(row);
                json["state"] = "missed";
                show_object(json, {});
            }
        }
    }
    rows_.finish({.text = [&](Output &text) { write_text(text, result); },
                  .json = [&] { return whole_json(result); },
                  .lines = [&] { return last_line(result); }});
}

std::vector<WrittenRow> table_rows(const ScanResult &result) {
    std::vector<WrittenRow> rows;
    const std::vector<broadcast::Transponder> carriers = carriers_of(result);
    const LnbChoice usual(carriers);
    for (const FoundTransponder &found : result.transponders) {
        const bool mirrored = result.legs.at(found.leg).leg.lof_above;
        WrittenRow row{found.frequency_khz,     found.polarisation,
                       found.symbol_rate,       found.signal.system,
                       found.signal.modulation, found.signal.code_rate,
                       found.signal.roll_off,   found.signal.pilots,
                       found.signal.inverted,   found.port};
        if (row.inverted) {
            row.inverted = *row.inverted != mirrored;
        }
        row.lnb = lnb_to_tell(result.lnb, usual.for_transponder(carriers[rows.size()]));
        rows.push_back(row);
    }
    return rows;
}

ScanPage page_of(const ScanResult &result, const std::string &title, const FieldRecord &record) {
    ScanPage page;
    page.title = title;
    page.verdict = verdict_of(result);
    page.record = record;
    page.record.push_back({"LNB", lnb_in_words(result.lnb)});
    page.record.push_back(
        {"Scan",
         fmt::format("{}, {} {}{}", algorithm_name(result.settings.algorithm),
                     result.settings.passes, result.settings.passes == 1 ? "pass" : "passes",
                     result.complete() ? "" : ", " + result.cut_short_by)});
    page.record.push_back({"Duration", duration_in_words(result.time_ms)});
    page.compared_with = result.comparison ? result.comparison->table : "";
    std::transform(result.legs.begin(), result.legs.end(), std::back_inserter(page.legs), page_leg);
    for (std::size_t i = 0; i < result.transponders.size(); ++i) {
        page.transponders.push_back(report_row(result.transponders[i]));
        if (const ComparedRow *row = row_of(result, i)) {
            page.transponders.back().nominal_mhz = row->row.transponder.frequency_khz / 1000.0;
            page.transponders.back().offset_khz = offset_khz(result, *row);
        }
        if (result.comparison && is_unexpected(result, i)) {
            page.transponders.back().state = ReportState::unexpected;
        }
    }
    if (result.comparison) {
        for (const ComparedRow &row : result.comparison->rows) {
            if (!row.found) {
                page.transponders.push_back(report_row(row, result.legs));
            }
        }
    }
    return page;
}

}  // namespace host
