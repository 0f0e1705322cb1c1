// SPDX-License-Identifier: MIT
#include "host/commands/monitor_output.h"

#include <fmt/format.h>

#include "host/commands/reception_output.h"
#include "host/monitor/reading_words.h"
#include "host/terminal/counted.h"

namespace host {

namespace {

const std::vector<std::string> reading_columns{"time_ms",          "locked",
                                               "since_ms",         "losses",
                                               "restarts",         "quality_db",
                                               "threshold_db",     "margin_db",
                                               "strength_percent", "carrier_offset_khz",
                                               "lnb_drift_khz",    "errors_count",
                                               "errors_of",        "errors_unit",
                                               "signal_system",    "signal_modulation",
                                               "signal_code_rate", "signal_roll_off",
                                               "signal_pilots",    "signal_inverted"};

Json reading_json(const MonitorReading &reading) {
    Json json{{"time_ms", reading.time_ms},
              {"locked", reading.reception.locked},
              {"since_ms", reading.since_ms},
              {"losses", reading.losses},
              {"restarts", reading.restarts}};
    json.update(json_of(reading.reception));
    return json;
}

std::vector<std::string> cells_of(const MonitorReading &reading) {
    Json flat = reading_json(reading);
    spread(flat, "errors");
    spread(flat, "signal");
    return sheet_of(reading_columns, {flat}).rows.front();
}

double in_seconds(std::uint64_t ms) { return static_cast<double>(ms) / 1e3; }

std::string line_of(const MonitorReading &reading) {
    std::string line = fmt::format("{:8.1f} s  {} {:.1f} s", in_seconds(reading.time_ms),
                                   reading.reception.locked ? "locked" : "no lock",
                                   in_seconds(reading.time_ms - reading.since_ms));
    for (const auto &words : {levels_of(reading.reception), details_of(reading.reception)}) {
        for (const std::string &fact : words) {
            line += "  " + fact;
        }
    }
    return line;
}

Json summary_json(const MonitorSummary &summary, const MonitorReport &report) {
    Json json = report.about;
    json["complete"] = report.cut_short_by.empty();
    if (!report.cut_short_by.empty()) {
        json["reason"] = report.cut_short_by;
    }
    json["watched_ms"] = report.watched_ms;
    json["locked_ms"] = report.lock.locked_ms();
    json["losses"] = report.lock.losses();
    json["restarts"] = report.lock.restarts();
    if (const LockRecord::Gap gap = report.lock.longest_gap(); gap.ms != 0) {
        json["longest_gap"] = {{"from_ms", gap.from_ms}, {"ms", gap.ms}};
    }
    if (!summary.quality_db.empty()) {
        json["least_quality_db"] = summary.quality_db.least();
        json["most_quality_db"] = summary.quality_db.most();
    }
    if (!summary.margin_db.empty()) {
        json["least_margin_db"] = hundredths(summary.margin_db.least());
        json["most_margin_db"] = hundredths(summary.margin_db.most());
    }
    if (!summary.carrier_above_khz.empty()) {
        json["least_carrier_offset_khz"] = summary.carrier_above_khz.least();
        json["most_carrier_offset_khz"] = summary.carrier_above_khz.most();
    }
    if (summary.errors_of != 0) {
        json["errors"] = {{"count", summary.errors},
                          {"of", summary.errors_of},
                          {"unit", to_string(summary.errors_unit)}};
    }
    add_complaints(json, report.complaints);
    return json;
}

void write_summary(Output &output, const MonitorSummary &summary, const MonitorReport &report) {
    output.line(
        fmt::format("watched {:.1f} s, locked {:.1f} s of it; lock lost {}, search begun "
                    "anew {}{}",
                    in_seconds(report.watched_ms), in_seconds(report.lock.locked_ms()),
                    times_in_words(report.lock.losses()), times_in_words(report.lock.restarts()),
                    report.cut_short_by.empty() ? "" : "; " + report.cut_short_by));
    if (const LockRecord::Gap gap = report.lock.longest_gap(); gap.ms != 0) {
        output.line(fmt::format("longest without lock {:.1f} s, from {:.1f} s on",
                                in_seconds(gap.ms), in_seconds(gap.from_ms)));
    }
    if (!summary.quality_db.empty()) {
        output.line(
            fmt::format("C/N {} to {} dB", summary.quality_db.least(), summary.quality_db.most()));
    }
    if (!summary.margin_db.empty()) {
        output.line(fmt::format("margin {:+.1f} to {:+.1f} dB", summary.margin_db.least(),
                                summary.margin_db.most()));
    }
    if (!summary.carrier_above_khz.empty()) {
        output.line(fmt::format("carrier {:+} to {:+} kHz from its place",
                                summary.carrier_above_khz.least(),
                                summary.carrier_above_khz.most()));
    }
    if (summary.errors_of != 0) {
        output.line(fmt::format("errors {} of {} {}", summary.errors, summary.errors_of,
                                to_string(summary.errors_unit)));
    }
}

}  // namespace

MonitorWriter::MonitorWriter(Output &output) : output_(output), rows_(output, reading_columns) {}

void MonitorWriter::write(const MonitorReading &reading) {
    count(reading);
    if (output_.format() == Format::json) {
        readings_.push_back(reading_json(reading));
    }
    rows_.show({.text = [&](Output &text) { text.line(line_of(reading)); },
                .line = [&] { return tagged("ds3000.monitor.reading/1", reading_json(reading)); },
                .cells = [&] { return cells_of(reading); }});
}

Json MonitorWriter::whole(const MonitorReport &report) const {
    Json json = summary_json(summary_, report);
    json["readings"] = readings_;
    return json;
}

void MonitorWriter::finish(const MonitorReport &report) {
    rows_.finish({.text = [&](Output &text) { write_summary(text, summary_, report); },
                  .json = [&] { return tagged("ds3000.monitor/1", whole(report)); },
                  .lines =
                      [&] {
                          return std::vector{
                              tagged("ds3000.monitor.summary/1", summary_json(summary_, report))};
                      }});
}

}  // namespace host
