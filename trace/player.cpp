// SPDX-License-Identifier: MIT
#include "trace/player.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "trace/message_text.h"

namespace trace {

namespace {

using Stage = board::Transfer::Stage;

constexpr std::size_t context_lines = 4;

// A transfer without an answer, as an event would have it.
board::Transfer as_asked(const board::Transfer &transfer) {
    board::Transfer asked = transfer;
    asked.received.clear();
    if (transfer.stage == Stage::continued) {
        asked.kind = EventKind::fetch;
        asked.sent.clear();
    }
    return asked;
}

// The register read that a write left open begins.
board::Transfer as_read(const board::Transfer &open_write) {
    board::Transfer asked = open_write;
    asked.kind = EventKind::read;
    asked.flags = HDI_COMPLETE;
    asked.length = 1;
    asked.received = {0};
    return asked;
}

void give_answer(const Event &event, board::Transfer &transfer) {
    transfer.outcome = event.outcome;
    transfer.value = event.value;
    if (event.kind == EventKind::bus_open && event.outcome != Outcome::ok) {
        transfer.bus = nullptr;
    }
    if (!event.received.empty()) {
        transfer.received = event.received;
    }
}

}  // namespace

Player::Player(std::vector<Event> expected) : expected_(std::move(expected)) {}

void Player::compare_messages(std::size_t slack) {
    message_slack_ = slack;
    compares_messages_ = std::any_of(expected_.begin(), expected_.end(), [](const Event &event) {
        return event.kind == EventKind::message;
    });
}

bool Player::same_bytes(const Event &expected, const board::Transfer &actual) {
    if (expected.sent == actual.sent) {
        return true;
    }
    const bool same_but_for_the_image = any_firmware_ && is_program_block(expected) &&
                                        is_program_block(actual) &&
                                        expected.sent.size() == actual.sent.size();
    other_firmware_ = other_firmware_ || same_but_for_the_image;
    return same_but_for_the_image;
}

// Whether an expected event asks for what the driver does now; answers are not compared.
bool Player::same_request(const Event &expected, const board::Transfer &actual) {
    return expected.kind == actual.kind && expected.address == actual.address &&
           expected.flags == actual.flags && expected.length == actual.length &&
           expected.line == actual.line && expected.wait_us == actual.wait_us &&
           expected.text == actual.text &&
           (expected.kind != EventKind::gpio || expected.value == actual.value) &&
           same_bytes(expected, actual);
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

const Event *Player::expect(const board::Transfer &actual) {
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
    board::Transfer actual;
    actual.kind = EventKind::message;
    actual.text = without_addresses(line);
    differ(next_message_, format_body(actual));
}

void Player::perform(board::Transfer &transfer) {
    if (transfer.stage == Stage::apart || transfer.stage == Stage::dropped) {
        return;  // what comes next tells
    }
    if (open_read_ != nullptr && transfer.kind == EventKind::read) {
        give_answer(*std::exchange(open_read_, nullptr), transfer);
        return;
    }
    const Event *next = next_event();
    const bool opens_read = transfer.stage == Stage::opened && transfer.sent.size() == 1 &&
                            next != nullptr && next->kind == EventKind::read;
    const Event *event = expect(opens_read ? as_read(transfer) : as_asked(transfer));
    if (transfer.kind == EventKind::bus_open) {
        transfer.bus = this;
    }
    if (event == nullptr) {
        return;
    }
    if (!opens_read) {
        give_answer(*event, transfer);
    } else if (event->outcome == Outcome::nack_address) {
        transfer.outcome = Outcome::nack;
    } else {
        open_read_ = event;
    }
}

}  // namespace trace
