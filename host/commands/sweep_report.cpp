// SPDX-License-Identifier: MIT
#include "host/commands/sweep_report.h"

#include <cstddef>

namespace host {

std::string to_string(RowClass row_class) {
    return row_class_names.at(static_cast<std::size_t>(row_class));
}

ClassTotals SweepReport::totals(const Table *table) const {
    ClassTotals totals{};
    for (const SweptRow &row : rows) {
        if (table == nullptr || row.table == table) {
            ++totals.at(static_cast<std::size_t>(row.row_class));
        }
    }
    return totals;
}

}  // namespace host
