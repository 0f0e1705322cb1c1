// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "board/board.h"
#include "trace/transcript.h"

namespace trace {

// Where a driver first does something else than its transcript says.
struct Difference {
    std::size_t index = 0;                // of the expected event; the number of events at the end
    std::optional<std::string> expected;  // absent where the transcript ends
    std::string actual;
    std::vector<std::pair<std::size_t, std::string>> before;  // events around, with their numbers
    std::vector<std::pair<std::size_t, std::string>> after;
};

// A board that is a transcript: it expects exactly the transcript's events in order and answers
// as they say. The first difference is kept; from there on writes succeed and reads give 0. A
// register read is one event, which comes with its first phase.
// Messages on standard error do not count, unless the player is told to compare them.
class Player : public board::Board {
 public:
    explicit Player(std::vector<Event> expected);

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

    // The event that is expected next, messages apart; null at the end.
    [[nodiscard]] const Event *next_event();

 private:
    const Event *expect(const board::Transfer &actual);
    [[nodiscard]] bool same_request(const Event &expected, const board::Transfer &actual);
    [[nodiscard]] bool same_bytes(const Event &expected, const board::Transfer &actual);
    void differ(std::size_t index, const std::string &actual);
    void skip_messages();
    [[nodiscard]] std::size_t message_from(std::size_t index) const;
    bool skip_to_message();

    std::vector<Event> expected_;
    std::size_t next_ = 0;
    std::size_t next_message_ = 0;
    bool compares_messages_ = false;
    std::size_t message_slack_ = 0;
    std::set<std::size_t> messages_ahead_;  // that came before next_message_
    bool any_firmware_ = false;
    bool other_firmware_ = false;
    std::optional<Difference> difference_;
    const Event *open_read_ = nullptr;  // of which the byte is still to be read
};

}  // namespace trace
