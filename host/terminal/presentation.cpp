// SPDX-License-Identifier: MIT
#include "host/terminal/presentation.h"

#include <fmt/format.h>

namespace host {

namespace {

void write_lines(Output &output, const Presentation &presentation) {
    if (!presentation.lines) {
        output.json(presentation.json());
        return;
    }
    for (const Json &line : presentation.lines()) {
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
            write_lines(output, presentation);
            break;
        case Format::csv:
            write_csv(output,
                      presentation.sheet ? presentation.sheet() : sheet_of(presentation.json()));
            break;
    }
    output.finish();
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

std::vector<Json> all_tagged(std::string_view schema, const std::vector<Json> &objects) {
    std::vector<Json> lines;
    lines.reserve(objects.size());
    for (const Json &object : objects) {
        lines.push_back(tagged(schema, object));
    }
    return lines;
}

}  // namespace host
