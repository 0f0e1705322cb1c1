// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "broadcast/transponder.h"

namespace host {

// A row to be written; what is absent is written as AUTO or not at all.
struct WrittenRow {
    std::uint32_t frequency_khz = 0;
    broadcast::Polarisation polarisation = broadcast::Polarisation::horizontal;
    std::uint32_t symbol_rate = 0;  // sym/s
    broadcast::System system = broadcast::System::dvbs;
    std::optional<broadcast::Modulation> modulation;
    std::optional<broadcast::CodeRate> code_rate;  // 1/4 and 1/3 have no name in the format: AUTO
    std::optional<broadcast::RollOff> roll_off;
    std::optional<bool> pilots;
    std::optional<bool> inverted;
    unsigned switch_port = 0;  // of the committed switch; 0: none
    std::string lnb = {};      // a name that other programs know, where it has to be said
};

// A name for each row by its place, 10714H: programs that know rows by their names would keep one
// of many that have none. Where two are the same, the later one gets a number, 10714H-2.
std::vector<std::string> row_names(const std::vector<WrittenRow> &rows);

// A frequency in MHz, rounded.
std::uint32_t whole_mhz(std::uint32_t khz);

// The text of a DVBv5 channel file with these rows; empty without rows.
std::string table_text(const std::vector<WrittenRow> &rows);

}  // namespace host
