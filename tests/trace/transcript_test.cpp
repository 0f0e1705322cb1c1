// SPDX-License-Identifier: MIT
#include "trace/transcript.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>
#include <string>

#include "trace/reader.h"

namespace trace {

// How a failing test shows an event.
static void PrintTo(const Event &event, std::ostream *stream) { *stream << format_event(event); }

namespace {

struct Form {
    const char *line;
    Event event;
};

Event make(EventKind kind) {
    Event event;
    event.kind = kind;
    return event;
}

Event bus(EventKind kind, Outcome outcome) {
    Event event = make(kind);
    event.outcome = outcome;
    return event;
}

Event check(unsigned address, std::uint8_t answer) {
    Event event = make(EventKind::check);
    event.address = address;
    event.value = answer;
    return event;
}

Event write(unsigned address, board::Bytes data, Outcome outcome = Outcome::ok,
            unsigned flags = 3) {
    Event event = make(EventKind::write);
    event.address = address;
    event.sent = std::move(data);
    event.outcome = outcome;
    event.flags = flags;
    return event;
}

Event read(unsigned address, std::uint8_t reg, board::Bytes value, Outcome outcome = Outcome::ok) {
    Event event = make(EventKind::read);
    event.address = address;
    event.sent = {reg};
    event.length = 1;
    event.received = std::move(value);
    event.outcome = outcome;
    return event;
}

Event fetch(unsigned address, unsigned length, board::Bytes data, Outcome outcome = Outcome::ok,
            unsigned flags = 3) {
    Event event = make(EventKind::fetch);
    event.address = address;
    event.length = length;
    event.received = std::move(data);
    event.outcome = outcome;
    event.flags = flags;
    return event;
}

Event gpio(unsigned line, std::uint8_t level) {
    Event event = make(EventKind::gpio);
    event.line = line;
    event.value = level;
    return event;
}

Event wait(std::uint32_t microseconds) {
    Event event = make(EventKind::wait);
    event.wait_us = microseconds;
    return event;
}

Event log(std::string text) {
    Event event = make(EventKind::log);
    event.text = std::move(text);
    return event;
}

Event at(Event event, std::uint64_t time_us, std::string thread) {
    event.time_us = time_us;
    event.thread = std::move(thread);
    return event;
}

Event on(Event event, std::string thread) {
    event.thread = std::move(thread);
    return event;
}

std::vector<Form> all_forms() {
    Event timed = wait(1);
    timed.time_us = 12'345'678;
    return {
        {"bus open -> ok", bus(EventKind::bus_open, Outcome::ok)},
        {"bus open -> fail", bus(EventKind::bus_open, Outcome::nack)},
        {"bus close", make(EventKind::bus_close)},
        {"check lnbh23 -> 1", check(0x14, 1)},
        {"check demod -> 0", check(0xD0, 0)},
        {"write demod 07 80", write(0xD0, {0x07, 0x80})},
        {"write demod 07 80 -> nack", write(0xD0, {0x07, 0x80}, Outcome::nack)},
        {"write tuner 10 0B 40", write(0xC0, {0x10, 0x0B, 0x40})},
        {"write lnbh23 4C", write(0x14, {0x4C})},
        {"write 0xA0 FF", write(0xA0, {0xFF})},
        {"write 0x02 FF", write(0x02, {0xFF})},
        {"write demod 0D 8F flags 1", write(0xD0, {0x0D, 0x8F}, Outcome::ok, 1)},
        {"write demod 0D flags 1 -> nack", write(0xD0, {0x0D}, Outcome::nack, 1)},
        {"read demod 0D -> 8F", read(0xD0, 0x0D, {0x8F})},
        {"read tuner 15 -> nack", read(0xC0, 0x15, {}, Outcome::nack)},
        {"read tuner 15 -> nack address", read(0xC0, 0x15, {}, Outcome::nack_address)},
        {"fetch demod 2 -> AA BB", fetch(0xD0, 2, {0xAA, 0xBB})},
        {"fetch demod 1 flags 1 -> nack", fetch(0xD0, 1, {}, Outcome::nack, 1)},
        {"fetch 0x16 3 flags 2 -> 01 02 03", fetch(0x16, 3, {1, 2, 3}, Outcome::ok, 2)},
        {"gpio 6 1", gpio(6, 1)},
        {"gpio 17 0", gpio(17, 0)},
        {"wait 5000", wait(5000)},
        {"wait 4294967295", wait(0xFFFF'FFFF)},
        {"log Tuner::init()", log("Tuner::init()")},
        {"log Tuner<DS3000_AND_TS2022>::create()", log("Tuner<DS3000_AND_TS2022>::create()")},
        {"log two words -> ok", log("two words -> ok")},
        {"[12.345678] wait 1", timed},
        {"[12.345678 main] wait 1", at(wait(1), 12'345'678, "main")},
        {"[0.000001 thread1] gpio 6 1", at(gpio(6, 1), 1, "thread1")},
        {"[86400.000000 main] log x", at(log("x"), 86'400'000'000, "main")},
        {"[thread2] bus close", on(make(EventKind::bus_close), "thread2")},
    };
}

TEST(Transcript, every_form_of_an_event_is_formatted) {
    for (const Form &form : all_forms()) {
        EXPECT_EQ(format_event(form.event), form.line);
    }
}

TEST(Transcript, every_form_of_an_event_is_parsed) {
    for (const Form &form : all_forms()) {
        const auto event = parse_event(form.line);
        ASSERT_TRUE(event.has_value()) << form.line;
        EXPECT_EQ(*event, form.event) << form.line;
    }
}

TEST(Transcript, devices_have_names_others_their_address) {
    EXPECT_EQ(device_name(0xD0), "demod");
    EXPECT_EQ(device_name(0xC0), "tuner");
    EXPECT_EQ(device_name(0x14), "lnbh23");
    EXPECT_EQ(device_name(0xA0), "0xA0");
    EXPECT_EQ(device_name(0x08), "0x08");
}

TEST(Transcript, hexadecimal_digits_may_be_small) {
    EXPECT_EQ(parse_event("write 0xa0 0d 8f"), write(0xA0, {0x0D, 0x8F}));
}

TEST(Transcript, a_device_s_address_stands_for_its_name) {
    EXPECT_EQ(parse_event("write 0xD0 07 80"), write(0xD0, {0x07, 0x80}));
}

TEST(Transcript, white_space_around_a_line_and_between_words_means_nothing) {
    for (const char *line : {"  write demod 07 80", "write demod 07 80 \t ",
                             "\twrite demod 07 80\r", "write \t demod   07\t80"}) {
        EXPECT_EQ(parse_event(line), write(0xD0, {0x07, 0x80})) << line;
    }
    EXPECT_EQ(parse_event("log a  b \t\r"), log("a  b"));
    EXPECT_EQ(parse_event("  [1.000000 main]   wait 1"), at(wait(1), 1'000'000, "main"));
}

TEST(Transcript, empty_lines_and_comments_are_no_events) {
    for (const char *line : {"", "   ", "\t\r", "# write demod 07 80", "   # indented"}) {
        EXPECT_EQ(parse_event(line), std::nullopt) << line;
    }
}

TEST(Transcript, a_log_line_may_be_empty) { EXPECT_EQ(parse_event("log"), log("")); }

struct Mistake {
    const char *line;
    const char *problem;
};

TEST(Transcript, every_mistake_in_a_line_is_named) {
    constexpr Mistake mistakes[] = {
        {"jump 3", "'jump' is no event"},
        {"bus", "'open' is missing before ''"},
        {"bus shut", "'open' is missing before 'shut'"},
        {"bus open ok", "'->' is missing before 'ok'"},
        {"bus open -> maybe", "'fail' is missing before 'maybe'"},
        {"bus close now", "'now' is too much"},
        {"check", "device is missing"},
        {"check lnbh23", "'->' is missing before ''"},
        {"check lnbh23 ->", "answer is missing"},
        {"check lnbh23 -> 2", "'2' is no answer (0 or 1)"},
        {"write", "device is missing"},
        {"write lnb 00", "'lnb' is no device"},
        {"write 0x1FF 00", "'1FF' is no 8-bit device address"},
        {"write 0x 00", "'' is no 8-bit device address"},
        {"write 0xG0 00", "'G0' is no 8-bit device address"},
        {"write demod 7 80", "'7' is no byte of two hexadecimal digits"},
        {"write demod 0x07", "'0x07' is no byte of two hexadecimal digits"},
        {"write demod 0G", "'0G' is no byte of two hexadecimal digits"},
        {"write demod 07 80 -> ack", "'nack' is missing before 'ack'"},
        {"write demod 07 80 -> nack address", "'address' is too much"},
        {"write demod 07 flags", "flags is missing"},
        {"write demod 07 flags x", "'x' is no flags value"},
        {"write demod 07 flags -1", "'-1' is no flags value"},
        {"read", "device is missing"},
        {"read demod", "register is missing"},
        {"read demod D", "'D' is no byte of two hexadecimal digits"},
        {"read demod 0D", "'->' is missing before ''"},
        {"read demod 0D 8F", "'->' is missing before '8F'"},
        {"read demod 0D ->", "value is missing"},
        {"read demod 0D -> 8", "'8' is no byte of two hexadecimal digits"},
        {"read demod 0D -> 8F 00", "'00' is too much"},
        {"read demod 0D -> nack register", "'register' is too much"},
        {"fetch", "device is missing"},
        {"fetch demod", "length is missing"},
        {"fetch demod two -> AA BB", "'two' is no length"},
        {"fetch demod 2 AA BB", "'->' is missing before 'AA BB'"},
        {"fetch demod 2 -> AA", "2 bytes were asked for, 1 are here"},
        {"fetch demod 1 -> AA BB", "1 bytes were asked for, 2 are here"},
        {"fetch demod 1 -> nack now", "'now' is too much"},
        {"gpio", "line is missing"},
        {"gpio six 1", "'six' is no GPIO line"},
        {"gpio 6", "level is missing"},
        {"gpio 6 2", "'2' is no level (0 or 1)"},
        {"gpio 6 1 1", "'1' is too much"},
        {"wait", "duration is missing"},
        {"wait 5 ms", "'ms' is too much"},
        {"wait 5.0", "'5.0' is no duration"},
        {"wait -5", "'-5' is no duration"},
        {"wait 4294967296", "'4294967296' is no duration"},
        {"[1.000000 main wait 5", "']' is missing"},
        {"[1.000000 main]", "event is missing"},
        {"[1.5 main] wait 5", "'1.5' has not six decimals"},
        {"[x.000000] wait 5", "'x' is no time"},
        {"[1.00000x] wait 5", "'00000x' is no time"},
        {"[1.000000 main again] wait 5", "'again' is too much"},
    };
    for (const Mistake &mistake : mistakes) {
        try {
            parse_event(mistake.line);
            ADD_FAILURE() << "accepted: " << mistake.line;
        } catch (const std::invalid_argument &problem) {
            EXPECT_STREQ(problem.what(), mistake.problem) << mistake.line;
        }
    }
}

TEST(Transcript, a_text_is_its_lines_events) {
    const auto events = parse_transcript("# a comment\n\nbus open -> ok\n  wait 10\r\ngpio 6 1");

    EXPECT_THAT(events,
                testing::ElementsAre(bus(EventKind::bus_open, Outcome::ok), wait(10), gpio(6, 1)));
    EXPECT_THAT(parse_transcript(""), testing::IsEmpty());
}

TEST(Transcript, a_mistake_in_a_text_is_named_with_its_place) {
    try {
        parse_transcript("# a comment\n\nwait 10\nwait ten\nwait eleven\n", "demo.txt");
        ADD_FAILURE() << "accepted";
    } catch (const std::invalid_argument &problem) {
        EXPECT_STREQ(problem.what(), "demo.txt:4: 'ten' is no duration");
    }
}

TEST(Transcript, a_text_without_a_name_is_called_transcript) {
    try {
        parse_transcript("jump");
        ADD_FAILURE() << "accepted";
    } catch (const std::invalid_argument &problem) {
        EXPECT_STREQ(problem.what(), "transcript:1: 'jump' is no event");
    }
}

Event message(const char *text) {
    Event event = make(EventKind::message);
    event.text = text;
    return event;
}

TEST(Transcript, messages_and_log_lines_keep_every_character) {
    const std::pair<const char *, const char *> texts[] = {
        {"message ds3000: thread(0x*)", "ds3000: thread(0x*)"},
        {"message", ""},
        {R"(message \tChip ID = [DS3103]!)", "\tChip ID = [DS3103]!"},
        {R"(message a\nb\\c)", "a\nb\\c"},
        {R"(message \x20 between \x20)", "  between  "},
        {R"(message \x1B[31m)", "\x1B[31m"},
    };
    for (const auto &[line, text] : texts) {
        EXPECT_EQ(parse_event(line), message(text)) << line;
        EXPECT_THAT(line, testing::StartsWith(format_event(message(text)).substr(0, 7)));
        EXPECT_EQ(parse_event(format_event(message(text))), message(text)) << line;
    }
    EXPECT_EQ(parse_event(R"(log a\nb)"), log("a\nb"));
    EXPECT_EQ(format_event(log("a\nb")), R"(log a\nb)");
}

TEST(Transcript, an_unknown_escape_is_a_mistake) {
    for (const char *line : {R"(log \q)", R"(log \)", R"(log \x2)", R"(message \xGG)"}) {
        EXPECT_THROW(parse_event(line), std::invalid_argument) << line;
    }
}

std::string problem_of(std::string_view text) {
    try {
        parse_trace(text, "t");
        return "accepted";
    } catch (const std::invalid_argument &problem) {
        return problem.what();
    }
}

TEST(Transcript, the_head_of_a_recording_is_read_and_written_again) {
    const std::string head =
        "meta format 1\nmeta program ds3000-ctl 1.0.0\nmeta command tune --lnb='9750 10600'\n";

    const Trace trace = parse_trace(head + "# a comment\n\n[0.000001 main] wait 1\nwait 2\n");

    EXPECT_EQ(format_head(trace.head), head);
    EXPECT_EQ(trace.head.value("command"), "tune --lnb='9750 10600'");
    EXPECT_EQ(trace.head.value("clock"), std::nullopt);
    EXPECT_THAT(trace.lines, testing::ElementsAre(6, 7));
    EXPECT_THAT(parse_transcript(head + "wait 1\n"), testing::ElementsAre(wait(1)));
}

TEST(Transcript, a_wrong_head_is_refused) {
    EXPECT_EQ(problem_of("meta program x\n"), "t:1: the head begins with 'meta format'");
    EXPECT_EQ(problem_of("meta format 2\n"), "t:1: format version 2; this program reads version 1");
    EXPECT_EQ(problem_of("meta format one\n"), "t:1: 'one' is no format version");
    EXPECT_EQ(problem_of("meta format 1\nmeta format 1\n"), "t:2: 'meta format' is here twice");
    EXPECT_EQ(problem_of("meta format 1\nmeta a b\nmeta a c\n"), "t:3: 'meta a' is here twice");
    EXPECT_EQ(problem_of("wait 1\nmeta format 1\n"), "t:2: the head ends where the events begin");
    EXPECT_EQ(problem_of("meta\n"), "t:1: key is missing");
}

TEST(Transcript, a_recording_that_is_cut_off_in_a_line_is_read_without_it) {
    for (const std::string_view cut : {"wait 50", "[12.34", "meta", "write demod 07 8"}) {
        const std::string text = "meta format 1\nwait 5000\n" + std::string(cut);
        TraceReader reader = read_text(text);
        ASSERT_NE(reader.next(), nullptr);
        EXPECT_EQ(reader.next(), nullptr) << cut;
        EXPECT_EQ(reader.cut_off_line(), 3U) << cut;
    }
    EXPECT_THAT(parse_transcript("wait 5000\nwait 50"), testing::ElementsAre(wait(5000), wait(50)))
        << "a text of one's own may end so";
}

TEST(Transcript, time_that_runs_backwards_is_refused) {
    EXPECT_EQ(problem_of("[2.000000] wait 1\n[2.000000] wait 1\n[1.999999] wait 1\n"),
              "t:3: time runs backwards: the event before is later");
    EXPECT_EQ(problem_of("[2.000000] wait 1\nwait 1\n[1.000000] wait 1\n"),
              "t:3: time runs backwards: the event before is later");
}

TEST(Transcript, what_is_no_text_is_refused_and_quoted_harmlessly) {
    EXPECT_EQ(problem_of(std::string_view("\x7F"
                                          "ELF\x02\x01\0\0",
                                          8)),
              R"(t:1: '\x7FELF\x02\x01\x00\x00' is no event)");
    EXPECT_EQ(problem_of("wait 1\n\x1B[2J\xFF\n"), R"(t:2: '\x1B[2J\xFF' is no event)");
    const std::string long_line(1'000'000, 'A');
    EXPECT_EQ(problem_of(long_line), "t:1: '" + std::string(60, 'A') + "...' is no event");
}

TEST(Transcript, a_time_too_long_to_count_is_refused) {
    EXPECT_EQ(problem_of("[18446744073709551615.000000] wait 1"),
              "t:1: '18446744073709551615' is no time");
    EXPECT_EQ(problem_of("[99999999999999999999.000000] wait 1"),
              "t:1: '99999999999999999999' is no time");
}

// One that is cut off in its first line does not show yet that it is a recording.
TEST(Transcript, every_beginning_of_a_recording_is_read_up_to_its_last_whole_line) {
    const std::string text =
        "meta format 1\nmeta command tune\n[0.000000 main] bus open -> ok\n"
        "[0.000097 main] read demod 08 -> 00\n[0.000170 thread1] write demod 08 01 -> nack\n"
        "[0.1 x] fetch";
    for (std::size_t length = text.find('\n') + 1; length <= text.size(); ++length) {
        const std::string beginning = text.substr(0, length);
        const Trace trace = parse_trace(beginning);
        const auto whole = std::count(beginning.begin(), beginning.end(), '\n');
        EXPECT_EQ(trace.head.entries().size() + trace.events.size(), std::size_t(whole))
            << beginning;
    }
}

TEST(Transcript, a_million_lines_are_read) {
    std::string text;
    for (int i = 0; i < 1'000'000; ++i) {
        text += "wait 1\n";
    }

    EXPECT_EQ(parse_trace(text).lines.back(), 1'000'000U);
}

}  // namespace
}  // namespace trace
