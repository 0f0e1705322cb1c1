// SPDX-License-Identifier: MIT
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "host/terminal/reading_error.h"

namespace host {

// Why a file is no channel table, or is not there.
class TableError : public ReadingError {
    using ReadingError::ReadingError;
};

// One [group] of a DVBv5 file: one transponder, or one service on it.
struct TableGroup {
    unsigned line = 0;  // of the [name]
    std::string name;   // empty for the nameless "CHANNEL"
    std::string text;   // the group as libdvbv5 may read it
    std::string fault;  // what libdvbv5 would silently misread; empty when nothing
};

// The guard in front of libdvbv5, which ends the process on long values, reads a folder or an empty
// device as an empty table, and turns "abc" into 0. Reads the whole file and checks every line.
// Throws TableError with file and line for what is no table.
std::vector<TableGroup> read_table_groups(const std::filesystem::path &file);

// The same for a text; `name` stands for the file in messages.
std::vector<TableGroup> split_table(std::string_view text, std::string_view name);

}  // namespace host
