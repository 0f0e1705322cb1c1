// SPDX-License-Identifier: MIT
#include "host/host_board.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstring>

#include "host/failure.h"

namespace host {

HostBoard::~HostBoard() { sim::set_board(nullptr); }

void HostBoard::attach(sim::Board &board, const BoardOptions &options) {
    if (!options.trace_file) {
        sim::set_board(&board);
        return;
    }
    trace_name_ = *options.trace_file;
    trace_.reset(std::fopen(trace_name_.c_str(), "we"));
    if (!trace_) {
        throw Failure(ExitStatus::internal_error, fmt::format("trace {} cannot be written: {}",
                                                              trace_name_, std::strerror(errno)));
    }
    recorder_ = std::make_unique<Recorder>(
        board,
        [this](const Event &event) { fmt::print(trace_.get(), "{}\n", format_event(event)); },
        true);
    sim::set_board(recorder_.get());
}

void HostBoard::finish() {
    if (!trace_) {
        return;
    }
    recorder_->flush();
    if (std::fflush(trace_.get()) != 0 || std::ferror(trace_.get()) != 0) {
        throw Failure(
            ExitStatus::internal_error,
            fmt::format("trace {} cannot be written whole: {}", trace_name_, std::strerror(errno)));
    }
}

}  // namespace host
