// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "board/clock.h"
#include "board/host_call.h"
#include "sim/watch.h"

namespace sim {

// What the board is like when a host call has ended.
struct Aftermath {
    bool bus_open = false;
    bool supply_off = false;
    bool demodulator_asleep = false;
    bool tuner_asleep = false;
    std::uint64_t told_lock_ns = 0;  // when the demodulator last told a lock to who asked
    std::uint64_t told_none_ns = 0;  // and when none
};

// How a driver conducts itself between its host and the board: which of its threads uses the bus
// while the host has something done, how its own thread watches a channel, what it tells, what it
// leaves behind. It is silent until a host makes its calls known, and after the board is forsaken.
//
// The rules, and whom it hurts when they are broken:
// - From the first to the last transfer of an init, tune or finalize the bus is that thread's: what
//   another one sends meanwhile lands between a repeater's opening and the tuner's byte.
// - Before the first tune the driver's thread leaves the chips alone: nothing is set up that could
//   be polled. From then on it polls, whatever became of the tune: it alone finds the lock again.
// - It rests 50 ms between two polls: with much less there is no room on the bus for others, with
//   much more a receiver's picture comes late and its loss is seen late.
// - Nothing waits while the record's mutex is held: the host's getters are called where a receiver
//   draws its screen.
// - A lock is told only when the last complete poll was told one by the chip. A tune leaves what is
//   told alone until the first poll after it: a host that asks at once would blank its picture, or
//   show one that is not there.
// - An operation answers 1 for yes and 0 for no; a finalize always 1, a reading of the signal
//   always 0. Hosts compare with these numbers.
// - An init or a finalize sleeps no longer than the chips need, and chips that are woken need less
//   than those that are started: whoever presses the key of standby looks at a dark screen. What is
//   asked for counts, and not what threads that wake late make of it.
// - A tune to another channel sets it up, whatever it differs in: a host that is told yes shows
//   what was there before. The channel that is tuned is not set up again, which would blank the
//   picture, and a request that must be refused touches nothing.
// - An init beside a Tuner that is up leaves the chips alone: they receive for that one.
// - Chips are put to sleep before their signal ends: what a demodulator makes of a dying
//   one goes out of its port, and into the last picture that a receiver shows.
// - A thread is joined once: what it was is somebody else's afterwards, and a second join may wait
//   for that for ever.
// - After finalize the thread is gone and joined, supply and chips are off: what a receiver in
//   standby draws is on its type plate. After free the bus is somebody else's.
class Conduct {
 public:
    Conduct(Watch &watch, const board::VirtualClock &clock) : watch_(&watch), clock_(&clock) {}

    void begin(const board::HostCall &call);
    void end(const board::HostCall &call, const Aftermath &aftermath);
    void forsake() {
        is_forsaken_ = true;
        is_silent_ = true;
    }

    // What the thread at work sends or receives, and how long it asks to sleep.
    void note_transfer(const Transfer &transfer) {
        if (is_silent_) {
            return;
        }
        const unsigned thread = board::VirtualClock::thread_number();
        if (!goes_on_polling(thread)) {
            judge_transfer(transfer, thread);
        }
    }
    void note_wait(std::uint32_t asked_us);

    // Line 6 fell, and whether the demodulator was locked then. A chip that refuses a finalize's
    // transfers cannot be put to sleep first.
    void note_supply_off(bool locked);

    // Whether a finalize is at work on chips that sleep since another one: what it tells them
    // again they need not hear.
    [[nodiscard]] bool is_ended_again() const {
        return chips_sleep_ && use_ && use_->operation == board::HostCall::Operation::finalize;
    }

 private:
    enum class Phase : std::uint8_t { started, tuned, ended };

    // A poll with a re-connect takes fewer than a thousand.
    static constexpr unsigned most_transfers_without_rest = 3'000;

    // A Tuner from init on.
    struct Life {
        const void *tuner = nullptr;
        unsigned thread = board::Schedule::outside;  // the driver's own
        Phase phase = Phase::started;
        std::uint64_t tuned_ns = 0;
        std::uint64_t poll_ns = 0;           // begin of the present or last poll
        std::uint64_t complete_poll_ns = 0;  // of the last one that is over
        std::uint64_t rest_us = 0;           // asked for since the last transfer
        unsigned rests = 0;                  // as long as one between polls, since then
        unsigned transfers = 0;              // since the last such rest
        unsigned polls = 0;                  // since the last tune
        std::optional<bool> answer = {};     // of the last get_lock before a tune
        std::optional<bool> kept = false;    // what is told until the first poll after it
        std::optional<board::WantedChannel> channel = {};
    };

    // A call that may use the bus.
    struct Use {
        board::HostCall::Operation operation;
        unsigned thread;
        std::string thread_name;
        unsigned threads_before;
        bool finds_chips_asleep;
        std::uint64_t asked_us = 0;  // of sleep
        std::uint64_t transfers = 0;
        std::uint64_t refused = 0;  // of them
        std::uint64_t writes = 0;   // of them, to either chip
    };

    // Nearly every transfer is one more of a poll that has begun, while the host asks for nothing.
    bool goes_on_polling(unsigned thread) {
        if (use_ || lives_.size() != 1 || lives_.front().thread != thread ||
            lives_.front().phase != Phase::tuned || lives_.front().transfers == 0) {
            return false;
        }
        count_transfer(lives_.front());
        return true;
    }
    void count_transfer(Life &life) {
        life.rest_us = 0;
        life.rests = 0;
        if (++life.transfers == most_transfers_without_rest) {
            complain_of_no_rest(life);
        }
    }
    void complain_of_no_rest(Life &life);
    void judge_transfer(const Transfer &transfer, unsigned thread);
    void note_rest(Life &life, std::uint32_t asked_us);
    void note_intrusion(const Transfer &transfer);
    void note_poll(Life &life, const Transfer &transfer);
    void complain_of_early_poll(unsigned thread, const Transfer &transfer);
    void begin_poll(Life &life);
    void end_init(const board::HostCall &call);
    void end_tune(const board::HostCall &call, const Aftermath &aftermath);
    void judge_set_up(Life &life, const board::WantedChannel &wanted);
    void end_finalize(const board::HostCall &call, const Aftermath &aftermath);
    void judge_thread(const Life &life);
    void judge_joins();
    void judge_rest(const Life &life);
    void judge_claim(const board::HostCall &call, const Aftermath &aftermath);
    void judge_kept_lock(Life &life, const board::HostCall &call);
    void judge_answer(const board::HostCall &call);
    void judge_waits();
    void judge_mutex();
    Life *life_of(const void *tuner);
    Life *life_of_thread(unsigned thread);
    void complain(Offence offence, const std::string &text);

    Watch *watch_;
    const board::VirtualClock *clock_;
    bool is_forsaken_ = false;
    bool is_silent_ = true;  // before the first call too
    std::vector<Life> lives_;
    std::optional<Use> use_;
    std::optional<std::string> intrusion_;  // a transfer that may turn out to be one
    std::uint64_t blocked_locks_ = 0;
    unsigned vain_joins_ = 0;
    bool chips_sleep_ = false;   // since a finalize
    bool chips_are_up_ = false;  // since an init
};

}  // namespace sim
