// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace host {

struct ReplayReport;

// What --board, --switch, --trace and --real-time ask for.
struct BoardOptions {
    std::string uri = "sim";
    unsigned switch_port = 0;
    std::optional<std::string> trace_file;
    bool real_time = false;
    std::string command;  // what the session does, for the trace's head
    // What becomes of a replay; without it a difference is a failure.
    std::shared_ptr<ReplayReport> replay_report;
    // Whether a person wants the work to end.
    std::function<bool()> stopped = [] { return false; };
};

// Whether the world is ours to arrange: there is no scenario file that says what it is like.
inline bool is_demo(const BoardOptions &options) { return options.uri == "sim"; }

}  // namespace host
