// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "board/board.h"

namespace host {

// Why a session has no board any more.
enum class BoardLoss : std::uint8_t {
    bus_lost,   // transfer after transfer to the chips fails
    power_lost  // the chips answer, and have forgotten what the driver set up
};

// "bus_lost"
std::string to_string(BoardLoss loss);

// What a person should know of it, a sentence.
std::string explanation_of(BoardLoss loss);

// In front of a session's board: notices that the chips are gone, whatever the driver makes of it,
// and spares it the rest. From then on transfers to the chips fail at once and never reach the
// board, which may have taken a second for each; the LNB supply's GPIO lines and its controller
// are still served.
//
// The chips are gone when so many transfers to them failed one after the other, or when those took
// so long together, or when a look at them says so.
class BoardWatch final : public board::Board {
 public:
    static constexpr unsigned most_failures = 20;
    static constexpr std::uint64_t longest_failing_ns = 2'000'000'000;

    // stopped: whether a person wants the work to end; a transfer that fails then is the last of
    // the work.
    // may_look: whether the board answers what the driver did not ask.
    BoardWatch(board::Board &board, std::function<bool()> stopped, bool may_look = true);

    void perform(board::Transfer &transfer) override;

    // Whose work the board does from now on. A plug-in has a thread of its own, which must have its
    // sleeps; work of the calling thread alone is cut short as a whole when a person stops it: its
    // transfers fail and its waits are over at once, until end_work().
    enum class Work : std::uint8_t { none, of_plugin, of_this_thread };
    void begin_work(Work work);
    void end_work();

    // Look whether the chips still are as a start-up left them: who they are, and awake. By the
    // thread that has the bus, between two operations of the driver.
    void look();

    // The same by whichever thread reads a register of the demodulator next.
    void look_soon() { look_due_ = may_look_; }
    [[nodiscard]] bool look_is_due() const { return look_due_; }

    [[nodiscard]] std::optional<BoardLoss> loss() const;

    // Called once, on the thread that uses the board, when the chips are gone or the work is cut
    // short: what the driver says from then on means nothing.
    void on_end(std::function<void()> tell) { tell_ = std::move(tell); }
    [[nodiscard]] bool has_ended() const { return told_; }

 private:
    bool is_cut_short();
    void account(bool succeeded, std::uint64_t took_ns);
    std::optional<std::uint8_t> read_register(std::uint8_t reg);
    void lose(BoardLoss loss);
    void tell_of_end();

    board::Board &board_;
    std::function<bool()> stopped_;
    bool may_look_;
    std::function<void()> tell_ = [] {};
    std::atomic<bool> told_ = false;
    void *bus_ = nullptr;
    unsigned failures_ = 0;         // one after the other
    std::uint64_t failing_ns_ = 0;  // that they took together
    std::atomic<Work> work_ = Work::none;
    std::atomic<bool> look_due_ = false;
    std::atomic<bool> spares_ = false;  // transfers to the chips fail at once
    std::atomic<bool> lost_ = false;
    std::atomic<BoardLoss> loss_ = BoardLoss::bus_lost;  // when lost_
};

}  // namespace host
