// SPDX-License-Identifier: MIT
#include "trace/reader.h"

#include <fmt/format.h>

#include <stdexcept>
#include <utility>

namespace trace {

namespace {

class TextLines final : public LineReader {
 public:
    explicit TextLines(std::string_view text) : rest_(text) {}

    std::optional<std::string_view> next() override {
        if (rest_.empty()) {
            return std::nullopt;
        }
        const auto end = rest_.find('\n');
        const std::string_view line = rest_.substr(0, end);
        cut_off_ = end == std::string_view::npos;
        rest_.remove_prefix(cut_off_ ? rest_.size() : end + 1);
        return line;
    }

    [[nodiscard]] bool cut_off() const override { return cut_off_; }

 private:
    std::string_view rest_;
    bool cut_off_ = false;
};

class MemoryReader final : public EventReader {
 public:
    explicit MemoryReader(std::shared_ptr<const std::vector<Event>> events)
        : events_(std::move(events)) {}

    const Event *next() override {
        return next_ < events_->size() ? &(*events_)[next_++] : nullptr;
    }

    [[nodiscard]] std::size_t line() const override { return next_; }

 private:
    std::shared_ptr<const std::vector<Event>> events_;
    std::size_t next_ = 0;
};

}  // namespace

TraceReader::TraceReader(std::unique_ptr<LineReader> lines, std::string_view name)
    : lines_(std::move(lines)), name_(name) {
    is_ahead_ = read_event();
}

const Event *TraceReader::next() {
    return std::exchange(is_ahead_, false) || read_event() ? &event_ : nullptr;
}

bool TraceReader::read_event() {
    while (const std::optional<std::string_view> line = lines_->next()) {
        ++number_;
        if (lines_->cut_off() && !head_.empty()) {
            cut_off_line_ = number_;
            return false;
        }
        try {
            if (parse(*line)) {
                line_ = number_;
                return true;
            }
        } catch (const std::invalid_argument &problem) {
            throw std::invalid_argument(fmt::format("{}:{}: {}", name_, number_, problem.what()));
        }
    }
    return false;
}

bool TraceReader::parse(std::string_view line) {
    if (auto meta = parse_meta(line)) {
        if (has_events_) {
            throw std::invalid_argument("the head ends where the events begin");
        }
        head_.add_line(std::move(meta->first), std::move(meta->second));
        return false;
    }
    auto event = parse_event(line);
    if (!event) {
        return false;
    }
    if (event->time_us && latest_us_ > *event->time_us) {
        throw std::invalid_argument("time runs backwards: the event before is later");
    }
    latest_us_ = event->time_us.value_or(latest_us_);
    has_events_ = true;
    event_ = std::move(*event);
    return true;
}

TraceReader read_text(std::string_view text, std::string_view name) {
    return {std::make_unique<TextLines>(text), name};
}

Trace rest_of(TraceReader &reader) {
    Trace trace;
    while (const Event *event = reader.next()) {
        trace.events.push_back(*event);
        trace.lines.push_back(reader.line());
    }
    trace.head = reader.head();
    return trace;
}

Trace parse_trace(std::string_view text, std::string_view name) {
    TraceReader reader = read_text(text, name);
    return rest_of(reader);
}

std::vector<Event> parse_transcript(std::string_view text, std::string_view name) {
    return parse_trace(text, name).events;
}

Recording recording_of(std::vector<Event> events) {
    return [events = std::make_shared<const std::vector<Event>>(std::move(events))] {
        return std::make_unique<MemoryReader>(events);
    };
}

}  // namespace trace
