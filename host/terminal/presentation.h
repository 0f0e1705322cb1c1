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

// Labels and values, a line each, the values one below the other behind labels of this width.
void write_labelled(Output &output, std::size_t width,
                    const std::vector<std::pair<std::string, std::string>> &lines);

// An object with its schema tag in front.
Json tagged(std::string_view schema, const Json &members);
std::vector<Json> all_tagged(std::string_view schema, const std::vector<Json> &objects);

}  // namespace host
