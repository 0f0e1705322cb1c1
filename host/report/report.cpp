// SPDX-License-Identifier: MIT
#include "host/report/report.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <string_view>
#include <utility>

#include "host/report/report_template.h"
#include "host/terminal/counted.h"
#include "host/terminal/html.h"
#include "host/terminal/output.h"
#include "trace/printable.h"

namespace host {

namespace {

std::string to_string(ReportState state) {
    switch (state) {
        case ReportState::missed:
            return "missed";
        case ReportState::unexpected:
            return "unexpected";
        case ReportState::peak:
            return "peak";
        default:
            return "found";
    }
}

// JSON for the inside of a script element, which only "<" could end: there is none outside strings.
std::string script_data(const Json &json) {
    std::string escaped;
    for (const char c : json_text(json, true)) {
        escaped += c == '<' ? std::string("\\u003c") : std::string(1, c);
    }
    return escaped;
}

// Without the digits of a binary fraction: 11494.123, not 11494.123000000001.
double milli(double value) { return std::round(value * 1000) / 1000; }

std::string trimmed(double value) { return fmt::format("{}", milli(value)); }

// What a cell shows, and what a numeric column is sorted by.
struct Cell {
    std::string text;
    std::optional<double> value = std::nullopt;
};

struct PageColumn {
    const char *key;
    const char *heading;
    const char *unit;
    bool numeric;
    Cell (*cell)(const ScanPage &, const ReportTransponder &);
};

std::string signed_number(std::int64_t value) {
    return value == 0 ? "0" : fmt::format("{:+}", value);
}

Cell optional_number(std::optional<double> value) {
    return value ? Cell{trimmed(*value), value} : Cell{};
}

constexpr std::array page_columns{
    PageColumn{"frequency", "Frequency", "MHz", true,
               [](const ScanPage &, const ReportTransponder &t) {
                   return Cell{fmt::format("{:.3f}", t.frequency_mhz), t.frequency_mhz};
               }},
    PageColumn{"nominal", "In table", "MHz", true,
               [](const ScanPage &, const ReportTransponder &t) {
                   return t.nominal_mhz ? Cell{fmt::format("{:.3f}", *t.nominal_mhz), t.nominal_mhz}
                                        : Cell{};
               }},
    PageColumn{"offset", "Offset", "kHz", true,
               [](const ScanPage &, const ReportTransponder &t) {
                   return t.offset_khz ? Cell{signed_number(*t.offset_khz),
                                              static_cast<double>(*t.offset_khz)}
                                       : Cell{};
               }},
    PageColumn{"polarisation", "Pol.", "", false,
               [](const ScanPage &, const ReportTransponder &t) { return Cell{t.polarisation}; }},
    PageColumn{"symbol-rate", "Symbol rate", "ksym/s", true,
               [](const ScanPage &, const ReportTransponder &t) {
                   return t.symbol_rate_ksps > 0 ? optional_number(t.symbol_rate_ksps) : Cell{};
               }},
    PageColumn{
        "peak-width", "Width", "kHz", true,
        [](const ScanPage &, const ReportTransponder &t) { return optional_number(t.width_khz); }},
    PageColumn{"system", "System", "", false,
               [](const ScanPage &, const ReportTransponder &t) { return Cell{t.system}; }},
    PageColumn{"modulation", "Modulation", "", false,
               [](const ScanPage &, const ReportTransponder &t) { return Cell{t.modulation}; }},
    PageColumn{"fec", "FEC", "", false,
               [](const ScanPage &, const ReportTransponder &t) { return Cell{t.fec}; }},
    PageColumn{"pilots", "Pilots", "", false,
               [](const ScanPage &, const ReportTransponder &t) {
                   return Cell{!t.pilots ? "" : *t.pilots ? "on" : "off"};
               }},
    PageColumn{"roll-off", "Roll-off", "", false,
               [](const ScanPage &, const ReportTransponder &t) { return Cell{t.roll_off}; }},
    PageColumn{"inversion", "Inversion", "", false,
               [](const ScanPage &, const ReportTransponder &t) { return Cell{t.inversion}; }},
    PageColumn{
        "quality", "Quality", "dB", true,
        [](const ScanPage &, const ReportTransponder &t) { return optional_number(t.quality_db); }},
    PageColumn{"strength", "Strength", "%", true,
               [](const ScanPage &, const ReportTransponder &t) {
                   return optional_number(t.strength_percent);
               }},
    PageColumn{"over-noise", "Over noise", "dB", true,
               [](const ScanPage &, const ReportTransponder &t) {
                   return optional_number(t.over_noise_db);
               }},
    PageColumn{"port", "Port", "", true,
               [](const ScanPage &, const ReportTransponder &t) {
                   return t.port == 0 ? Cell{} : optional_number(t.port);
               }},
    PageColumn{"state", "State", "", false,
               [](const ScanPage &report, const ReportTransponder &t) {
                   return Cell{report.compared_with.empty() ? "" : to_string(t.state)};
               }},
    PageColumn{"note", "Note", "", false,
               [](const ScanPage &, const ReportTransponder &t) { return Cell{t.note}; }},
};

// The columns in which some row has something.
std::vector<PageColumn> used_columns(const ScanPage &report) {
    std::vector<PageColumn> used;
    std::copy_if(page_columns.begin(), page_columns.end(), std::back_inserter(used),
                 [&report](const PageColumn &column) {
                     return std::any_of(report.transponders.begin(), report.transponders.end(),
                                        [&](const ReportTransponder &transponder) {
                                            return !column.cell(report, transponder).text.empty();
                                        });
                 });
    return used;
}

std::string head_of(const PageColumn &column) {
    const std::string unit =
        *column.unit == '\0' ? "" : fmt::format(" <span class=\"unit\">{}</span>", column.unit);
    return fmt::format(
        "<th role=\"columnheader\" scope=\"col\" class=\"{1} {0}\" data-column=\"{1}\" "
        "aria-sort=\"none\"><button type=\"button\">{2}{3}</button></th>",
        column.numeric ? "number" : "text", column.key, column.heading, unit);
}

// A cell of quality or strength has a bar behind it, as long as its share of the greatest there is.
std::string bar_of(const PageColumn &column, const Cell &cell) {
    constexpr double most_quality_db = 20;
    constexpr double most_strength_percent = 100;
    const std::string_view key = column.key;
    const double most = key == "quality"    ? most_quality_db
                        : key == "strength" ? most_strength_percent
                                            : 0;
    if (most <= 0 || !cell.value) {
        return "";
    }
    return fmt::format(R"( style="--share:{:.0f}%")",
                       100 * std::clamp(*cell.value / most, 0.0, 1.0));
}

std::string cell_of(const ScanPage &report, const ReportTransponder &transponder,
                    const PageColumn &column) {
    const Cell cell = column.cell(report, transponder);
    const bool links = std::string_view(column.key) == "frequency";
    const std::string value =
        cell.value ? fmt::format(" data-value=\"{}\"", milli(*cell.value)) : "";
    const std::string content =
        links ? fmt::format("<a href=\"#leg-{}\">{}</a>", transponder.leg, html(cell.text))
              : html(cell.text);
    const std::string unit =
        *column.unit == '\0' ? "" : fmt::format(" data-unit=\"{}\"", column.unit);
    return fmt::format(R"(<td role="cell" class="{} {}" data-label="{}"{}{}{}>{}</td>)", column.key,
                       column.numeric ? "number" : "text", column.heading, unit,
                       bar_of(column, cell), value, content);
}

std::string table_of(const ScanPage &report) {
    if (report.transponders.empty()) {
        return "<p class=\"empty\">None was found.</p>";
    }
    const std::vector<PageColumn> used = used_columns(report);
    std::string table =
        "<table role=\"table\" aria-labelledby=\"transponders\">\n"
        "<thead role=\"rowgroup\"><tr role=\"row\">";
    for (const PageColumn &column : used) {
        table += head_of(column);
    }
    table += "</tr></thead>\n<tbody role=\"rowgroup\">\n";
    for (std::size_t i = 0; i < report.transponders.size(); ++i) {
        const ReportTransponder &transponder = report.transponders[i];
        table += fmt::format(R"(<tr role="row" class="{}" data-index="{}">)",
                             to_string(transponder.state), i);
        for (const PageColumn &column : used) {
            table += cell_of(report, transponder, column);
        }
        table += "</tr>\n";
    }
    return table + "</tbody>\n</table>";
}

std::size_t count_of(const ScanPage &report, ReportState state) {
    return static_cast<std::size_t>(
        std::count_if(report.transponders.begin(), report.transponders.end(),
                      [state](const ReportTransponder &t) { return t.state == state; }));
}

bool shows_peaks(const ScanPage &report) { return count_of(report, ReportState::peak) != 0; }

std::string legend_entry(const std::string &state, const std::string &drawing,
                         const std::string &text) {
    return fmt::format(
        "<li class=\"{}\"><svg width=\"14\" height=\"14\" "
        "aria-hidden=\"true\">{}</svg><span>{}</span></li>",
        state, drawing, text);
}

// What the lines and bars of the pictures are, besides the spectrum itself.
std::string legend_of_lines(const ScanPage &report) {
    std::string legend;
    std::vector<std::string> named;
    bool has_peaks = false;
    for (const ReportLeg &leg : report.legs) {
        has_peaks = has_peaks || !leg.peaks.empty();
        for (const ReportTrace &trace : leg.traces) {
            if (std::find(named.begin(), named.end(), trace.kind) == named.end()) {
                named.push_back(trace.kind);
                legend += legend_entry(
                    trace.kind, fmt::format(R"(<path class="trace {}" d="M0 7h14"/>)", trace.kind),
                    html(trace.label));
            }
        }
    }
    return legend + (has_peaks ? legend_entry("seen", R"(<path class="seen" d="M1 5h12v5h-12z"/>)",
                                              "peak of the spectrum, locked or not")
                               : "");
}

// What the marks mean, with their numbers; the outlines are those that the page's script draws.
std::string legend_of(const ScanPage &report) {
    const auto entry = [&report](ReportState state, const char *outline, const std::string &text) {
        return legend_entry(
            to_string(state), fmt::format(R"(<path class="head" d="{}"/>)", outline),
            fmt::format("<strong>{}</strong> {}", count_of(report, state), html(text)));
    };
    constexpr const char *triangle = "M2 3h10l-5 8z";
    if (shows_peaks(report)) {
        return entry(ReportState::peak, "M3 3h8v8h-8z", "peaks of the spectrum") +
               legend_of_lines(report);
    }
    if (report.compared_with.empty()) {
        return entry(ReportState::found, triangle, "found") + legend_of_lines(report);
    }
    return entry(ReportState::found, triangle, "found, in " + report.compared_with) +
           entry(ReportState::missed, "M3 3l8 8m0 -8l-8 8",
                 "missed, in " + report.compared_with + " only") +
           entry(ReportState::unexpected, "M7 1l5.5 6 -5.5 6 -5.5 -6z",
                 "unexpected, not in " + report.compared_with) +
           legend_of_lines(report);
}

// What was found on a leg, and what was missed.
std::string tally_of(const ScanPage &report, std::size_t leg) {
    std::map<ReportState, std::size_t> counts;
    for (const ReportTransponder &transponder : report.transponders) {
        counts[transponder.state] += transponder.leg == leg ? 1U : 0U;
    }
    if (counts[ReportState::peak] != 0) {
        return counted(counts[ReportState::peak], "peak");
    }
    const std::size_t missed = counts[ReportState::missed];
    return counted(counts[ReportState::found] + counts[ReportState::unexpected], "transponder") +
           (missed != 0 ? fmt::format(", {} missed", missed) : "");
}

std::string legs_of(const ScanPage &report) {
    std::string sections;
    for (std::size_t i = 0; i < report.legs.size(); ++i) {
        const ReportLeg &leg = report.legs[i];
        sections += fmt::format(
            "<section class=\"leg\" id=\"leg-{0}\" aria-labelledby=\"leg-{0}-title\">"
            "<div class=\"heading\"><h2 id=\"leg-{0}-title\">{1}</h2>"
            "<p class=\"tally\">{2}</p></div>"
            "<figure data-leg=\"{0}\"></figure></section>\n",
            i, html(leg.label), tally_of(report, i));
    }
    return sections;
}

// Points in steps of 1 kHz and 0.01 dB, less those amid equal ones, which a straight line meets
// anyway.
void put_points(Json &json, const std::vector<SpectrumPoint> &spectrum) {
    std::vector<SpectrumPoint> points;
    for (const SpectrumPoint &point : spectrum) {
        if (!std::isfinite(point.mhz) || !std::isfinite(point.db)) {
            continue;
        }
        const SpectrumPoint next{milli(point.mhz), std::round(point.db * 100) / 100 + 0.0};
        const std::size_t count = points.size();
        if (count >= 2 && points[count - 1].db == next.db && points[count - 2].db == next.db) {
            points.back() = next;
        } else {
            points.push_back(next);
        }
    }
    json["mhz"] = Json::array();
    json["db"] = Json::array();
    for (const SpectrumPoint &point : points) {
        json["mhz"].push_back(point.mhz);
        json["db"].push_back(point.db);
    }
}

Json leg_data(const ReportLeg &leg) {
    Json json{{"label", leg.label}, {"low_mhz", leg.low_mhz}, {"high_mhz", leg.high_mhz}};
    put_points(json, leg.spectrum);
    if (!leg.caption.empty()) {
        json["caption"] = leg.caption;
    }
    json["peaks"] = Json::array();
    for (const ReportPeak &peak : leg.peaks) {
        json["peaks"].push_back({{"mhz", milli(peak.mhz)}, {"width_mhz", milli(peak.width_mhz)}});
    }
    json["traces"] = Json::array();
    for (const ReportTrace &trace : leg.traces) {
        Json &added = json["traces"].emplace_back(Json{{"kind", trace.kind}});
        put_points(added, trace.points);
    }
    return json;
}

Json transponder_data(const ReportTransponder &transponder) {
    Json json{{"leg", transponder.leg},
              {"frequency_mhz", milli(transponder.frequency_mhz)},
              {"state", to_string(transponder.state)}};
    const auto put_text = [&json](const char *key, const std::string &text) {
        if (!text.empty()) {
            json[key] = text;
        }
    };
    const auto put = [&json](const char *key, const auto &value) {
        if (value) {
            json[key] = *value;
        }
    };
    put("nominal_mhz", transponder.nominal_mhz);
    put("offset_khz", transponder.offset_khz);
    put_text("polarisation", transponder.polarisation);
    if (transponder.symbol_rate_ksps > 0) {
        json["symbol_rate_ksps"] = milli(transponder.symbol_rate_ksps);
    }
    put("width_khz", transponder.width_khz);
    put_text("system", transponder.system);
    put_text("modulation", transponder.modulation);
    put_text("fec", transponder.fec);
    put_text("roll_off", transponder.roll_off);
    put_text("inversion", transponder.inversion);
    put("pilots", transponder.pilots);
    put("quality_db", transponder.quality_db);
    put("strength_percent", transponder.strength_percent);
    put("over_noise_db", transponder.over_noise_db);
    if (transponder.port != 0) {
        json["port"] = transponder.port;
    }
    put_text("note", trace::printable(transponder.note));
    return json;
}

std::string data_of(const ScanPage &report) {
    Json json{{"legs", Json::array()}, {"transponders", Json::array()}};
    if (!report.compared_with.empty()) {
        json["compared_with"] = trace::printable(report.compared_with);
    }
    for (const ReportLeg &leg : report.legs) {
        json["legs"].push_back(leg_data(leg));
    }
    for (const ReportTransponder &transponder : report.transponders) {
        (void)report.legs.at(transponder.leg);
        json["transponders"].push_back(transponder_data(transponder));
    }
    return script_data(json);
}

// Replace each {{name}} by its value; what a value holds is left as it is.
std::string filled(std::string_view page, const std::map<std::string_view, std::string> &values) {
    std::string result;
    while (true) {
        const std::size_t begin = page.find("{{");
        const std::size_t end = page.find("}}", begin);
        if (begin == std::string_view::npos || end == std::string_view::npos) {
            return result.append(page);
        }
        result.append(page.substr(0, begin));
        result.append(values.at(page.substr(begin + 2, end - begin - 2)));
        page.remove_prefix(end + 2);
    }
}

}  // namespace

ReportTrace simulated_trace(std::vector<SpectrumPoint> truth) {
    return {"simulated", "simulated: what the simulated world really has", std::move(truth)};
}

std::string report_page(const ScanPage &report) {
    std::string record;
    for (const RecordedFact &fact : report.record) {
        record +=
            fmt::format("<div><dt>{}</dt><dd>{}</dd></div>", html(fact.label), html(fact.value));
    }
    return filled(report_template, {{"title", html(report.title)},
                                    {"verdict", html(report.verdict)},
                                    {"record", record},
                                    {"legend", legend_of(report)},
                                    {"legs", legs_of(report)},
                                    {"rows", shows_peaks(report) ? "Peaks" : "Transponders"},
                                    {"table", table_of(report)},
                                    {"data", data_of(report)}});
}

}  // namespace host
