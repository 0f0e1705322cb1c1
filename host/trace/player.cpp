// SPDX-License-Identifier: MIT
#include "host/trace/player.h"

#include <fmt/format.h>

#include <algorithm>

#include "hw/hdi.h"

namespace host {

namespace {

constexpr std::size_t context_lines = 4;

// Whether an expected event asks for what the driver does now; answers are not compared.
bool same_request(const Event &expected, const Event &actual) {
    return expected.kind == actual.kind && expected.address == actual.address &&
           (expected.kind == EventKind::fetch || expected.data == actual.data) &&
           expected.flags == actual.flags && expected.length == actual.length &&
           expected.line == actual.line && expected.wait_us == actual.wait_us &&
           expected.text == actual.text &&
           (expected.kind != EventKind::gpio || expected.value == actual.value);
}

}  // namespace

Player::Player(std::vector<Event> expected) : expected_(std::move(expected)) {}

const Event *Player::expect(const Event &actual) {
    if (!difference_.empty()) {
        return nullptr;
    }
    const bool between_phases = !open_register_.empty();
    open_register_.clear();
    if (!between_phases && next_ < expected_.size() && same_request(expected_[next_], actual)) {
        return &expected_[next_++];
    }
    differ(format_event(actual));
    return nullptr;
}

void Player::differ(const std::string &actual) {
    const std::size_t first = next_ > context_lines ? next_ - context_lines : 0;
    for (std::size_t i = first; i < next_; ++i) {
        difference_ += fmt::format("  {:>5}    {}\n", i + 1, format_event(expected_[i]));
    }
    difference_ += fmt::format("  {:>5} -  {}\n", next_ + 1,
                               next_ < expected_.size() ? format_event(expected_[next_])
                                                        : std::string("(the transcript ends)"));
    difference_ += fmt::format("        +  {}\n", actual);
    const std::size_t end = std::min(next_ + 1 + context_lines, expected_.size());
    for (std::size_t i = next_ + 1; i < end; ++i) {
        difference_ += fmt::format("  {:>5}    {}\n", i + 1, format_event(expected_[i]));
    }
}

std::string Player::difference() {
    if (difference_.empty() && !open_register_.empty()) {
        differ("(the driver's end, with a register phase left open)");
    }
    if (difference_.empty() && next_ < expected_.size()) {
        differ("(the driver's end)");
    }
    return difference_;
}

void *Player::open_bus() {
    const Event *event = expect({.kind = EventKind::bus_open});
    return event != nullptr && event->outcome != Outcome::ok ? nullptr : this;
}

void Player::close_bus(void *) { expect({.kind = EventKind::bus_close}); }

bool Player::check_address(void *, unsigned address) {
    const Event *event = expect({.kind = EventKind::check, .address = address});
    return event != nullptr && event->value != 0;
}

bool Player::write(void *, unsigned address, std::span<const std::uint8_t> data, unsigned flags) {
    Event actual{.kind = EventKind::write, .address = address};
    actual.data.assign(data.begin(), data.end());
    actual.flags = flags;
    const bool expects_read = next_ < expected_.size() && expected_[next_].kind == EventKind::read;
    if (flags != HDI_OPEN || data.size() != 1 || (!expects_read && difference_.empty())) {
        const Event *event = expect(actual);
        return event == nullptr || event->outcome == Outcome::ok;
    }
    actual.kind = EventKind::read;
    actual.flags = HDI_COMPLETE;
    const Event *event = expect(actual);
    if (event != nullptr && event->outcome == Outcome::nack_address) {
        return false;
    }
    if (event != nullptr) {
        open_register_ = event->data;
    }
    return true;
}

bool Player::read(void *, unsigned address, std::span<std::uint8_t> data, unsigned flags) {
    std::fill(data.begin(), data.end(), std::uint8_t{0});
    if (!open_register_.empty() && data.size() == 1 && flags == HDI_COMPLETE &&
        expected_[next_ - 1].address == address) {
        open_register_.clear();
        const Event &event = expected_[next_ - 1];
        data[0] = event.value;
        return event.outcome == Outcome::ok;
    }
    Event actual{.kind = EventKind::fetch, .address = address};
    actual.flags = flags;
    actual.length = static_cast<unsigned>(data.size());
    const Event *event = expect(actual);
    if (event == nullptr || event->outcome != Outcome::ok) {
        return event == nullptr;
    }
    std::copy(event->data.begin(), event->data.end(), data.begin());
    return true;
}

void Player::set_gpio(void *, unsigned line, unsigned level) {
    Event actual{.kind = EventKind::gpio};
    actual.line = line;
    actual.value = static_cast<std::uint8_t>(level);
    expect(actual);
}

void Player::log(std::string_view text) {
    Event actual{.kind = EventKind::log};
    actual.text = text;
    expect(actual);
}

void Player::wait(std::uint32_t microseconds) {
    Event actual{.kind = EventKind::wait};
    actual.wait_us = microseconds;
    expect(actual);
}

}  // namespace host
