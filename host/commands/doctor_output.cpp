// SPDX-License-Identifier: MIT
#include "host/commands/doctor_output.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

#include "host/terminal/presentation.h"

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
    constexpr std::size_t widest = 77;
    while (!text.empty()) {
        std::size_t end = text.size() <= widest ? text.size() : text.rfind(' ', widest);
        end = end == std::string_view::npos ? text.size() : end;
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

void write_diagnosis(Output &output, const Findings &findings, const Json & /*about*/) {
    const Finding *diagnosis = findings.diagnosis();
    output.line(diagnosis == nullptr ? fmt::format("diagnosis: {}", no_diagnosis(findings))
                                     : fmt::format("diagnosis: {}; see {}", diagnosis->cause_name(),
                                                   diagnosis->step.name()));
}

void write_heads(Output &output) { write_csv(output, sheet_of<Finding>(finding_columns, {})); }

void write_row(Output &output, const Finding &finding) {
    output.csv_row(sheet_of<Finding>(finding_columns, {finding}).rows.front());
}

void write_whole(Output &output, const Findings &findings, const Json &about) {
    Json json = tagged("ds3000.doctor/1", about);
    json["steps"] = Json::array();
    for (const Finding &finding : findings.all()) {
        json["steps"].push_back(json_of(finding));
    }
    json["result"] = to_string(findings.health());
    const Finding *diagnosis = findings.diagnosis();
    json["diagnosis"] = diagnosis == nullptr ? no_diagnosis(findings) : diagnosis->cause_name();
    output.json(json);
}

void nothing_first(Output & /*output*/) {}
void nothing_yet(Output & /*output*/, const Finding & /*finding*/) {}
void nothing_more(Output & /*output*/, const Findings & /*findings*/, const Json & /*about*/) {}

}  // namespace

// What a format shows before the first finding, of each, and after the last.
struct ExaminationWriter::Form {
    void (*begin)(Output &);
    void (*each)(Output &, const Finding &);
    void (*end)(Output &, const Findings &, const Json &about);
};

const ExaminationWriter::Form &ExaminationWriter::form_of(Format format) {
    static constexpr Form for_people{nothing_first, write_lines, write_diagnosis};
    static constexpr Form for_spreadsheets{write_heads, write_row, nothing_more};
    static constexpr Form for_programs{nothing_first, nothing_yet, write_whole};
    switch (format) {
        case Format::text:
            return for_people;
        case Format::csv:
            return for_spreadsheets;
        default:
            return for_programs;
    }
}

ExaminationWriter::ExaminationWriter(Output &output)
    : output_(output), form_(form_of(output.format())) {
    form_.begin(output_);
}

void ExaminationWriter::write(const Finding &finding) { form_.each(output_, finding); }

void ExaminationWriter::finish(const Findings &findings, const Json &about) {
    form_.end(output_, findings, about);
    output_.finish();
}

}  // namespace host
