// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "board/board.h"
#include "board/clock.h"
#include "trace/player.h"
#include "trace/reader.h"
#include "trace/transcript.h"

namespace trace {

// A recording as a board: a player in front of the virtual clock, which it moves on to the recorded
// time of each event, and makes threads take turns as they did when the recording was made.
class ReplayBoard : public board::Board {
 public:
    ReplayBoard(const Trace &trace, board::VirtualClock &clock);

    // Called before every event: the place to look for messages that were written since the last.
    void before_each_event(std::function<void()> look) { before_each_event_ = std::move(look); }

    [[nodiscard]] Player &player() { return player_; }

    void perform(board::Transfer &transfer) override;

 private:
    // What of an event the pace needs.
    struct Beat {
        std::uint64_t time_ns = 0;
        std::size_t next_of_thread = 0;  // index of the same thread's next event; else 0
    };

    void await_turn();
    void keep_time(std::size_t event);
    void oversleep(std::size_t event, std::uint32_t microseconds);

    Player player_;
    board::VirtualClock &clock_;
    std::function<void()> before_each_event_;
    std::vector<Beat> beats_;
    bool on_system_clock_;
};

}  // namespace trace
