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
};

// The text of a DVBv5 channel file with these rows; empty without rows.
std::string table_text(const std::vector<WrittenRow> &rows);

}  // namespace host
