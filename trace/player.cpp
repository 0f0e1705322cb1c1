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

Player::Player(Recording recording) : recording_(std::move(recording)), events_(recording_()) {}

void Player::compare_messages(std::size_t slack) {
    message_slack_ = slack;
    messages_ = recording_();
    if (!has_message(0)) {
        messages_.reset();
    }
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

const Event *Player::next_event() {
    while (ahead_ == nullptr) {
        ahead_ = events_->next();
        if (ahead_ == nullptr) {
            return nullptr;
        }
        time_us_ = ahead_->time_us.value_or(time_us_);
        if (ahead_->kind == EventKind::message) {
            ahead_ = nullptr;
            ++next_;
        }
    }
    return ahead_;
}

// The event that was expected and came; null for another one.
const Event *Player::expect(const board::Transfer &actual) {
    if (differs()) {
        return nullptr;
    }
    const bool between_phases = open_read_.has_value();
    open_read_.reset();
    const Event *expected = next_event();
    if (!between_phases && expected != nullptr && same_request(*expected, actual)) {
        ahead_ = nullptr;
        ++next_;
        return expected;
    }
    differ(next_, format_body(actual));
    return nullptr;
}

// What stands around a difference is read again, once.
void Player::differ(std::size_t index, const std::string &actual) {
    Difference difference;
    difference.index = index;
    difference.actual = actual;
    const std::unique_ptr<EventReader> events = recording_();
    const Event *event = events->next();
    for (std::size_t i = 0; event != nullptr && i <= index + context_lines; ++i) {
        if (i == index) {
            difference.line = events->line();
            difference.expected = format_event(*event);
        } else if (i + context_lines >= index) {
            auto &side = i < index ? difference.before : difference.after;
            side.push_back({i, events->line(), format_event(*event)});
        }
        event = events->next();
    }
    if (!difference.expected) {
        difference.line = events->line() + 1;
    }
    difference_ = std::move(difference);
}

const std::optional<Difference> &Player::first_difference() {
    const Event *next = next_event();
    if (!differs() && open_read_) {
        differ(next_, "(the driver's end, with a register phase left open)");
    }
    if (!differs() && next != nullptr) {
        differ(next_, "(the driver's end)");
    }
    if (!differs() && messages_ && has_message(0)) {
        differ(awaited_.front().index, "(the driver's end)");
    }
    return difference_;
}

std::string Player::difference() {
    if (!first_difference()) {
        return {};
    }
    const auto context = [](const auto &lines) {
        std::string text;
        for (const Difference::Neighbour &event : lines) {
            text += fmt::format("  {:>5}    {}\n", event.index + 1, event.event);
        }
        return text;
    };
    return context(difference_->before) +
           fmt::format("  {:>5} -  {}\n        +  {}\n", difference_->index + 1,
                       difference_->expected.value_or("(the transcript ends)"),
                       difference_->actual) +
           context(difference_->after);
}

// Whether the transcript has so many messages that did not come yet, and one more.
bool Player::has_message(std::size_t ahead) {
    while (awaited_.size() <= ahead) {
        const Event *event = messages_->next();
        if (event == nullptr) {
            return false;
        }
        if (event->kind == EventKind::message) {
            awaited_.push_back({messages_read_, event->text});
        }
        ++messages_read_;
    }
    return true;
}

void Player::message(std::string_view line) {
    if (differs() || !messages_) {
        return;
    }
    for (std::size_t ahead = 0; ahead <= message_slack_ && has_message(ahead); ++ahead) {
        const auto candidate = awaited_.begin() + static_cast<std::ptrdiff_t>(ahead);
        if (same_message(candidate->text, line)) {
            awaited_.erase(candidate);
            return;
        }
    }
    board::Transfer actual;
    actual.kind = EventKind::message;
    actual.text = without_addresses(line);
    differ(has_message(0) ? awaited_.front().index : messages_read_, format_body(actual));
}

void Player::perform(board::Transfer &transfer) {
    if (transfer.stage == Stage::apart || transfer.stage == Stage::dropped) {
        return;  // what comes next tells
    }
    if (open_read_ && transfer.kind == EventKind::read) {
        give_answer(*open_read_, transfer);
        open_read_.reset();
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
        open_read_ = *event;
    }
}

}  // namespace trace
