// SPDX-License-Identifier: MIT
#include "host/commands/cycle_output.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>

#include "host/commands/no_lock.h"
#include "host/terminal/counted.h"

namespace host {

namespace {

const std::vector<std::string> step_members{"step",    "tuner",   "result",   "at_ms",
                                            "took_ms", "lock_ms", "restarts", "problem"};

Json step_json(const CycleStep &step) {
    Json json{{"step", step.what},
              {"tuner", std::string(1, step.tuner)},
              {"result", step.went_well() ? "ok" : "failed"},
              {"at_ms", step.at_ms},
              {"took_ms", step.took_ms}};
    if (step.lock_ms) {
        json["lock_ms"] = *step.lock_ms;
    }
    if (step.restarts != 0) {
        json["restarts"] = step.restarts;
    }
    if (!step.went_well()) {
        json["problem"] = step.problem;
    }
    return json;
}

std::string line_of(const CycleStep &step) {
    std::string line =
        fmt::format("{:>9.3f} s  {}  {:<15} {:<7} {:>6} ms", static_cast<double>(step.at_ms) / 1e3,
                    step.tuner, step.what, step.went_well() ? "ok" : "failed", step.took_ms);
    if (step.lock_ms) {
        line += fmt::format(", lock after {} ms", *step.lock_ms);
    }
    line += restarts_in_words(step.restarts);
    return step.went_well() ? line : line + ": " + step.problem;
}

std::size_t failures_in(const CycleReport &report) {
    return static_cast<std::size_t>(
        std::count_if(report.steps.begin(), report.steps.end(),
                      [](const CycleStep &step) { return !step.went_well(); }));
}

std::size_t locks_in(const CycleReport &report) {
    return static_cast<std::size_t>(
        std::count_if(report.steps.begin(), report.steps.end(),
                      [](const CycleStep &step) { return step.lock_ms.has_value(); }));
}

// All but the steps.
Json summary_json(const CycleReport &report) {
    Json json = completeness(report.cut_short_by);
    json.update(report.about);
    json["locks"] = locks_in(report);
    json["failures"] = failures_in(report);
    add_complaints(json, report.complaints);
    return json;
}

Json whole_json(const CycleReport &report) {
    Json json = tagged("ds3000.cycle/1", summary_json(report));
    json["steps"] = Json::array();
    std::transform(report.steps.begin(), report.steps.end(), std::back_inserter(json["steps"]),
                   step_json);
    return json;
}

void write_totals(Output &output, const CycleReport &report) {
    output.line(fmt::format("{}, {}, {} failed{}", counted(report.steps.size(), "step"),
                            counted(locks_in(report), "lock"), failures_in(report),
                            report.cut_short_by.empty() ? "" : ", " + report.cut_short_by));
}

}  // namespace

CycleWriter::CycleWriter(Output &output) : rows_(output, step_members) {}

void CycleWriter::write(const CycleStep &step) {
    rows_.show({.text = [&](Output &text) { text.line(line_of(step)); },
                .line = [&] { return tagged("ds3000.cycle.step/1", step_json(step)); },
                .cells = [&] { return sheet_of(step_members, {step_json(step)}).rows.front(); }});
}

void CycleWriter::finish(const CycleReport &report) {
    rows_.finish(
        {.text = [&](Output &text) { write_totals(text, report); },
         .json = [&] { return whole_json(report); },
         .lines =
             [&] { return std::vector{tagged("ds3000.cycle.summary/1", summary_json(report))}; }});
}

}  // namespace host
