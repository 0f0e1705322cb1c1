// SPDX-License-Identifier: MIT
#include "trace/player.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "trace/message_text.h"

namespace trace {

namespace {

constexpr std::size_t context_lines = 4;

}  // namespace

Player::Player(std::vector<Event> expected) : expected_(std::move(expected)) {}

void Player::compare_messages(std::size_t slack) {
    message_slack_ = slack;
    compares_messages_ = std::any_of(expected_.begin(), expected_.end(), [](const Event &event) {
        return event.kind == EventKind::message;
    });
}

bool Player::same_data(const Event &expected, const Event &actual) {
    if (expected.kind == EventKind::fetch || expected.data == actual.data) {
        return true;
    }
    const bool same_but_for_the_image = any_firmware_ && is_program_block(expected) &&
                                        is_program_block(actual) &&
                                        expected.data.size() == actual.data.size();
    other_firmware_ = other_firmware_ || same_but_for_the_image;
    return same_but_for_the_image;
}

// Whether an expected event asks for what the driver does now; answers are not compared.
bool Player::same_request(const Event &expected, const Event &actual) {
    return expected.kind == actual.kind && expected.address == actual.address &&
           expected.flags == actual.flags && expected.length == actual.length &&
           expected.line == actual.line && expected.wait_us == actual.wait_us &&
           expected.text == actual.text &&
           (expected.kind != EventKind::gpio || expected.value == actual.value) &&
           same_data(expected, actual);
}

// The first message at this place or behind it that did not come yet.
std::size_t Player::message_from(std::size_t index) const {
    while (index < expected_.size() &&
           (expected_[index].kind != EventKind::message || messages_ahead_.contains(index))) {
        ++index;
    }
    return index;
}

bool Player::skip_to_message() {
    next_message_ = message_from(next_message_);
    return next_message_ < expected_.size();
}

void Player::skip_messages() {
    while (next_ < expected_.size() && expected_[next_].kind == EventKind::message) {
        ++next_;
    }
}

const Event *Player::next_event() {
    skip_messages();
    return next_ < expected_.size() ? &expected_[next_] : nullptr;
}

const Event *Player::expect(const Event &actual) {
    if (differs()) {
        return nullptr;
    }
    const bool between_phases = open_read_ != nullptr;
    open_read_ = nullptr;
    const Event *expected = next_event();
    if (!between_phases && expected != nullptr && same_request(*expected, actual)) {
        ++next_;
        return expected;
    }
    differ(next_, format_body(actual));
    return nullptr;
}

void Player::differ(std::size_t index, const std::string &actual) {
    Difference difference{index, std::nullopt, actual, {}, {}};
    for (std::size_t i = index > context_lines ? index - context_lines : 0; i < index; ++i) {
        difference.before.emplace_back(i, format_event(expected_[i]));
    }
    if (index < expected_.size()) {
        difference.expected = format_event(expected_[index]);
    }
    const std::size_t end = std::min(index + 1 + context_lines, expected_.size());
    for (std::size_t i = index + 1; i < end; ++i) {
        difference.after.emplace_back(i, format_event(expected_[i]));
    }
    difference_ = std::move(difference);
}

const std::optional<Difference> &Player::first_difference() {
    skip_messages();
    if (!differs() && open_read_ != nullptr) {
        differ(next_, "(the driver's end, with a register phase left open)");
    }
    if (!differs() && next_ < expected_.size()) {
        differ(next_, "(the driver's end)");
    }
    if (!differs() && compares_messages_ && skip_to_message()) {
        differ(next_message_, "(the driver's end)");
    }
    return difference_;
}

std::string Player::difference() {
    if (!first_difference()) {
        return {};
    }
    const auto context = [](const auto &lines) {
        std::string text;
        for (const auto &[index, line] : lines) {
            text += fmt::format("  {:>5}    {}\n", index + 1, line);
        }
        return text;
    };
    return context(difference_->before) +
           fmt::format("  {:>5} -  {}\n        +  {}\n", difference_->index + 1,
                       difference_->expected.value_or("(the transcript ends)"),
                       difference_->actual) +
           context(difference_->after);
}

void Player::message(std::string_view line) {
    if (differs() || !compares_messages_) {
        return;
    }
    skip_to_message();
    std::size_t candidate = next_message_;
    for (std::size_t ahead = 0; ahead <= message_slack_ && candidate < expected_.size(); ++ahead) {
        if (same_message(expected_[candidate].text, line)) {
            messages_ahead_.insert(candidate);
            return;
        }
        candidate = message_from(candidate + 1);
    }
    Event actual{.kind = EventKind::message};
    actual.text = without_addresses(line);
    differ(next_message_, format_body(actual));
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
    const Event *expected = next_event();
    const bool expects_read = expected != nullptr && expected->kind == EventKind::read;
    if (flags != HDI_OPEN || data.size() != 1 || (!expects_read && !differs())) {
        const Event *event = expect(actual);
        return event == nullptr || event->outcome == Outcome::ok;
    }
    actual.kind = EventKind::read;
    actual.flags = HDI_COMPLETE;
    const Event *event = expect(actual);
    if (event != nullptr && event->outcome == Outcome::nack_address) {
        return false;
    }
    open_read_ = event;
    return true;
}

bool Player::read(void *, unsigned address, std::span<std::uint8_t> data, unsigned flags) {
    std::fill(data.begin(), data.end(), std::uint8_t{0});
    if (open_read_ != nullptr && data.size() == 1 && flags == HDI_COMPLETE &&
        open_read_->address == address) {
        const Event *answer = std::exchange(open_read_, nullptr);
        data[0] = answer->value;
        return answer->outcome == Outcome::ok;
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

}  // namespace trace
