// SPDX-License-Identifier: MIT
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "broadcast/transponder.h"
#include "host/tables/table.h"

namespace host {

// Where Debian's dtv-scan-tables keep the satellites.
std::filesystem::path table_folder();

// The file that a table's name stands for: a path, or a file name in the table folder, without the
// satellite that may be named behind it. There need not be one.
std::filesystem::path installed_or_named(const std::string &table);

// A table's file: a path, or a file name in the table folder. Throws TableError with the
// names that come near.
std::filesystem::path find_table(const std::string &name);

// The table that a person names: a file as above, and behind a satellites.xml and a colon which of
// its satellites, satellites.xml:19.2E. Throws TableError.
Table table_named(const std::string &name);

// All files of the table folder in alphabetical order; empty without the package.
std::vector<std::filesystem::path> installed_tables();

// Those that say what the dish of the built-in board sees.
std::vector<std::filesystem::path> demo_tables();

// What the dish of the built-in board sees: 19.2 degrees east, from the installed tables of that
// position, or from a short list of its transponders without them.
broadcast::Satellite demo_satellite();

}  // namespace host
