// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

namespace ds3000 {

enum class table_use { connect, scan };

// (register, value) pairs in the order in which they are written.
struct register_table {
    const std::uint8_t *pairs;  // null: the chip is unknown
    std::int32_t count;
};

// The table of the chip in ds3000_context.chip_type; STANDARD_DVBS2, or anything else for DVB-S.
register_table table_for(std::uint32_t standard, table_use use);

}  // namespace ds3000
