// SPDX-License-Identifier: MIT
#include "host/boards/trace_writer.h"

#include <utility>

#include "trace/message_text.h"

namespace host {

TraceWriter::TraceWriter(board::Board &board, const std::string &file, const trace::TraceHead &head)
    : file_("trace", file),
      head_(trace::format_head(head)),
      recorder_(
          board, [this](const trace::Event &event) { write(trace::format_event(event) + "\n"); },
          true),
      listener_(
          [this](std::string_view line) { recorder_.message(trace::without_addresses(line)); }) {
    recorder_.before_each_event(StandardErrorCapture::hand_over);
}

TraceWriter::~TraceWriter() {
    try {
        if (!finished_ && !file_.empty()) {
            finish();
        }
    } catch (const OutputError &) {
        // The session has failed for another reason, which is being told.
        return;
    }
}

// Whole lines reach the file at once: they are most wanted when the process dies. The driver is in
// between: what fails here is for finish() to say.
void TraceWriter::write(const std::string &text) {
    file_.write(std::exchange(head_, ""));
    file_.write(text);
    file_.flush();
}

void TraceWriter::finish() {
    finished_ = true;
    recorder_.drop_open_write();
    write("");
    file_.publish();
}

}  // namespace host
