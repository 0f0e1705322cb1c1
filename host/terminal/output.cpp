// SPDX-License-Identifier: MIT
#include "host/terminal/output.h"

#include <fmt/format.h>

#include <cstddef>
#include <cstdint>
#include <utility>

#include "host/terminal/same_word.h"
#include "trace/printable.h"

namespace host {

namespace {

bool is_file(const std::optional<std::string> &name) { return name && *name != "-"; }

}  // namespace

std::optional<Format> format_of_name(std::string_view file) {
    for (const auto &[suffix, format] :
         {std::pair(".json", Format::json), std::pair(".jsonl", Format::jsonl),
          std::pair(".csv", Format::csv)}) {
        if (has_suffix(file, suffix)) {
            return format;
        }
    }
    return std::nullopt;
}

Output::Output(Format format, const std::optional<std::string> &file)
    : format_(format),
      file_(is_file(file) ? ReplacedFile("", *file) : ReplacedFile::standard_output()) {}

void Output::line(std::string_view text) {
    write(text);
    write("\n");
}

void Output::json(const Json &value) { line(json_text(value, format_ == Format::jsonl)); }

void Output::csv_row(const std::vector<std::string> &fields) {
    std::string row;
    for (const std::string &field : fields) {
        row += csv_field(trace::printable(field));
        row += ',';
    }
    row.resize(row.size() - (row.empty() ? 0 : 1));
    line(row);
}

void Output::flush() {
    file_.flush();
    file_.check();
}

void Output::write(std::string_view text) {
    file_.write(trace::printable(text));
    file_.check();
}

std::string json_text(const Json &value, bool on_one_line) {
    const std::string text =
        value.dump(on_one_line ? -1 : 2, ' ', false, Json::error_handler_t::replace);
    std::string escaped;
    escaped.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        // The library leaves DEL and what has several bytes as it is.
        const auto wide = trace::steering_character(std::string_view(text).substr(i, 3));
        if (text[i] == '\x7F') {
            escaped += "\\u007f";
        } else if (wide.length > 0) {
            escaped += fmt::format("\\u{:04x}", static_cast<std::uint32_t>(wide.code));
            i += wide.length - 1;
        } else {
            escaped += text[i];
        }
    }
    return escaped;
}

std::string csv_field(std::string_view text) {
    if (text.find_first_of(",\"\r\n") == std::string_view::npos) {
        return std::string(text);
    }
    std::string quoted = "\"";
    for (const char c : text) {
        quoted += c;
        if (c == '"') {
            quoted += '"';
        }
    }
    return quoted + '"';
}

}  // namespace host
