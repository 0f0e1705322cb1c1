// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/terminal/output.h"
#include "host/terminal/sheet.h"

namespace host {

// A result in the forms that the formats ask for, each made when it is asked for.
struct Presentation {
    std::function<void(Output &)> text;
    std::function<Json()> json;                     // the whole
    std::function<std::vector<Json>()> lines = {};  // for JSON lines; without it the whole as one
    std::function<Sheet()> sheet = {};              // for CSV; without it the whole's plain members
};

// Write a result in the output's format, and finish the output.
void present(Output &output, const Presentation &presentation);

// A row of a result in the forms that the formats ask for; one that is missing shows nothing.
struct RowPresentation {
    std::function<void(Output &)> text = {};
    std::function<Json()> line = {};                       // for JSON lines
    std::function<std::vector<std::string>()> cells = {};  // for CSV
};

// Shows a result's rows as they become known: each is in the system's hands before show() returns,
// whatever becomes of the program. JSON as a whole waits for the end.
class RowStream {
 public:
    // columns: the heads of the CSV.
    RowStream(Output &output, std::vector<std::string> columns)
        : output_(output), columns_(std::move(columns)) {}

    void show(const RowPresentation &row);

    // What follows the rows, which is all there is of the lines; in JSON the whole. Finishes the
    // output.
    void finish(const Presentation &rest);

 private:
    void write_columns();

    Output &output_;
    std::vector<std::string> columns_;
    bool columns_written_ = false;
};

// Labels and values, a line each, the values one below the other behind labels of this width.
void write_labelled(Output &output, std::size_t width,
                    const std::vector<std::pair<std::string, std::string>> &lines);

// An object with its schema tag in front.
Json tagged(std::string_view schema, const Json &members);
std::vector<Json> all_tagged(std::string_view schema, const std::vector<Json> &objects);

// How far a piece of work came: "complete", and the "reason" where something cut it short.
Json completeness(std::string_view cut_short_by);

}  // namespace host
