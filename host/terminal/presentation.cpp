// SPDX-License-Identifier: MIT
#include "host/terminal/presentation.h"

#include <fmt/format.h>

namespace host {

namespace {

void write_lines(Output &output, const std::vector<Json> &lines) {
    for (const Json &line : lines) {
        output.json(line);
    }
}

}  // namespace

void present(Output &output, const Presentation &presentation) {
    switch (output.format()) {
        case Format::text:
            presentation.text(output);
            break;
        case Format::json:
            output.json(presentation.json());
            break;
        case Format::jsonl:
            write_lines(output, presentation.lines ? presentation.lines()
                                                   : std::vector{presentation.json()});
            break;
        case Format::csv:
            write_csv(output,
                      presentation.sheet ? presentation.sheet() : sheet_of(presentation.json()));
            break;
    }
    output.finish();
}

void RowStream::show(const RowPresentation &row) {
    switch (output_.format()) {
        case Format::text:
            if (row.text) {
                row.text(output_);
            }
            break;
        case Format::json:
            return;
        case Format::jsonl:
            if (row.line) {
                output_.json(row.line());
            }
            break;
        case Format::csv:
            write_columns();
            if (row.cells) {
                output_.csv_row(row.cells());
            }
            break;
    }
    output_.flush();
}

void RowStream::finish(const Presentation &rest) {
    if (output_.format() != Format::csv) {
        present(output_, rest);
        return;
    }
    write_columns();
    output_.finish();
}

void RowStream::write_columns() {
    if (!columns_written_) {
        output_.csv_row(columns_);
        columns_written_ = true;
    }
}

void write_labelled(Output &output, std::size_t width,
                    const std::vector<std::pair<std::string, std::string>> &lines) {
    for (const auto &[label, value] : lines) {
        output.line(fmt::format("{:<{}} {}", label, width, value));
    }
}

Json tagged(std::string_view schema, const Json &members) {
    Json json{{"schema", schema}};
    json.update(members);
    return json;
}

Json completeness(std::string_view cut_short_by) {
    Json json{{"complete", cut_short_by.empty()}};
    if (!cut_short_by.empty()) {
        json["reason"] = cut_short_by;
    }
    return json;
}

std::vector<Json> all_tagged(std::string_view schema, const std::vector<Json> &objects) {
    std::vector<Json> lines;
    lines.reserve(objects.size());
    for (const Json &object : objects) {
        lines.push_back(tagged(schema, object));
    }
    return lines;
}

}  // namespace host
