// SPDX-License-Identifier: MIT
#include "host/trace/recorder.h"

#include "hw/hdi.h"
#include "sim/clock.h"

namespace host {

void *Recorder::open_bus() {
    flush();
    void *bus = board_.open_bus();
    Event event{.kind = EventKind::bus_open};
    event.outcome = bus != nullptr ? Outcome::ok : Outcome::nack;
    emit(std::move(event));
    return bus;
}

void Recorder::close_bus(void *bus) {
    flush();
    board_.close_bus(bus);
    emit({.kind = EventKind::bus_close});
}

bool Recorder::check_address(void *bus, unsigned address) {
    flush();
    const bool answers = board_.check_address(bus, address);
    Event event{.kind = EventKind::check, .address = address};
    event.value = answers ? 1 : 0;
    emit(std::move(event));
    return answers;
}

bool Recorder::write(void *bus, unsigned address, std::span<const std::uint8_t> data,
                     unsigned flags) {
    flush();
    const bool ok = board_.write(bus, address, data, flags);
    Event event{.kind = EventKind::write, .address = address};
    event.data.assign(data.begin(), data.end());
    event.flags = flags;
    event.outcome = ok ? Outcome::ok : Outcome::nack;
    if (flags != HDI_OPEN || data.size() != 1) {
        emit(std::move(event));
    } else if (ok) {
        open_write_ = std::move(event);
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
    Event event{.kind = EventKind::fetch, .address = address};
    event.outcome = ok ? Outcome::ok : Outcome::nack;
    if (open_write_ && open_write_->address == address && data.size() == 1 &&
        flags == HDI_COMPLETE) {
        event.kind = EventKind::read;
        event.data = open_write_->data;
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
    flush();
    board_.set_gpio(bus, line, level);
    Event event{.kind = EventKind::gpio};
    event.line = line;
    event.value = static_cast<std::uint8_t>(level);
    emit(std::move(event));
}

void Recorder::log(std::string_view text) {
    flush();
    board_.log(text);
    Event event{.kind = EventKind::log};
    event.text = text;
    emit(std::move(event));
}

void Recorder::wait(std::uint32_t microseconds) {
    flush();
    board_.wait(microseconds);
    Event event{.kind = EventKind::wait};
    event.wait_us = microseconds;
    emit(std::move(event));
}

void Recorder::flush() {
    if (open_write_) {
        Event event = std::move(*open_write_);
        open_write_.reset();
        emit(std::move(event));
    }
}

void Recorder::emit(Event event) {
    if (const sim::VirtualClock *clock = sim::VirtualClock::current();
        with_time_ && clock != nullptr) {
        event.time_us = clock->now_ns() / 1000U;
        event.thread = sim::VirtualClock::thread_name();
    }
    sink_(event);
}

}  // namespace host
