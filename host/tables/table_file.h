// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/terminal/input_file.h"

namespace host {

// Why a file is no channel table, or is not there.
class TableError : public InputError {
    using InputError::InputError;
};

struct TableLine {
    std::string key;  // in capitals
    std::string value;
};

// One [group] of a DVBv5 file: one transponder, or one service on it.
struct TableGroup {
    unsigned line = 0;             // of the [name]
    std::string name;              // empty for the nameless "CHANNEL"
    std::vector<TableLine> lines;  // but for those about a service
    std::string fault;             // of a value that is missing or no number; empty when none is

    // The line that counts for a key; null without one. Others of the same key are passed over.
    [[nodiscard]] const TableLine *find(std::string_view key) const;
};

// A number below 2^32 in decimal digits and nothing else.
std::optional<std::uint32_t> whole_number(std::string_view text);

// The text of a table's file. Throws TableError for what is no file to read.
std::string read_table_text(const std::filesystem::path &file);

// The form of a DVBv5 file: groups of keys and values. Checks every line; `name` stands for the
// file in messages. Throws TableError with file and line for what is no table.
std::vector<TableGroup> split_table(std::string_view text, std::string_view name);

}  // namespace host
