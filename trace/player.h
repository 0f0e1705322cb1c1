// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "board/board.h"
#include "trace/reader.h"
#include "trace/transcript.h"

namespace trace {

// Where a driver first does something else than its transcript says.
struct Difference {
    // An event around, with its place and its line in the transcript.
    struct Neighbour {
        std::size_t index;
        std::size_t line;
        std::string event;
    };

    std::size_t index = 0;  // of the expected event; the number of events at the end
    std::size_t line = 0;   // of the expected event; the one behind the last event's at the end
    std::optional<std::string> expected;  // absent where the transcript ends
    std::string actual;
    std::vector<Neighbour> before;
    std::vector<Neighbour> after;
};

// A board that is a transcript: it expects exactly the transcript's events in order and answers
// as they say. The first difference is kept; from there on writes succeed and reads give 0. A
// register read is one event, which comes with its first phase.
// Messages on standard error do not count, unless the player is told to compare them.
// The transcript is read as it is played.
class Player : public board::Board {
 public:
    explicit Player(Recording recording);
    explicit Player(std::vector<Event> expected) : Player(recording_of(std::move(expected))) {}

    void perform(board::Transfer &transfer) override;

    // Compare messages, in their own order; a transcript without any says nothing about them. A
    // message may come before `slack` others that are recorded before it: on a real system threads
    // write as they are let.
    void compare_messages(std::size_t slack = 0);

    // The driver wrote a line to standard error. Addresses in it and times after "at" do not count.
    void message(std::string_view line);

    // Take a firmware image for another one of its length: it is an input of the driver's build.
    void accept_any_firmware() { any_firmware_ = true; }

    // Empty when everything expected came and nothing else; otherwise the first difference with
    // the events around it.
    [[nodiscard]] std::string difference();

    // The same as a record.
    [[nodiscard]] const std::optional<Difference> &first_difference();

    // Whether there is a difference so far.
    [[nodiscard]] bool differs() const { return difference_.has_value(); }

    // How many of the expected events came, in order.
    [[nodiscard]] std::size_t played() const { return next_; }

    // Whether a firmware image was accepted that is not the transcript's.
    [[nodiscard]] bool other_firmware() const { return other_firmware_; }

    // The event that is expected next, messages apart, until another one is; null at the end.
    [[nodiscard]] const Event *next_event();

    // The latest time that was recorded up to that event, or up to the one that came last.
    [[nodiscard]] std::uint64_t time_us() const { return time_us_; }

    // Whether the event played last is a read whose second call is still to come.
    [[nodiscard]] bool awaits_read() const { return open_read_.has_value(); }

 private:
    const Event *expect(const board::Transfer &actual);
    [[nodiscard]] bool same_request(const Event &expected, const board::Transfer &actual);
    [[nodiscard]] bool same_bytes(const Event &expected, const board::Transfer &actual);
    void differ(std::size_t index, const std::string &actual);
    bool has_message(std::size_t ahead);

    // A message that did not come yet.
    struct Message {
        std::size_t index;
        std::string text;
    };

    Recording recording_;
    std::unique_ptr<EventReader> events_;
    const Event *ahead_ = nullptr;  // the event of number next_, once it has been read
    std::size_t next_ = 0;
    std::uint64_t time_us_ = 0;

    std::unique_ptr<EventReader> messages_;  // null when they do not count
    std::deque<Message> awaited_;
    std::size_t messages_read_ = 0;  // events among them
    std::size_t message_slack_ = 0;

    bool any_firmware_ = false;
    bool other_firmware_ = false;
    std::optional<Difference> difference_;
    std::optional<Event> open_read_;  // of which the byte is still to be read
};

}  // namespace trace
