// SPDX-License-Identifier: MIT
#include "host/report/spectrum_output.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

#include "host/cable/describe.h"
#include "host/report/spectrum_picture.h"
#include "host/terminal/counted.h"
#include "host/terminal/presentation.h"

namespace host {

namespace {

std::string resolution_in_words() {
    return fmt::format("dB over the noise, measured every {} MHz through a filter of {} MHz",
                       level_step_mhz, level_resolution_khz / 1000);
}

double tenth(double value) { return std::round(value * 10) / 10 + 0.0; }
double hundredth(double value) { return std::round(value * 100) / 100 + 0.0; }

std::uint32_t khz_of(double mhz) { return static_cast<std::uint32_t>(std::lround(mhz * 1000)); }

Json level_json(const ScanLeg &leg, const LegSpectrum &spectrum, const LevelReading &reading) {
    return {{"frequency_khz", leg.downlink_khz(reading.if_khz)},
            {"if_khz", reading.if_khz},
            {"level_db", hundredth(reading.level_db)},
            {"over_noise_db", tenth(reading.level_db - spectrum.estimate->noise_db)}};
}

Json peaks_json(const ScanLeg &leg, const LegSpectrum &spectrum) {
    Json peaks = Json::array();
    for (std::size_t i = 0; i < spectrum.peaks.size(); ++i) {
        const SpectrumPeak &peak = spectrum.peaks[i];
        Json json{{"frequency_khz", leg.downlink_khz(peak.if_khz)},
                  {"if_khz", peak.if_khz},
                  {"width_khz", peak.symbol_rate_ksps}};
        if (spectrum.estimate) {
            json["over_noise_db"] = tenth(spectrum.estimate->over_noise_db.at(i));
        }
        peaks.push_back(std::move(json));
    }
    return peaks;
}

Json points_json(const std::vector<SpectrumPoint> &points, const char *member) {
    Json json = Json::array();
    for (const SpectrumPoint &point : points) {
        json.push_back({{"frequency_khz", khz_of(point.mhz)}, {member, hundredth(point.db)}});
    }
    return json;
}

Json change_json(const LegComparison &comparison) {
    Json json{{"median_change_db", hundredth(comparison.median_change_db)},
              {"changes", points_json(comparison.changes, "change_db")},
              {"fallen", Json::array()}};
    for (const FallenBand &band : comparison.fallen) {
        json["fallen"].push_back({{"low_khz", khz_of(band.low_mhz)},
                                  {"high_khz", khz_of(band.high_mhz)},
                                  {"change_db", hundredth(band.change_db)}});
    }
    return json;
}

Json measured_json(const MeasuredLeg &measured) {
    Json json = json_of(measured.leg);
    json["complete"] = measured.spectrum.complete;
    if (measured.spectrum.estimate) {
        json["noise_db"] = tenth(measured.spectrum.estimate->noise_db);
    }
    json["levels"] = Json::array();
    for (const LevelReading &reading : measured.spectrum.levels) {
        json["levels"].push_back(level_json(measured.leg, measured.spectrum, reading));
    }
    json["peaks"] = peaks_json(measured.leg, measured.spectrum);
    if (measured.comparison) {
        json["comparison"] = change_json(*measured.comparison);
    }
    if (!measured.truth.empty()) {
        json["simulated"] = points_json(measured.truth, "over_noise_db");
    }
    json["virtual_time_ms"] = measured.spectrum.time_ms;
    return json;
}

std::vector<Json> measured_objects(const SpectrumResult &result) {
    std::vector<Json> objects;
    std::transform(result.legs.begin(), result.legs.end(), std::back_inserter(objects),
                   measured_json);
    return objects;
}

Json measurement_json(const SpectrumResult &result, const SpectrumView &view) {
    Json json = completeness(result.cut_short_by);
    if (!result.note.empty()) {
        json["note"] = result.note;
    }
    json["lnb"] = json_of(result.lnb);
    json["resolution_khz"] = level_resolution_khz;
    json["step_khz"] = level_step_mhz * 1000;
    json["legs_planned"] = result.legs_planned;
    if (!view.compared_with.empty()) {
        json["compared_with"] = view.compared_with;
        json["fall_db"] = view.fall_db;
    }
    json["virtual_time_ms"] = result.time_ms;
    add_complaints(json, result.complaints);
    return json;
}

Json spectrum_json(const SpectrumResult &result, const SpectrumView &view) {
    Json json = tagged("ds3000.spectrum/1", measurement_json(result, view));
    json["legs"] = measured_objects(result);
    return json;
}

// A row for each level.
std::vector<Json> level_rows(const MeasuredLeg &measured) {
    std::vector<Json> rows;
    const Json leg = measured_json(measured);
    for (const Json &level : leg["levels"]) {
        rows.push_back(level);
        rows.back()["polarisation"] = leg["polarisation"];
        rows.back()["lof_khz"] = leg["lof_khz"];
        if (leg.contains("port")) {
            rows.back()["port"] = leg["port"];
        }
        if (!measured.comparison) {
            continue;
        }
        for (const Json &change : leg["comparison"]["changes"]) {
            if (change["frequency_khz"] == level["frequency_khz"]) {
                rows.back()["change_db"] = change["change_db"];
            }
        }
    }
    return rows;
}

std::vector<std::string> members_of(const SpectrumView &view) {
    std::vector<std::string> members{"frequency_khz", "polarisation", "port",         "lof_khz",
                                     "if_khz",        "level_db",     "over_noise_db"};
    if (!view.compared_with.empty()) {
        members.emplace_back("change_db");
    }
    return members;
}

double low_mhz(const ScanLeg &leg) { return leg.downlink().low_khz / 1000.0; }
double high_mhz(const ScanLeg &leg) { return leg.downlink().high_khz / 1000.0; }

std::vector<PictureMark> marks_of(const MeasuredLeg &measured) {
    std::vector<PictureMark> marks;
    for (const SpectrumPeak &peak : measured.spectrum.peaks) {
        const double mhz = measured.leg.downlink_khz(peak.if_khz) / 1000.0;
        const double half_mhz = peak.symbol_rate_ksps / 2000.0;
        marks.push_back({mhz - half_mhz, mhz + half_mhz});
    }
    return marks;
}

void write_lines(Output &output, const std::vector<std::string> &lines) {
    for (const std::string &line : lines) {
        output.line(line);
    }
}

void write_changes(Output &output, const MeasuredLeg &measured, const SpectrumView &view) {
    constexpr std::size_t rows = 5;
    if (!measured.comparison) {
        output.line(fmt::format("{} has nothing of this leg", view.compared_with));
        return;
    }
    const LegComparison &comparison = *measured.comparison;
    output.line(fmt::format("change against {}, dB; the median is {:+.1f} dB", view.compared_with,
                            comparison.median_change_db));
    write_lines(
        output,
        drawn({low_mhz(measured.leg), high_mhz(measured.leg), comparison.changes, {}, false},
              view.columns, rows));
    for (const FallenBand &band : comparison.fallen) {
        output.line(fmt::format("fell    {:.0f} to {:.0f} MHz {}, by up to {:.1f} dB", band.low_mhz,
                                band.high_mhz, polarisation_letter(measured.leg.polarisation),
                                -band.change_db));
    }
    if (comparison.fallen.empty()) {
        output.line(fmt::format("nothing fell by {:g} dB", view.fall_db));
    }
}

void write_picture(Output &output, const MeasuredLeg &measured, const SpectrumView &view) {
    constexpr std::size_t rows = 10;
    const LegSpectrum &spectrum = measured.spectrum;
    output.line(
        fmt::format("{}{}", measured.leg.label(), spectrum.complete ? "" : ", not complete"));
    if (!spectrum.estimate) {
        output.line("nothing was measured");
        return;
    }
    write_lines(output, drawn({low_mhz(measured.leg), high_mhz(measured.leg),
                               over_noise(measured.leg, spectrum), marks_of(measured), true},
                              view.columns, rows));
    output.line(fmt::format("noise at {:.1f} dB, {}, {:.1f} s", spectrum.estimate->noise_db,
                            counted(spectrum.peaks.size(), "peak"),
                            static_cast<double>(spectrum.time_ms) / 1000));
    if (!view.compared_with.empty()) {
        write_changes(output, measured, view);
    }
}

void write_totals(Output &output, const SpectrumResult &result) {
    output.line(resolution_in_words());
    output.line(fmt::format("{} of {}, {:.1f} s of the receiver's time{}", result.legs.size(),
                            counted(result.legs_planned, "leg"),
                            static_cast<double>(result.time_ms) / 1000,
                            result.complete() ? "" : "; " + result.cut_short_by));
}

ReportTrace before_trace(const MeasuredLeg &measured, const SpectrumView &view) {
    ReportTrace trace{"before", "before, " + view.compared_with, measured.comparison->before};
    for (SpectrumPoint &point : trace.points) {
        point.db -= measured.spectrum.estimate->noise_db;
    }
    return trace;
}

ReportLeg report_leg(const MeasuredLeg &measured, const SpectrumView &view) {
    ReportLeg leg = picture_of(measured.leg, measured.spectrum);
    leg.peaks.clear();  // they have marks of their own
    if (measured.comparison) {
        leg.traces.push_back(before_trace(measured, view));
    }
    if (!measured.truth.empty()) {
        leg.traces.push_back(simulated_trace(measured.truth));
    }
    return leg;
}

// What a person wants to know first.
std::string fall_in_words(const SpectrumResult &result, const SpectrumView &view) {
    std::size_t fallen = 0;
    std::size_t peaks = 0;
    for (const MeasuredLeg &measured : result.legs) {
        peaks += measured.spectrum.peaks.size();
        fallen += measured.comparison ? measured.comparison->fallen.size() : 0;
    }
    return fmt::format(
        "{}{}{}", result.complete() ? "" : "not complete; so far ", counted(peaks, "peak"),
        view.compared_with.empty() ? ""
                                   : fmt::format(", {} fell by {:g} dB or more against {}",
                                                 fallen == 0 ? "nothing" : counted(fallen, "band"),
                                                 view.fall_db, view.compared_with));
}

ReportTransponder peak_row(const MeasuredLeg &measured, std::size_t leg, std::size_t peak) {
    ReportTransponder row;
    row.state = ReportState::peak;
    row.leg = leg;
    row.port = measured.leg.cable.switch_port;
    row.frequency_mhz = measured.leg.downlink_khz(measured.spectrum.peaks[peak].if_khz) / 1000.0;
    row.polarisation = polarisation_letter(measured.leg.polarisation);
    row.width_khz = measured.spectrum.peaks[peak].symbol_rate_ksps;
    if (measured.spectrum.estimate) {
        row.over_noise_db = tenth(measured.spectrum.estimate->over_noise_db.at(peak));
    }
    return row;
}

}  // namespace

ReportLeg picture_of(const ScanLeg &leg, const LegSpectrum &spectrum) {
    ReportLeg picture{leg.label(), low_mhz(leg), high_mhz(leg), over_noise(leg, spectrum)};
    if (!picture.spectrum.empty()) {
        picture.caption = resolution_in_words();
    }
    for (const SpectrumPeak &peak : spectrum.peaks) {
        picture.peaks.push_back(
            {leg.downlink_khz(peak.if_khz) / 1000.0, peak.symbol_rate_ksps / 1000.0});
    }
    return picture;
}

SpectrumWriter::SpectrumWriter(Output &output, SpectrumView view)
    : rows_(output, members_of(view)), view_(std::move(view)) {}

void SpectrumWriter::show(const MeasuredLeg &measured) {
    rows_.show({.text =
                    [&](Output &text) {
                        write_picture(text, measured, view_);
                        text.line("");
                    },
                .line = [&] { return tagged("ds3000.spectrum.leg/1", measured_json(measured)); }});
    for (const std::vector<std::string> &cells :
         sheet_of(members_of(view_), level_rows(measured)).rows) {
        rows_.show({.cells = [&] { return cells; }});
    }
}

void SpectrumWriter::finish(const SpectrumResult &result) {
    rows_.finish({.text = [&](Output &text) { write_totals(text, result); },
                  .json = [&] { return spectrum_json(result, view_); },
                  .lines =
                      [&] {
                          return std::vector<Json>{
                              tagged("ds3000.spectrum.summary/1", measurement_json(result, view_))};
                      }});
}

ScanPage page_of(const SpectrumResult &result, const SpectrumView &view, const std::string &title,
                 const FieldRecord &record) {
    ScanPage page;
    page.title = title;
    page.verdict = fall_in_words(result, view);
    page.record = record;
    page.record.push_back({"LNB", lnb_in_words(result.lnb)});
    page.record.push_back({"Duration", duration_in_words(result.time_ms)});
    for (const MeasuredLeg &measured : result.legs) {
        for (std::size_t i = 0; i < measured.spectrum.peaks.size(); ++i) {
            page.transponders.push_back(peak_row(measured, page.legs.size(), i));
        }
        page.legs.push_back(report_leg(measured, view));
    }
    return page;
}

}  // namespace host
