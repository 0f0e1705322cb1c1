// SPDX-License-Identifier: MIT
#include "trace/reader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace trace {

namespace {

std::string next_of(EventReader &events) {
    const Event *event = events.next();
    return event == nullptr ? "the end" : format_event(*event);
}

TEST(TraceReader, the_head_is_there_before_the_first_event) {
    TraceReader events =
        read_text("meta format 1\n# a comment\nmeta board sim\n\nwait 1\nwait 2\n\n# more\n");

    EXPECT_EQ(events.head().value("board"), "sim");
    EXPECT_EQ(next_of(events), "wait 1");
    EXPECT_EQ(events.line(), 5U);
    EXPECT_EQ(next_of(events), "wait 2");
    EXPECT_EQ(next_of(events), "the end");
    EXPECT_EQ(next_of(events), "the end");
    EXPECT_EQ(events.line(), 6U) << "of the last event";
}

TEST(TraceReader, events_in_front_of_a_damage_are_given) {
    TraceReader events = read_text("wait 1\nwait 2\njump\n", "demo");
    EXPECT_EQ(next_of(events), "wait 1");
    EXPECT_EQ(next_of(events), "wait 2");

    try {
        events.next();
        ADD_FAILURE() << "a line that is none";
    } catch (const std::invalid_argument &problem) {
        EXPECT_THAT(problem.what(), testing::StartsWith("demo:3: "));
    }
}

TEST(Recording, each_reader_begins_with_the_first_event) {
    const Recording recording = recording_of(parse_transcript("wait 1\nwait 2"));

    const auto one = recording();
    const auto other = recording();

    EXPECT_EQ(next_of(*one), "wait 1");
    EXPECT_EQ(next_of(*one), "wait 2");
    EXPECT_EQ(one->line(), 2U);
    EXPECT_EQ(next_of(*other), "wait 1");
    EXPECT_EQ(next_of(*one), "the end");
}

}  // namespace
}  // namespace trace
