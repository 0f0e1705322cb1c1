// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "trace/transcript.h"

namespace trace {

// Gives the events of a trace one after another, however many they are.
class EventReader {
 public:
    EventReader() = default;
    EventReader(const EventReader &) = delete;
    EventReader &operator=(const EventReader &) = delete;
    virtual ~EventReader() = default;

    // The next event, which stays until the next call; null after the last one.
    virtual const Event *next() = 0;

    // The line in its text of the event that came last.
    [[nodiscard]] virtual std::size_t line() const = 0;
};

// A trace that is read as often as one likes: each call begins with its first event.
using Recording = std::function<std::unique_ptr<EventReader>()>;

// Gives the lines of a text.
class LineReader {
 public:
    LineReader() = default;
    LineReader(const LineReader &) = delete;
    LineReader &operator=(const LineReader &) = delete;
    virtual ~LineReader() = default;

    // The next line without its newline, which stays until the next call; nothing after the last.
    virtual std::optional<std::string_view> next() = 0;

    // Whether the line that came last has no newline.
    [[nodiscard]] virtual bool cut_off() const = 0;
};

// Reads a text: its head at once, its events as they are asked for.
//
// Throws std::invalid_argument with `name` and the line's number in front: a line that is none, a
// head that stands behind events or is of another version, and times that run backwards. Of a
// recording (a text with a head) a last line without its newline is left out: whoever wrote it was
// ended in the middle of it, and half an event may be another one.
class TraceReader final : public EventReader {
 public:
    TraceReader(std::unique_ptr<LineReader> lines, std::string_view name);

    [[nodiscard]] const TraceHead &head() const { return head_; }

    const Event *next() override;
    [[nodiscard]] std::size_t line() const override { return line_; }

    // The line that was left out at the end, once the end has been read.
    [[nodiscard]] std::optional<std::size_t> cut_off_line() const { return cut_off_line_; }

 private:
    bool read_event();
    bool parse(std::string_view line);

    std::unique_ptr<LineReader> lines_;
    std::string name_;
    TraceHead head_;
    Event event_;
    bool is_ahead_ = false;  // the event is the first, read because the head ends with it
    bool has_events_ = false;
    std::uint64_t latest_us_ = 0;
    std::size_t line_ = 0;    // of the event
    std::size_t number_ = 0;  // of the last line
    std::optional<std::size_t> cut_off_line_;
};

// A text in memory: head, events, and each event's line in it.
struct Trace {
    TraceHead head;
    std::vector<Event> events;
    std::vector<std::size_t> lines;
};

// Read a text in memory, which must outlive the reader.
TraceReader read_text(std::string_view text, std::string_view name = "transcript");

// The head and what a reader did not give yet.
Trace rest_of(TraceReader &reader);

// Throws as TraceReader does.
Trace parse_trace(std::string_view text, std::string_view name = "transcript");

// The events alone.
std::vector<Event> parse_transcript(std::string_view text, std::string_view name = "transcript");

// Events in memory; their lines are counted from 1.
Recording recording_of(std::vector<Event> events);

}  // namespace trace
