// SPDX-License-Identifier: MIT
#include "host/terminal/output.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstring>

namespace host {

Output::Output(Format format, const std::optional<std::string> &file)
    : format_(format), name_(file && *file != "-" ? *file : "standard output") {
    file_.reset(file && *file != "-" ? std::fopen(file->c_str(), "we") : stdout);
    if (!file_) {
        fail();
    }
}

void Output::line(std::string_view text) {
    write(text);
    write("\n");
}

void Output::json(const Json &value) {
    const int indent = format_ == Format::jsonl ? -1 : 2;
    // Names from a table may be in any encoding; what is no UTF-8 is shown as such.
    line(value.dump(indent, ' ', false, Json::error_handler_t::replace));
}

void Output::csv_row(const std::vector<std::string> &fields) {
    std::string row;
    for (const std::string &field : fields) {
        row += csv_field(field);
        row += ',';
    }
    row.resize(row.size() - (row.empty() ? 0 : 1));
    line(row);
}

void Output::finish() {
    if (std::fflush(file_.get()) != 0) {
        fail();
    }
}

void Output::write(std::string_view text) {
    if (std::fwrite(text.data(), 1, text.size(), file_.get()) != text.size()) {
        fail();
    }
}

void Output::fail() const {
    throw OutputError(fmt::format("{} cannot be written: {}", name_, std::strerror(errno)));
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
