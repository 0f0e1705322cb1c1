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

bool is_of_system_clock(const TraceHead &head) { return head.value("clock") == "system"; }

// For each wait the time of the event before its thread's next one.
std::vector<std::uint64_t> times_awake(EventReader &events) {
    std::vector<std::uint64_t> times_us;
    std::map<std::string, std::size_t> waiting;  // threads, and which wait each is in
    std::uint64_t before_us = 0;
    while (const Event *event = events.next()) {
        if (const auto wait = waiting.extract(event->thread)) {
            times_us[wait.mapped()] = before_us;
        }
        if (event->kind == EventKind::wait) {
            waiting[event->thread] = times_us.size();
            times_us.push_back(0);
        }
        before_us = event->time_us.value_or(before_us);
    }
    return times_us;
}

}  // namespace

ReplayBoard::ReplayBoard(const TraceHead &head, const Recording &recording,
                         board::VirtualClock &clock)
    : player_(recording), clock_(clock) {
    player_.accept_any_firmware();
    player_.compare_messages(is_of_system_clock(head) ? message_slack : 0);
    if (is_of_system_clock(head)) {
        awake_us_ = times_awake(*recording());
    }
    // What the host makes of a moment depends on whether it could look then. A recording whose head
    // was lost is taken for one of today's simulated boards.
    if (head.empty() || head.value("preemption")) {
        clock_.befall({.preemption = 1});
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
        const std::uint64_t due_ns = player_.time_us() * 1000U;
        const std::uint64_t now_ns = clock_.now_ns();
        if (next->thread.empty() || next->thread == self || now_ns > due_ns + patience_ns) {
            return;
        }
        clock_.sleep_ns(std::max(due_ns, now_ns + look_again_ns) - now_ns);
    }
}

void ReplayBoard::keep_time() {
    const std::uint64_t time_ns = ends_us_ * 1000U;
    if (time_ns > clock_.now_ns()) {
        clock_.spend_ns(time_ns - clock_.now_ns());
    }
}

// A real system wakes a thread late, and what others did meanwhile comes before it.
void ReplayBoard::oversleep(std::uint32_t microseconds) {
    const std::size_t wait = waits_++;
    if (wait >= awake_us_.size()) {
        return;
    }
    const std::uint64_t nominal_ns = clock_.now_ns() + std::uint64_t{microseconds} * 1000U;
    const std::uint64_t late_ns = awake_us_[wait] * 1000U;
    if (late_ns > nominal_ns) {
        clock_.sleep_ns(std::min(late_ns - nominal_ns, longest_oversleep_ns));
    }
}

void ReplayBoard::perform(board::Transfer &transfer) {
    if (begins_event(transfer)) {
        await_turn();
    }
    const bool awaited_read = player_.awaits_read();
    const std::size_t event = player_.played();
    player_.perform(transfer);
    if (player_.played() == event + 1) {
        ends_us_ = player_.time_us();
    } else if (!awaited_read) {
        return;
    }
    // What a read took was recorded as a whole: it is spent where it mostly is, in its second call.
    if (player_.awaits_read()) {
        return;
    }
    keep_time();
    if (transfer.kind == EventKind::wait) {
        oversleep(transfer.wait_us);
    }
}

}  // namespace trace
