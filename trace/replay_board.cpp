// SPDX-License-Identifier: MIT
#include "trace/replay_board.h"

#include <algorithm>
#include <map>

namespace trace {

namespace {

// How long a thread lets another one come first that the recording has before it, beyond the
// recorded time; after that the two are compared as they come.
constexpr std::uint64_t patience_ns = 500'000'000;
constexpr std::uint64_t look_again_ns = 1'000'000;

// How late a real system may wake a thread without its being another story.
constexpr std::uint64_t longest_oversleep_ns = 20'000'000;

// By how many messages of one thread another thread's may be overtaken on a real system.
constexpr std::size_t message_slack = 8;

}  // namespace

ReplayBoard::ReplayBoard(const Trace &trace, board::VirtualClock &clock)
    : player_(trace.events),
      clock_(clock),
      beats_(trace.events.size()),
      on_system_clock_(trace.head.value("clock") == "system") {
    player_.accept_any_firmware();
    player_.compare_messages(on_system_clock_ ? message_slack : 0);
    std::map<std::string, std::size_t> next_of_thread;
    std::uint64_t time_us = 0;
    for (std::size_t i = 0; i < beats_.size(); ++i) {
        time_us = trace.events[i].time_us.value_or(time_us);
        beats_[i].time_ns = time_us * 1000U;
    }
    for (std::size_t i = beats_.size(); i-- > 0;) {
        std::size_t &next = next_of_thread[trace.events[i].thread];
        beats_[i].next_of_thread = next;
        next = i;
    }
}

// A thread that is early lets the one go first that the recording has next.
void ReplayBoard::await_turn() {
    if (before_each_event_) {
        before_each_event_();
    }
    const std::string self = board::VirtualClock::thread_name();
    for (const Event *next = player_.next_event(); next != nullptr && !player_.differs();
         next = player_.next_event()) {
        const std::uint64_t due_ns = beats_[player_.played()].time_ns;
        const std::uint64_t now_ns = clock_.now_ns();
        if (next->thread.empty() || next->thread == self || now_ns > due_ns + patience_ns) {
            return;
        }
        clock_.sleep_ns(std::max(due_ns, now_ns + look_again_ns) - now_ns);
    }
}

void ReplayBoard::keep_time(std::size_t event) {
    if (player_.played() == event + 1 && beats_[event].time_ns > clock_.now_ns()) {
        clock_.spend_ns(beats_[event].time_ns - clock_.now_ns());
    }
}

// A real system wakes a thread late, and what others did meanwhile comes before it.
void ReplayBoard::oversleep(std::size_t event, std::uint32_t microseconds) {
    if (!on_system_clock_ || player_.played() != event + 1 || beats_[event].next_of_thread == 0) {
        return;
    }
    const std::uint64_t nominal_ns = clock_.now_ns() + std::uint64_t{microseconds} * 1000U;
    const std::uint64_t late_ns = beats_[beats_[event].next_of_thread - 1].time_ns;
    if (late_ns > nominal_ns) {
        clock_.sleep_ns(std::min(late_ns - nominal_ns, longest_oversleep_ns));
    }
}

void ReplayBoard::perform(board::Transfer &transfer) {
    if (begins_event(transfer)) {
        await_turn();
    }
    const std::size_t event = player_.played();
    player_.perform(transfer);
    keep_time(event);
    if (transfer.kind == EventKind::wait) {
        oversleep(event, transfer.wait_us);
    }
}

}  // namespace trace
