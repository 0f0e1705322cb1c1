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
    ReplayBoard(const TraceHead &head, const Recording &recording, board::VirtualClock &clock);

    // Called before every event: the place to look for messages that were written since the last.
    void before_each_event(std::function<void()> look) { before_each_event_ = std::move(look); }

    [[nodiscard]] Player &player() { return player_; }
    [[nodiscard]] const Player &player() const { return player_; }

    void perform(board::Transfer &transfer) override;

 private:
    void await_turn();
    void keep_time();
    void oversleep(std::uint32_t microseconds);

    Player player_;
    board::VirtualClock &clock_;
    std::function<void()> before_each_event_;
    // When the thread of each wait was awake again at the latest; 0 where it did nothing more.
    // Empty but for a recording of the system's clock, where this is not when the wait ended.
    std::vector<std::uint64_t> awake_us_;
    std::size_t waits_ = 0;      // that came
    std::uint64_t ends_us_ = 0;  // when the event played last was over
};

}  // namespace trace
