// SPDX-License-Identifier: MIT
#include "trace/recorder.h"

#include <utility>

#include "board/clock.h"

namespace trace {

namespace {

using Stage = board::Transfer::Stage;

Event event_of(const board::Transfer &transfer) {
    Event event{transfer, {}, {}};
    event.stage = Stage::whole;
    event.bus = nullptr;
    if (transfer.stage == Stage::apart) {
        event.outcome = Outcome::ok;  // it was acknowledged when it was made
    }
    if (event.outcome != Outcome::ok) {
        event.received.clear();
    }
    if (transfer.kind == EventKind::bus_open) {
        event.outcome = transfer.bus != nullptr ? Outcome::ok : Outcome::nack;
    } else if (transfer.kind == EventKind::fetch) {
        event.sent.clear();
    } else if (transfer.stage == Stage::opened && transfer.sent.size() == 1) {
        // Nobody reads from a device that refused a register's number.
        event.kind = EventKind::read;
        event.flags = HDI_COMPLETE;
        event.length = 1;
        event.outcome = Outcome::nack_address;
    }
    return event;
}

}  // namespace

Recorder::Recorder(board::Board &board, Sink sink, bool with_time)
    : board_(board),
      sink_(std::move(sink)),
      with_time_(with_time),
      begin_ns_(board::wall_now_ns()) {}

void Recorder::perform(board::Transfer &transfer) {
    if (before_each_event_ && begins_event(transfer)) {
        before_each_event_();
    }
    board_.perform(transfer);
    const bool goes_on = transfer.stage == Stage::opened && transfer.outcome == Outcome::ok;
    if (!goes_on && transfer.stage != Stage::dropped) {
        emit(event_of(transfer));
    }
}

void Recorder::message(std::string_view line) {
    set_own_apart();
    Event event;
    event.kind = EventKind::message;
    event.text = line;
    emit(std::move(event));
}

void Recorder::emit(Event event) {
    const std::lock_guard lock(mutex_);
    if (with_time_) {
        const board::VirtualClock *clock = board::VirtualClock::current();
        event.time_us =
            (clock != nullptr ? clock->now_ns() : board::wall_now_ns() - begin_ns_) / 1000U;
        event.thread =
            clock != nullptr ? board::VirtualClock::thread_name() : name_of_this_thread();
    }
    sink_(event);
}

std::string Recorder::name_of_this_thread() {
    const std::size_t number = thread_names_.size();
    return thread_names_
        .try_emplace(std::this_thread::get_id(),
                     number == 0 ? "main" : "thread" + std::to_string(number))
        .first->second;
}

}  // namespace trace
