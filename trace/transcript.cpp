// SPDX-License-Identifier: MIT
#include "trace/transcript.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>
#include <stdexcept>
#include <utility>

#include "trace/printable.h"
#include "trace/register_names.h"

namespace trace {

namespace {

constexpr std::array<std::pair<unsigned, std::string_view>, 3> devices{{
    {DEMOD_ADDRESS, "demod"},
    {TUNER_ADDRESS, "tuner"},
    {LNBH23_ADDRESS, "lnbh23"},
}};

constexpr std::string_view blanks = " \t\r";
constexpr std::size_t longest_quote = 60;
constexpr std::uint64_t longest_seconds = 1'000'000'000'000;

// A piece of a line as a message quotes it: short, and harmless on a terminal.
std::string quoted(std::string_view text) {
    std::string quote;
    for (const char c : text.substr(0, longest_quote)) {
        const bool is_ascii = static_cast<unsigned char>(c) <= 0x7F;
        quote += is_control(c) || !is_ascii ? byte_escape(c) : std::string(1, c);
    }
    return quote + (text.size() > longest_quote ? "..." : "");
}

// The words of one line, taken from the left.
class Words {
 public:
    explicit Words(std::string_view line) : rest_(line) { skip_blanks(); }

    [[nodiscard]] bool empty() const { return rest_.empty(); }
    [[nodiscard]] std::string_view rest() const { return rest_; }

    [[nodiscard]] std::string_view peek() const {
        return rest_.substr(0, rest_.find_first_of(" \t"));
    }

    std::string_view next(std::string_view what) {
        if (empty()) {
            throw std::invalid_argument(fmt::format("{} is missing", what));
        }
        const std::string_view word = peek();
        rest_.remove_prefix(word.size());
        skip_blanks();
        return word;
    }

    bool accept(std::string_view word) {
        if (peek() != word) {
            return false;
        }
        next(word);
        return true;
    }

    void expect(std::string_view word) {
        if (!accept(word)) {
            throw std::invalid_argument(
                fmt::format("'{}' is missing before '{}'", word, quoted(rest_)));
        }
    }

    void finish() const {
        if (!empty()) {
            throw std::invalid_argument(fmt::format("'{}' is too much", quoted(rest_)));
        }
    }

 private:
    void skip_blanks() {
        const auto begin = rest_.find_first_not_of(blanks);
        rest_.remove_prefix(begin == std::string_view::npos ? rest_.size() : begin);
        while (!rest_.empty() && blanks.find(rest_.back()) != std::string_view::npos) {
            rest_.remove_suffix(1);
        }
    }

    std::string_view rest_;
};

template <typename Number>
Number parse_number(std::string_view text, int base, std::string_view what,
                    Number limit = std::numeric_limits<Number>::max()) {
    Number number{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, base);
    if (error != std::errc{} || end != text.data() + text.size() || number > limit) {
        throw std::invalid_argument(fmt::format("'{}' is no {}", quoted(text), what));
    }
    return number;
}

std::uint8_t parse_byte(std::string_view text) {
    if (text.size() != 2) {
        throw std::invalid_argument(
            fmt::format("'{}' is no byte of two hexadecimal digits", quoted(text)));
    }
    return parse_number<std::uint8_t>(text, 16, "byte of two hexadecimal digits");
}

unsigned parse_device(std::string_view name) {
    for (const auto &[address, device] : devices) {
        if (name == device) {
            return address;
        }
    }
    if (!name.starts_with("0x")) {
        throw std::invalid_argument(fmt::format("'{}' is no device", quoted(name)));
    }
    return parse_number<unsigned>(name.substr(2), 16, "8-bit device address", 0xFF);
}

board::Bytes parse_bytes(Words &words) {
    board::Bytes bytes;
    while (!words.empty() && words.peek() != "->" && words.peek() != "flags") {
        bytes.push_back(parse_byte(words.next("byte")));
    }
    return bytes;
}

unsigned parse_flags(Words &words) {
    return words.accept("flags") ? parse_number<unsigned>(words.next("flags"), 10, "flags value")
                                 : unsigned{HDI_COMPLETE};
}

void parse_write(Words &words, Event &event) {
    event.address = parse_device(words.next("device"));
    event.sent = parse_bytes(words);
    event.flags = parse_flags(words);
    if (words.accept("->")) {
        words.expect("nack");
        event.outcome = Outcome::nack;
    }
}

void parse_read(Words &words, Event &event) {
    event.address = parse_device(words.next("device"));
    event.sent = {parse_byte(words.next("register"))};
    event.length = 1;
    words.expect("->");
    if (!words.accept("nack")) {
        event.received = {parse_byte(words.next("value"))};
    } else {
        event.outcome = words.accept("address") ? Outcome::nack_address : Outcome::nack;
    }
}

void parse_fetch(Words &words, Event &event) {
    event.address = parse_device(words.next("device"));
    event.length = parse_number<unsigned>(words.next("length"), 10, "length");
    event.flags = parse_flags(words);
    words.expect("->");
    if (words.accept("nack")) {
        event.outcome = Outcome::nack;
        return;
    }
    event.received = parse_bytes(words);
    if (event.received.size() != event.length) {
        throw std::invalid_argument(fmt::format("{} bytes were asked for, {} are here",
                                                event.length, event.received.size()));
    }
}

void parse_bus(Words &words, Event &event) {
    if (words.accept("close")) {
        event.kind = EventKind::bus_close;
        return;
    }
    words.expect("open");
    words.expect("->");
    event.kind = EventKind::bus_open;
    if (!words.accept("ok")) {
        words.expect("fail");
        event.outcome = Outcome::nack;
    }
}

void parse_check(Words &words, Event &event) {
    event.address = parse_device(words.next("device"));
    words.expect("->");
    event.value = parse_number(words.next("answer"), 10, "answer (0 or 1)", 1U);
}

void parse_gpio(Words &words, Event &event) {
    event.line = parse_number<unsigned>(words.next("line"), 10, "GPIO line");
    event.value = parse_number(words.next("level"), 10, "level (0 or 1)", 1U);
}

// "[12.345678 main]" in front of an event.
void parse_front(std::string_view front, Event &event) {
    Words words(front);
    if (!words.empty() && words.peek().find('.') != std::string_view::npos) {
        const std::string_view time = words.next("time");
        const auto point = time.find('.');
        const auto seconds = parse_number(time.substr(0, point), 10, "time", longest_seconds);
        const std::string_view fraction = time.substr(point + 1);
        if (fraction.size() != 6) {
            throw std::invalid_argument(fmt::format("'{}' has not six decimals", quoted(time)));
        }
        event.time_us = seconds * 1'000'000U + parse_number<std::uint64_t>(fraction, 10, "time");
    }
    if (!words.empty()) {
        event.thread = words.next("thread");
    }
    words.finish();
}

std::string escaped(std::string_view text) {
    std::string out;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        const bool at_an_end = i == 0 || i + 1 == text.size();
        if (c == '\\') {
            out += "\\\\";
        } else if (c == '\n') {
            out += "\\n";
        } else if (c == '\t') {
            out += "\\t";
        } else if (is_control(c) || (c == ' ' && at_an_end)) {
            out += byte_escape(c);
        } else {
            out += c;
        }
    }
    return out;
}

// The character that an escape stands for; takes the escape off the text.
char unescaped_front(std::string_view &text) {
    const std::string_view escape = text.substr(0, text.substr(0, 2) == "\\x" ? 4 : 2);
    text.remove_prefix(escape.size());
    if (escape == "\\n") {
        return '\n';
    }
    if (escape == "\\t") {
        return '\t';
    }
    if (escape == "\\\\") {
        return '\\';
    }
    if (escape.size() != 4) {
        throw std::invalid_argument(
            fmt::format(R"('{}' is no escape; \n, \t, \\ and \x20 are)", quoted(escape)));
    }
    return static_cast<char>(parse_byte(escape.substr(2)));
}

std::string unescaped(std::string_view text) {
    std::string out;
    while (!text.empty()) {
        if (text.front() == '\\') {
            out += unescaped_front(text);
        } else {
            out += text.front();
            text.remove_prefix(1);
        }
    }
    return out;
}

std::string format_bytes(const board::Bytes &bytes) {
    std::string text;
    for (const std::uint8_t byte : bytes) {
        text += fmt::format(" {:02X}", byte);
    }
    return text;
}

std::string format_flags(unsigned flags) {
    return flags == HDI_COMPLETE ? "" : fmt::format(" flags {}", flags);
}

std::string format_read(const board::Transfer &transfer) {
    const std::string front =
        fmt::format("read {} {:02X} ->", device_name(transfer.address), transfer.sent.front());
    switch (transfer.outcome) {
        case Outcome::nack:
            return front + " nack";
        case Outcome::nack_address:
            return front + " nack address";
        default:
            return fmt::format("{} {:02X}", front, transfer.received.front());
    }
}

Event parse_body(Words words) {
    Event event;
    const std::string_view verb = words.next("event");
    if (verb == "log" || verb == "message") {
        event.kind = verb == "log" ? EventKind::log : EventKind::message;
        event.text = unescaped(words.rest());
        return event;
    }
    if (verb == "write") {
        event.kind = EventKind::write;
        parse_write(words, event);
    } else if (verb == "read") {
        event.kind = EventKind::read;
        parse_read(words, event);
    } else if (verb == "fetch") {
        event.kind = EventKind::fetch;
        parse_fetch(words, event);
    } else if (verb == "wait") {
        event.kind = EventKind::wait;
        event.wait_us = parse_number<std::uint32_t>(words.next("duration"), 10, "duration");
    } else if (verb == "gpio") {
        event.kind = EventKind::gpio;
        parse_gpio(words, event);
    } else if (verb == "check") {
        event.kind = EventKind::check;
        parse_check(words, event);
    } else if (verb == "bus") {
        parse_bus(words, event);
    } else {
        throw std::invalid_argument(fmt::format("'{}' is no event", quoted(verb)));
    }
    words.finish();
    return event;
}

}  // namespace

std::string device_name(unsigned address) {
    for (const auto &[known, name] : devices) {
        if (address == known) {
            return std::string(name);
        }
    }
    return fmt::format("0x{:02X}", address);
}

std::string format_body(const board::Transfer &transfer) {
    const bool failed = transfer.outcome != Outcome::ok;
    switch (transfer.kind) {
        case EventKind::bus_open:
            return failed ? "bus open -> fail" : "bus open -> ok";
        case EventKind::bus_close:
            return "bus close";
        case EventKind::check:
            return fmt::format("check {} -> {}", device_name(transfer.address), transfer.value);
        case EventKind::write:
            return fmt::format("write {}{}{}{}", device_name(transfer.address),
                               format_bytes(transfer.sent), format_flags(transfer.flags),
                               failed ? " -> nack" : "");
        case EventKind::read:
            return format_read(transfer);
        case EventKind::fetch:
            return fmt::format("fetch {} {}{} ->{}", device_name(transfer.address), transfer.length,
                               format_flags(transfer.flags),
                               failed ? " nack" : format_bytes(transfer.received));
        case EventKind::gpio:
            return fmt::format("gpio {} {}", transfer.line, transfer.value);
        case EventKind::wait:
            return fmt::format("wait {}", transfer.wait_us);
        case EventKind::log:
            return "log " + escaped(transfer.text);
        case EventKind::message:
            return "message " + escaped(transfer.text);
    }
    return {};
}

std::string format_front(const Event &event) {
    std::string front;
    if (event.time_us) {
        front = fmt::format("{}.{:06}", *event.time_us / 1'000'000U, *event.time_us % 1'000'000U);
    }
    if (!event.thread.empty()) {
        front += (front.empty() ? "" : " ") + event.thread;
    }
    return front.empty() ? front : "[" + front + "]";
}

bool is_program_block(const board::Transfer &transfer) {
    return transfer.kind == EventKind::write && transfer.address == DEMOD_ADDRESS &&
           transfer.sent.size() > 2 &&
           register_name(transfer.address, transfer.sent.front(), Access::write) == "mcu_port";
}

bool begins_event(const board::Transfer &transfer) {
    using enum board::Transfer::Stage;
    return transfer.kind != EventKind::read && transfer.kind != EventKind::fetch &&
           transfer.stage != apart && transfer.stage != dropped;
}

std::string format_event(const Event &event) {
    const std::string front = format_front(event);
    return (front.empty() ? "" : front + " ") + format_body(event);
}

std::optional<Event> parse_event(std::string_view line) {
    const Words whole(line);
    std::string_view body = whole.rest();
    if (body.empty() || body.front() == '#' || whole.peek() == "meta") {
        return std::nullopt;
    }
    Event front;
    if (body.front() == '[') {
        const auto close = body.find(']');
        if (close == std::string_view::npos) {
            throw std::invalid_argument("']' is missing");
        }
        parse_front(body.substr(1, close - 1), front);
        body.remove_prefix(close + 1);
    }
    Event event = parse_body(Words(body));
    event.time_us = front.time_us;
    event.thread = front.thread;
    return event;
}

std::optional<std::string> TraceHead::value(std::string_view key) const {
    const auto entry = std::find_if(entries_.begin(), entries_.end(),
                                    [key](const auto &known) { return known.first == key; });
    return entry == entries_.end() ? std::nullopt : std::optional(entry->second);
}

void TraceHead::add(std::string key, std::string value) {
    entries_.emplace_back(std::move(key), std::move(value));
}

void TraceHead::add_line(std::string key, std::string value) {
    const bool is_format = key == "format";
    if (empty() != is_format) {
        throw std::invalid_argument(is_format ? "'meta format' is here twice"
                                              : "the head begins with 'meta format'");
    }
    if (is_format && parse_number<unsigned>(value, 10, "format version") != format) {
        throw std::invalid_argument(
            fmt::format("format version {}; this program reads version {}", quoted(value), format));
    }
    if (this->value(key)) {
        throw std::invalid_argument(fmt::format("'meta {}' is here twice", quoted(key)));
    }
    add(std::move(key), std::move(value));
}

std::optional<std::pair<std::string, std::string>> parse_meta(std::string_view line) {
    Words words(line);
    if (!words.accept("meta")) {
        return std::nullopt;
    }
    const std::string_view key = words.next("key");
    return std::pair(std::string(key), unescaped(words.rest()));
}

std::string format_head(const TraceHead &head) {
    std::string text;
    for (const auto &[key, value] : head.entries()) {
        text += fmt::format("meta {} {}\n", key, escaped(value));
    }
    return text;
}

}  // namespace trace
