// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "board/board.h"
#include "host/terminal/replaced_file.h"
#include "host/terminal/stderr_capture.h"
#include "trace/recorder.h"
#include "trace/transcript.h"

namespace host {

// Records a session on a board into a file: its head at once, then every event as it comes, the
// driver's messages included while they are captured.
class TraceWriter {
 public:
    // Throws OutputError for a file that cannot be written.
    TraceWriter(board::Board &board, const std::string &file, const trace::TraceHead &head);
    TraceWriter(const TraceWriter &) = delete;
    TraceWriter &operator=(const TraceWriter &) = delete;

    // The recording of a session that failed is wanted most: it takes the old one's place too,
    // unless nothing happened in it.
    ~TraceWriter();

    // The board to attach instead of the one that is recorded.
    [[nodiscard]] board::Board &board() { return recorder_; }

    // The session is over: the file takes the old one's place. Throws OutputError when it could
    // not be written whole.
    void finish();

 private:
    void write(const std::string &text);

    ReplacedFile file_;
    std::string head_;  // until it is written, before the first event
    bool finished_ = false;
    trace::Recorder recorder_;
    StandardErrorCapture::Listener listener_;
};

}  // namespace host
