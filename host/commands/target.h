// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "broadcast/transponder.h"
#include "host/commands/program.h"
#include "host/tables/table.h"
#include "host/terminal/console.h"
#include "host/terminal/output.h"

namespace host {

// How a person names a transponder: by numbers, or by a table and one of its rows.
struct TargetOptions {
    std::optional<std::string> table;
    std::optional<std::string> selector;
    std::optional<std::string> frequency;
    std::optional<std::string> polarisation;
    std::optional<std::string> symbol_rate;
    std::optional<std::string> system;
};

// What is tuned to, and the satellite it is on.
struct Target {
    broadcast::Transponder transponder;
    std::optional<Table> table;  // absent when tuned by numbers
    std::optional<TableRow> row;
    bool any_system = false;  // whichever is on the air; the transponder's says nothing then
};

// Whether they name one at all.
bool names_a_target(const TargetOptions &options);

// The polarisation of a letter or a name. Throws Failure (usage) for anything else.
broadcast::Polarisation parse_polarisation(const std::string &text);

// The transponder that the options of a command name. How a bare number is read is noted on the
// console. Throws Failure: usage, nothing_found, bad_input, outside_limits.
Target find_target(std::string_view command, const TargetOptions &options, Console &console);

// The same, for a command that also takes auto for the system.
Target find_target_of_any_system(std::string_view command, const TargetOptions &options,
                                 Console &console);

// The options with the switch port that the target's row names, unless --switch says another.
GlobalOptions at_port_of(const Target &target, GlobalOptions options);

// What the table's dish sees that the target is behind: the rows of the same switch port.
// The target is a table's row.
broadcast::Satellite satellite_of(const Target &target);

// A target in a line of text.
std::string headline(const Target &target);

// The members that a target has in every output: its row, and what transponder it is.
Json json_of(const Target &target);

}  // namespace host
