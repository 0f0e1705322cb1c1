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
    bus_lost,    // transfer after transfer to the chips fails
    power_lost,  // the chips answer, and have forgotten what the driver set up
    departed     // a recording has no answer to what it was not asked when it was made
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
// so long together, when a look at them says so, or when they are a recording's from which the work
// has departed. A tuner that has answered is watched for itself
// too: the demodulator's repeater in front of it answers whether it is there or not.
class BoardWatch final : public board::Board {
 public:
    static constexpr unsigned most_failures = 20;
    static constexpr std::uint64_t longest_failing_ns = 2'000'000'000;

    // A failure that took so long is that of a bus on which nothing moves.
    static constexpr std::uint64_t slow_failure_ns = 100'000'000;

    // stopped: whether a person wants the work to end; a transfer that fails then is the last of
    // the work.
    // may_look: whether the board answers what the driver did not ask.
    // departed: whether the board is a recording that has no more answers; asked after each
    // transfer.
    BoardWatch(
        board::Board &board, std::function<bool()> stopped, bool may_look = true,
        std::function<bool()> departed = [] { return false; });

    void perform(board::Transfer &transfer) override;
    void attend(const board::HostCall &call) override { board_.attend(call); }

    // Whose work the board does from now on. A plug-in has a thread of its own, which must have its
    // sleeps; work of the calling thread alone is cut short as a whole when a person stops it: its
    // transfers fail and its waits are over at once, until end_work().
    enum class Work : std::uint8_t { none, of_plugin, of_this_thread, ending };
    void begin_work(Work work);

    // What follows puts the chips to sleep, unless it is known that they will not hear: nobody who
    // stopped the work waits for one slow failure after the other.
    void end_work();

    // Look whether the chips still are as a start-up left them: who they are, and awake. By the
    // thread that has the bus, between two operations of the driver.
    void look();

    // The same by whichever thread reads a register of the demodulator next, at the beginning of a
    // poll.
    void look_soon() { look_due_ = may_look_; }
    [[nodiscard]] bool look_is_due() const { return look_due_; }

    // The same about once a second while this exists: for an operation of the driver that takes
    // many seconds.
    class RegularLooks {
     public:
        explicit RegularLooks(BoardWatch &watch);
        RegularLooks(const RegularLooks &) = delete;
        RegularLooks &operator=(const RegularLooks &) = delete;
        ~RegularLooks() { watch_.looks_regularly_ = false; }

     private:
        BoardWatch &watch_;
    };

    [[nodiscard]] std::optional<BoardLoss> loss() const;

    // While one exists: calls once, on the thread that uses the board, when so many more transfers
    // to the chips have been made. At most one exists.
    class TransferAlarm {
     public:
        TransferAlarm(BoardWatch &watch, std::uint64_t transfers, std::function<void()> tell);
        TransferAlarm(const TransferAlarm &) = delete;
        TransferAlarm &operator=(const TransferAlarm &) = delete;
        ~TransferAlarm() { watch_.transfers_to_come_ = 0; }

     private:
        BoardWatch &watch_;
    };

    // How many transfers to the chips have failed.
    [[nodiscard]] std::uint64_t failed_transfers() const { return failed_transfers_; }

    // Called once, on the thread that uses the board, when the chips are gone or the work is cut
    // short: what the driver says from then on means nothing.
    void on_end(std::function<void()> tell) { tell_ = std::move(tell); }
    [[nodiscard]] bool has_ended() const { return told_; }

 private:
    // Transfers that failed one after the other.
    struct Failures {
        unsigned count = 0;
        std::uint64_t took_ns = 0;  // together

        void add(std::uint64_t ns) {
            ++count;
            took_ns += ns;
        }
        [[nodiscard]] bool are_too_many() const {
            return count >= most_failures || (count > 1 && took_ns >= longest_failing_ns);
        }
    };

    void carry(board::Transfer &transfer);
    bool is_cut_short();
    void account(unsigned address, bool succeeded, std::uint64_t took_ns);
    void account_failure(unsigned address, std::uint64_t took_ns);
    void plan_looks();
    std::optional<std::uint8_t> read_register(std::uint8_t reg);
    void lose_bus();
    void lose(BoardLoss loss);
    void tell_of_end();
    void count_transfer();
    void spare();

    board::Board &board_;
    std::function<bool()> stopped_;
    bool may_look_;
    std::function<bool()> departed_;
    std::function<void()> tell_ = [] {};
    std::atomic<bool> told_ = false;
    std::uint64_t transfers_to_come_ = 0;
    std::function<void()> tell_of_transfers_;
    void *bus_ = nullptr;
    Failures failures_;
    Failures tuner_failures_;
    std::atomic<std::uint64_t> failed_transfers_ = 0;
    bool tuner_has_answered_ = false;
    bool looks_regularly_ = false;
    std::uint64_t looked_ns_ = 0;
    std::atomic<Work> work_ = Work::none;
    std::atomic<bool> look_due_ = false;
    std::atomic<bool> begins_anew_ = true;  // the driver rested and has not read since
    std::atomic<bool> spares_ = false;      // transfers to the chips fail at once
    std::atomic<bool> may_hear_ = true;     // the chips, when they are sent to sleep after a stop
    std::atomic<bool> lost_ = false;
    std::atomic<BoardLoss> loss_ = BoardLoss::bus_lost;  // when lost_
};

}  // namespace host
