// SPDX-License-Identifier: MIT
#pragma once

#include <cstdio>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace host {

using Json = nlohmann::ordered_json;

enum class Format { text, json, jsonl, csv };

// Why something cannot be written.
class OutputError : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Where a command's data go: standard output, or the file of -o. Every write is checked: a full
// disk or a closed pipe is an OutputError, not a short file.
class Output {
 public:
    // Opens the file at once, so that a name that cannot be written fails before any work.
    Output(Format format, const std::optional<std::string> &file);

    [[nodiscard]] Format format() const { return format_; }

    void line(std::string_view text);

    // The same without a line's end.
    void text(std::string_view text) { write(text); }

    // One JSON value: over several lines, or as one line under jsonl.
    void json(const Json &value);

    void csv_row(const std::vector<std::string> &fields);

    // Hand everything over to the system.
    void finish();

 private:
    void write(std::string_view text);
    [[noreturn]] void fail() const;

    struct Close {
        void operator()(std::FILE *file) const {
            if (file != stdout) {
                std::fclose(file);
            }
        }
    };
    Format format_;
    std::string name_;
    std::unique_ptr<std::FILE, Close> file_;
};

// A field of a CSV row, quoted where RFC 4180 asks for it.
std::string csv_field(std::string_view text);

}  // namespace host
