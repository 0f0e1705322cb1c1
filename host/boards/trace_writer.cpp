// SPDX-License-Identifier: MIT
#include "host/boards/trace_writer.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstring>

#include "host/terminal/failure.h"
#include "trace/message_text.h"

namespace host {

TraceWriter::TraceWriter(board::Board &board, const std::string &file, const trace::TraceHead &head)
    : name_(file),
      file_(std::fopen(file.c_str(), "we")),
      recorder_(
          board, [this](const trace::Event &event) { write(trace::format_event(event) + "\n"); },
          true),
      listener_(
          [this](std::string_view line) { recorder_.message(trace::without_addresses(line)); }) {
    if (!file_) {
        fail("cannot be written", errno);
    }
    // Whole lines reach the file at once: they are most wanted when the process dies.
    std::setvbuf(file_.get(), nullptr, _IOLBF, BUFSIZ);
    recorder_.before_each_event(StandardErrorCapture::hand_over);
    write(trace::format_head(head));
}

// The driver is in between: what fails here is for finish() to say.
void TraceWriter::write(const std::string &text) {
    if (std::fwrite(text.data(), 1, text.size(), file_.get()) != text.size() && error_ == 0) {
        error_ = errno;
    }
}

void TraceWriter::finish() {
    recorder_.drop_open_write();
    if (std::fflush(file_.get()) != 0 && error_ == 0) {
        error_ = errno;
    }
    if (error_ != 0) {
        fail("cannot be written whole", error_);
    }
}

void TraceWriter::fail(const char *what, int error) const {
    throw Failure(ExitStatus::internal_error,
                  fmt::format("trace {} {}: {}", name_, what, std::strerror(error)));
}

}  // namespace host
