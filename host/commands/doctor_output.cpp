// SPDX-License-Identifier: MIT
#include "host/commands/doctor_output.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <iterator>
#include <string_view>
#include <utility>

namespace host {

namespace {

constexpr auto finding_columns = std::to_array<Column<Finding>>({
    {"step", [](const Finding &finding) { return std::string(finding.step.name()); }},
    {"result", [](const Finding &finding) { return to_string(finding.health); }},
    {"measured", [](const Finding &finding) { return finding.measured; }},
    {"cause", [](const Finding &finding) { return std::string(finding.cause_name()); }},
    {"advice", [](const Finding &finding) { return finding.advice; }},
});

// Three columns, the last one broken between words.
void write_broken(Output &output, std::string_view first, std::string_view second,
                  std::string_view text) {
    constexpr std::size_t usual_columns = 100;
    constexpr std::size_t narrowest = 16;
    constexpr std::size_t in_front = 23;
    const std::size_t columns = output.columns().value_or(usual_columns);
    const std::size_t widest =
        std::max(std::min(columns, usual_columns), in_front + narrowest) - in_front;
    while (!text.empty()) {
        std::size_t end = text.size() <= widest ? text.size() : text.rfind(' ', widest);
        end = end == std::string_view::npos ? text.find(' ', widest) : end;
        end = std::min(end, text.size());
        output.line(fmt::format("{:<8} {:<13} {}", first, second, text.substr(0, end)));
        text.remove_prefix(std::min(end + 1, text.size()));
        first = second = "";
    }
}

void write_lines(Output &output, const Finding &finding) {
    write_broken(output, to_string(finding.health), finding.step.name(), finding.measured);
    write_broken(output, "", "what to do", finding.advice);
}

std::string_view no_diagnosis(const Findings &findings) {
    return findings.cancelled() ? "cancelled" : "healthy";
}

void write_diagnosis(Output &output, const Findings &findings) {
    const Finding *diagnosis = findings.diagnosis();
    output.line(diagnosis == nullptr ? fmt::format("diagnosis: {}", no_diagnosis(findings))
                                     : fmt::format("diagnosis: {}; see {}", diagnosis->cause_name(),
                                                   diagnosis->step.name()));
}

// What is said of the whole, behind what it is about.
Json summary_of(const Findings &findings, Json about) {
    const Finding *diagnosis = findings.diagnosis();
    about["result"] = to_string(findings.health());
    about["diagnosis"] = diagnosis == nullptr ? no_diagnosis(findings) : diagnosis->cause_name();
    return about;
}

Json whole_of(const Findings &findings, const Json &about) {
    Json steps{{"steps", Json::array()}};
    for (const Finding &finding : findings.all()) {
        steps["steps"].push_back(json_of(finding));
    }
    Json json = tagged("ds3000.doctor/1", about);
    json.update(steps);
    return summary_of(findings, std::move(json));
}

std::vector<std::string> columns() {
    std::vector<std::string> names;
    std::transform(finding_columns.begin(), finding_columns.end(), std::back_inserter(names),
                   [](const Column<Finding> &column) { return column.name; });
    return names;
}

}  // namespace

ExaminationWriter::ExaminationWriter(Output &output) : rows_(output, columns()) {}

void ExaminationWriter::write(const Finding &finding) {
    rows_.show(
        {.text = [&](Output &text) { write_lines(text, finding); },
         .line = [&] { return tagged("ds3000.doctor.step/1", json_of(finding)); },
         .cells = [&] { return sheet_of<Finding>(finding_columns, {finding}).rows.front(); }});
}

void ExaminationWriter::finish(const Findings &findings, const Json &about) {
    rows_.finish({.text = [&](Output &text) { write_diagnosis(text, findings); },
                  .json = [&] { return whole_of(findings, about); },
                  .lines =
                      [&] {
                          return std::vector{
                              tagged("ds3000.doctor.summary/1", summary_of(findings, about))};
                      }});
}

}  // namespace host
