// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "host/boards/board_options.h"
#include "host/boards/host_board.h"
#include "host/terminal/console.h"
#include "trace/replay_board.h"
#include "trace/transcript.h"

namespace host {

// What became of a replay.
struct ReplayReport {
    std::size_t events = 0;
    std::size_t played = 0;
    bool other_firmware = false;
    std::optional<trace::Difference> difference;
};

// A difference as a person reads it: the recording's lines around it, and what the driver did.
std::string difference_text(const trace::Difference &difference, const std::string &file);

// Whether a board's URI names a recording.
bool is_replay_uri(const std::string &uri);

// The recording's file.
std::string recording_of(const std::string &uri);

// A recording as this process's board: replay:FILE. finish() throws Failure (differs) at a
// difference, unless there is a report to put it in. Time is the recording's.
// Throws Failure: bad_input for a recording that cannot be read, usage for options that a recording
// has no place for.
std::unique_ptr<HostBoard> open_replayed_board(const BoardOptions &options, Console &console);

}  // namespace host
