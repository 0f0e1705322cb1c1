// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/monitor/monitor_summary.h"
#include "host/monitor/reception_monitor.h"
#include "host/session/judge.h"
#include "host/terminal/presentation.h"

namespace host {

// What a watch came to.
struct MonitorReport {
    Json about;                // the members that say what was watched, and by which way
    std::string cut_short_by;  // "cancelled" or why the board is gone; empty when it ended in time
    std::uint64_t watched_ms = 0;
    LockRecord lock;
    std::string without_data;  // why none came behind a lock, where somebody knows
    Complaints complaints;
};

// Writes a watch in the output's format: each reading as it comes, then what they come to; JSON as
// a whole at the end.
class MonitorWriter {
 public:
    explicit MonitorWriter(Output &output);

    void write(const MonitorReading &reading);

    // Count a reading that is shown elsewhere.
    void count(const MonitorReading &reading) { summary_.add(reading.reception); }

    void finish(const MonitorReport &report);

    [[nodiscard]] const MonitorSummary &summary() const { return summary_; }

    // The whole, but for the schema tag.
    [[nodiscard]] Json whole(const MonitorReport &report) const;

 private:
    Output &output_;
    RowStream rows_;
    MonitorSummary summary_;
    std::vector<Json> readings_;  // for JSON as a whole
};

}  // namespace host
