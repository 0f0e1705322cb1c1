// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "board/board.h"
#include "trace/transcript.h"

namespace trace {

// A board in front of another one that hands every event to a sink, in the transcript's terms; a
// register read is one event, when it ends.
// Events carry time and thread when asked to: those of the virtual clock when one is in force, else
// the time since the recorder was made, and threads named in the order in which they come.
// Threads may come at any time, as a driver's host thread logs and waits while its worker has the
// bus; the sink is called for one event at a time.
class Recorder : public board::Board {
 public:
    using Sink = std::function<void(const Event &)>;

    Recorder(board::Board &board, Sink sink, bool with_time = false);

    // Called before every event: the place to look for messages that were written since the last.
    void before_each_event(std::function<void()> look) { before_each_event_ = std::move(look); }

    void perform(board::Transfer &transfer) override;
    void attend(const board::HostCall &call) override { board_.attend(call); }
    void forsake() override { board_.forsake(); }

    // The driver wrote a line to standard error.
    void message(std::string_view line);

 private:
    void emit(Event event);
    [[nodiscard]] std::string name_of_this_thread();

    board::Board &board_;
    Sink sink_;
    bool with_time_;
    std::function<void()> before_each_event_;
    std::uint64_t begin_ns_;
    std::mutex mutex_;
    std::map<std::thread::id, std::string> thread_names_;
};

}  // namespace trace
