// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "broadcast/transponder.h"
#include "host/session/judge.h"
#include "host/session/session.h"
#include "host/tables/table.h"

namespace host {

// Each row of a table ends in exactly one of these.
enum class RowClass { locked, locked_without_data, no_lock, out_of_range, refused, unusable_row };

constexpr std::array<const char *, 6> row_class_names{
    "locked", "locked_without_data", "no_lock", "out_of_range", "refused", "unusable_row"};

std::string to_string(RowClass row_class);

// What became of a row.
struct SweptRow {
    const Table *table = nullptr;
    RowPlace place;
    std::optional<broadcast::Transponder> transponder;  // absent for an unusable row
    RowClass row_class = RowClass::unusable_row;
    std::string lnb;
    std::optional<std::uint32_t> if_khz;
    std::optional<std::uint64_t> lock_ms;
    std::optional<Signal> signal;
    std::optional<unsigned> restarts;  // of the search, by the driver
    std::optional<bool> receivable;
    std::string obstacle;     // why it is not receivable
    std::string reason;       // a few words, always the same ones
    std::string explanation;  // with the numbers

    // What a receiver should have locked to, with data, and did not, though nothing stands in the
    // way.
    [[nodiscard]] bool is_defect() const {
        return row_class != RowClass::locked && receivable.value_or(false) && obstacle.empty();
    }
};

// Rows by their class.
using ClassTotals = std::array<unsigned, row_class_names.size()>;

// What a sweep as a whole came to.
struct SweepReport {
    const std::vector<Table> &tables;
    std::vector<SweptRow> rows;
    Complaints complaints;
    std::string cut_short_by;  // empty for a whole one
    std::uint64_t virtual_ms = 0;
    std::uint64_t wall_ms = 0;

    [[nodiscard]] bool complete() const { return cut_short_by.empty(); }

    // Of all tables, or of one.
    [[nodiscard]] ClassTotals totals(const Table *table = nullptr) const;
};

}  // namespace host
