// SPDX-License-Identifier: MIT
#include "trace/recorder.h"

#include <utility>

#include "board/clock.h"

namespace trace {

namespace {

using Lock = std::lock_guard<std::recursive_mutex>;

}  // namespace

Recorder::Recorder(board::Board &board, Sink sink, bool with_time)
    : board_(board),
      sink_(std::move(sink)),
      with_time_(with_time),
      begin_ns_(board::wall_now_ns()) {}

void *Recorder::open_bus() {
    begin_event();
    void *bus = board_.open_bus();
    Event event{.kind = EventKind::bus_open};
    event.outcome = bus != nullptr ? Outcome::ok : Outcome::nack;
    emit(std::move(event));
    return bus;
}

void Recorder::close_bus(void *bus) {
    begin_event();
    board_.close_bus(bus);
    emit({.kind = EventKind::bus_close});
}

bool Recorder::check_address(void *bus, unsigned address) {
    begin_event();
    const bool answers = board_.check_address(bus, address);
    Event event{.kind = EventKind::check, .address = address};
    event.value = answers ? 1 : 0;
    emit(std::move(event));
    return answers;
}

bool Recorder::write(void *bus, unsigned address, std::span<const std::uint8_t> data,
                     unsigned flags) {
    begin_event();
    const bool ok = board_.write(bus, address, data, flags);
    Event event{.kind = EventKind::write, .address = address};
    event.data.assign(data.begin(), data.end());
    event.flags = flags;
    event.outcome = ok ? Outcome::ok : Outcome::nack;
    if (flags != HDI_OPEN || data.size() != 1) {
        emit(std::move(event));
    } else if (ok) {
        const Lock lock(mutex_);
        flush();
        open_write_ = {std::move(event), std::this_thread::get_id()};
    } else {
        event.kind = EventKind::read;
        event.flags = HDI_COMPLETE;
        event.outcome = Outcome::nack_address;
        emit(std::move(event));
    }
    return ok;
}

bool Recorder::read(void *bus, unsigned address, std::span<std::uint8_t> data, unsigned flags) {
    const bool ok = board_.read(bus, address, data, flags);
    const Lock lock(mutex_);
    Event event{.kind = EventKind::fetch, .address = address};
    event.outcome = ok ? Outcome::ok : Outcome::nack;
    if (open_write_ && open_write_->event.address == address && data.size() == 1 &&
        flags == HDI_COMPLETE) {
        event.kind = EventKind::read;
        event.data = open_write_->event.data;
        event.value = ok ? data[0] : std::uint8_t{0};
        open_write_.reset();
    } else {
        flush();
        event.length = static_cast<unsigned>(data.size());
        event.flags = flags;
        if (ok) {
            event.data.assign(data.begin(), data.end());
        }
    }
    emit(std::move(event));
    return ok;
}

void Recorder::set_gpio(void *bus, unsigned line, unsigned level) {
    begin_event();
    board_.set_gpio(bus, line, level);
    Event event{.kind = EventKind::gpio};
    event.line = line;
    event.value = static_cast<std::uint8_t>(level);
    emit(std::move(event));
}

void Recorder::log(std::string_view text) {
    begin_event();
    board_.log(text);
    Event event{.kind = EventKind::log};
    event.text = text;
    emit(std::move(event));
}

void Recorder::wait(std::uint32_t microseconds) {
    begin_event();
    board_.wait(microseconds);
    Event event{.kind = EventKind::wait};
    event.wait_us = microseconds;
    emit(std::move(event));
}

void Recorder::message(std::string_view line) {
    const Lock lock(mutex_);
    flush_of_this_thread();
    Event event{.kind = EventKind::message};
    event.text = line;
    emit(std::move(event));
}

void Recorder::flush() {
    const Lock lock(mutex_);
    if (open_write_) {
        Event event = std::move(open_write_->event);
        open_write_.reset();
        emit(std::move(event));
    }
}

// What another thread has begun on the bus goes on while this one logs or waits.
void Recorder::flush_of_this_thread() {
    const Lock lock(mutex_);
    if (open_write_ && open_write_->thread == std::this_thread::get_id()) {
        flush();
    }
}

void Recorder::begin_event() {
    flush_of_this_thread();
    if (before_each_event_) {
        before_each_event_();
    }
}

void Recorder::emit(Event event) {
    const Lock lock(mutex_);
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
