// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "board/board.h"

namespace trace {

// The one text format of traces, goldens and expected transcripts: a line an event.
//
//   bus open -> ok              bus open -> fail            bus close
//   check lnbh23 -> 1
//   write demod 07 80           write demod 07 80 -> nack
//   read tuner 15 -> 40         read tuner 15 -> nack       (the read phase failed)
//   read tuner 15 -> nack address                           (the register phase failed)
//   gpio 6 1
//   wait 5000                   (microseconds)
//   log Tuner::init()                                       (through log_print)
//   message ds3000: thread(0x*)                             (a line on standard error)
//
// A "read" is the register's number written with the transfer left open and one byte read with a
// repeated start. Transfers of another shape keep their parts and flags:
//   write demod 0D 8F flags 1   fetch demod 2 -> AA BB      fetch demod 1 flags 1 -> nack
// Devices: demod, tuner, lnbh23, or the 8-bit address as 0xA0. Bytes and registers are hexadecimal.
// In front of an event there may be its time in seconds and its thread: [12.345678 main].
// In the text of log and message, control characters, a backslash and blanks at either end are
// escaped: \n, \t, \\, \x20.
// '#' starts a comment line; empty lines and white space around a line mean nothing.
// A recording begins with its head, lines of a key and a value: meta format 1. docs/transcripts.md
// lists the keys.

using EventKind = board::Transfer::Kind;
using Outcome = board::Transfer::Outcome;

// A transfer as recordings have it: without the bus's handle, a register read as one event, and
// with nothing received where it failed.
struct Event : board::Transfer {
    std::optional<std::uint64_t> time_us{};  // since the recording's start
    std::string thread{};                    // empty when not recorded

    bool operator==(const Event &other) const = default;
};

// Whether a transfer brings the demodulator's micro-controller a block of its program; a single
// byte is no block.
bool is_program_block(const board::Transfer &transfer);

// Whether an event begins with a transfer: what is read belongs to the write before it, and a write
// left open is one event at most.
bool begins_event(const board::Transfer &transfer);

// The event's line; with its time and thread when it has them.
std::string format_event(const Event &event);

// The event of a line, or nothing for an empty line, a comment or a line of the head.
// Throws std::invalid_argument saying what is wrong with the line.
std::optional<Event> parse_event(std::string_view line);

// The head of a recording: what made it and what is needed to run it again.
class TraceHead {
 public:
    static constexpr unsigned format = 1;  // the version that this program writes and reads

    [[nodiscard]] bool empty() const { return entries_.empty(); }
    [[nodiscard]] const auto &entries() const { return entries_; }

    // The value of a key; nothing when the head does not have it.
    [[nodiscard]] std::optional<std::string> value(std::string_view key) const;

    void add(std::string key, std::string value);

    // The same for what stands in a text. Throws std::invalid_argument for a key that has no place
    // here and for another format's version.
    void add_line(std::string key, std::string value);

 private:
    std::vector<std::pair<std::string, std::string>> entries_;
};

// The key and the value of a line of the head; nothing for another line. Throws
// std::invalid_argument saying what is wrong with the line.
std::optional<std::pair<std::string, std::string>> parse_meta(std::string_view line);

// The head's lines, newlines included.
std::string format_head(const TraceHead &head);

// The device's name in a transcript: demod, tuner, lnbh23, 0xA0.
std::string device_name(unsigned address);

// "[12.345678 main]", or what of it the event has; empty without time and thread.
std::string format_front(const Event &event);

// A transfer's line: an event's without its time and thread.
std::string format_body(const board::Transfer &transfer);

}  // namespace trace
