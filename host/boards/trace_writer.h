// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "board/board.h"
#include "host/terminal/file.h"
#include "host/terminal/stderr_capture.h"
#include "trace/recorder.h"
#include "trace/transcript.h"

namespace host {

// Records a session on a board into a file: its head at once, then every event as it comes, the
// driver's messages included while they are captured.
class TraceWriter {
 public:
    // Throws Failure (internal_error) for a file that cannot be written.
    TraceWriter(board::Board &board, const std::string &file, const trace::TraceHead &head);

    // The board to attach instead of the one that is recorded.
    [[nodiscard]] board::Board &board() { return recorder_; }

    // Hand everything over to the system. Throws Failure (internal_error) when the file could not
    // be written whole.
    void finish();

 private:
    void write(const std::string &text);
    [[noreturn]] void fail(const char *what, int error) const;

    std::string name_;
    File file_;
    int error_ = 0;  // of the first write that failed
    trace::Recorder recorder_;
    StandardErrorCapture::Listener listener_;
};

}  // namespace host
