// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

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

enum class EventKind { bus_open, bus_close, check, write, read, fetch, gpio, wait, log, message };
enum class Outcome { ok, nack, nack_address };

struct Event {
    EventKind kind = EventKind::wait;
    unsigned address = 0;              // 8-bit device address: check, write, read, fetch
    std::vector<std::uint8_t> data{};  // write: bytes sent; read: register; fetch: bytes received
    std::uint8_t value = 0;            // read: the byte read; check, gpio: 0 or 1
    unsigned flags = 3;                // write, fetch
    unsigned length = 0;               // fetch: bytes asked for
    unsigned line = 0;                 // gpio
    std::uint32_t wait_us = 0;         // wait
    Outcome outcome = Outcome::ok;     // bus_open, write, read, fetch
    std::string text{};                // log, message

    std::optional<std::uint64_t> time_us{};  // since the recording's start
    std::string thread{};                    // empty when not recorded

    bool operator==(const Event &other) const = default;
};

// Whether an event brings the demodulator's micro-controller a block of its program; a single byte
// is no block.
bool is_program_block(const Event &event);

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

 private:
    std::vector<std::pair<std::string, std::string>> entries_;
};

// The head's lines, newlines included.
std::string format_head(const TraceHead &head);

// A whole text: head, events, and each event's line in it.
struct Trace {
    TraceHead head;
    std::vector<Event> events;
    std::vector<std::size_t> lines;
};

// Throws std::invalid_argument with `name` and the line's number in front: a line that is none, a
// head that stands behind events or is of another version, times that run backwards, and in a
// recording (a text with a head) a last line that is cut off.
Trace parse_trace(std::string_view text, std::string_view name = "transcript");

// The events alone.
std::vector<Event> parse_transcript(std::string_view text, std::string_view name = "transcript");

// The device's name in a transcript: demod, tuner, lnbh23, 0xA0.
std::string device_name(unsigned address);

// "[12.345678 main]", or what of it the event has; empty without time and thread.
std::string format_front(const Event &event);

// The event's line without its time and thread.
std::string format_body(const Event &event);

}  // namespace trace
