// SPDX-License-Identifier: MIT
#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/terminal/replaced_file.h"

namespace host {

using Json = nlohmann::ordered_json;

enum class Format { text, json, jsonl, csv };

// What a file's name says of what belongs into it, by its suffix; other names say nothing.
std::optional<Format> format_of_name(std::string_view file);

// Where a command's data go: standard output, or the file of -o. Every write is checked: a full
// disk or a closed pipe is an OutputError, not a short file. What would steer a terminal, or is no
// UTF-8, is escaped whoever wrote it.
class Output {
 public:
    // Opens the file at once, so that a name that cannot be written fails before any work; it takes
    // the old one's place in finish().
    Output(Format format, const std::optional<std::string> &file);

    [[nodiscard]] Format format() const { return format_; }

    // Of the terminal that reads; nothing when none does.
    [[nodiscard]] std::optional<std::size_t> columns() const { return file_.columns(); }

    void line(std::string_view text);

    // The same without a line's end.
    void text(std::string_view text) { write(text); }

    // One JSON value: over several lines, or as one line under jsonl.
    void json(const Json &value);

    void csv_row(const std::vector<std::string> &fields);

    // Hand over to the system what there is.
    void flush();

    // That was all.
    void finish() { file_.publish(); }

 private:
    void write(std::string_view text);

    Format format_;
    ReplacedFile file_;
};

// A value as JSON, over several lines or on one. What would steer a terminal is escaped, and what
// is no UTF-8 replaced: names from a table may be in any encoding.
std::string json_text(const Json &value, bool on_one_line = false);

// A field of a CSV row, quoted where RFC 4180 asks for it.
std::string csv_field(std::string_view text);

}  // namespace host
