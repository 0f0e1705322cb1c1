// SPDX-License-Identifier: MIT
#include "trace/diff.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "trace/reader.h"

namespace trace {

// How a failing test shows a hunk.
static void PrintTo(const DiffHunk &hunk, std::ostream *stream) {
    *stream << hunk.a_begin << ".." << hunk.a_end << " | " << hunk.b_begin << ".." << hunk.b_end;
}

namespace {

Fingerprints fingerprints_of(const std::vector<Event> &events, bool with_time = false) {
    Fingerprints fingerprints;
    for (const Event &event : events) {
        fingerprints.push_back(fingerprint(event, with_time));
    }
    return fingerprints;
}

std::vector<DiffHunk> diff(std::string_view a, std::string_view b, bool with_time = false) {
    return differences(fingerprints_of(parse_transcript(a), with_time),
                       fingerprints_of(parse_transcript(b), with_time));
}

TEST(TraceDiff, equal_traces_have_no_difference) {
    EXPECT_THAT(diff("wait 1\nwait 2\n", "wait 1\nwait 2\n"), testing::IsEmpty());
    EXPECT_THAT(diff("", ""), testing::IsEmpty());
}

TEST(TraceDiff, an_event_more_or_less_shifts_the_rest) {
    EXPECT_THAT(diff("wait 1\nwait 2\nwait 3\n", "wait 1\nwait 3\n"),
                testing::ElementsAre(DiffHunk{1, 2, 1, 1}));
    EXPECT_THAT(diff("wait 1\nwait 3\n", "wait 1\nwait 2\nwait 3\n"),
                testing::ElementsAre(DiffHunk{1, 1, 1, 2}));
}

TEST(TraceDiff, events_that_changed_are_one_hunk) {
    EXPECT_THAT(diff("wait 1\nwait 2\nwait 3\nwait 9\n", "wait 1\nwait 4\nwait 5\nwait 9\n"),
                testing::ElementsAre(DiffHunk{1, 3, 1, 3}));
}

TEST(TraceDiff, hunks_far_apart_stay_apart) {
    EXPECT_THAT(diff("wait 1\nwait 2\nwait 3\nwait 4\n", "wait 7\nwait 2\nwait 3\nwait 8\n"),
                testing::ElementsAre(DiffHunk{0, 1, 0, 1}, DiffHunk{3, 4, 3, 4}));
}

TEST(TraceDiff, an_empty_trace_lacks_everything) {
    EXPECT_THAT(diff("wait 1\nwait 2\n", ""), testing::ElementsAre(DiffHunk{0, 2, 0, 0}));
    EXPECT_THAT(diff("", "wait 1\nwait 2\n"), testing::ElementsAre(DiffHunk{0, 0, 0, 2}));
}

TEST(TraceDiff, time_and_thread_count_on_request) {
    const std::string_view a = "[1.000000 main] wait 1\n[1.000000 main] message lock at 12\n";
    const std::string_view b = "[2.000000 other] wait 1\n[3.000000 main] message lock at 34\n";

    EXPECT_THAT(diff(a, b), testing::IsEmpty());
    EXPECT_THAT(diff(a, b, true), testing::ElementsAre(DiffHunk{0, 2, 0, 2}));
}

TEST(TraceDiff, answers_count) {
    EXPECT_THAT(diff("read demod 0D -> 8F", "read demod 0D -> 87"),
                testing::ElementsAre(DiffHunk{0, 1, 0, 1}));
}

std::vector<Event> random_trace(std::size_t length, unsigned kinds, unsigned seed) {
    std::mt19937 random(seed);
    std::vector<Event> events(length);
    for (Event &event : events) {
        event.wait_us = static_cast<std::uint32_t>(random() % kinds);
    }
    return events;
}

// What is left of both when the hunks are cut out must be the same, whatever the search settled
// for.
void expect_alignment(const std::vector<Event> &a, const std::vector<Event> &b) {
    std::size_t at_a = 0;
    std::size_t at_b = 0;
    const auto expect_same_until = [&](std::size_t end_a, std::size_t end_b) {
        ASSERT_EQ(end_a - at_a, end_b - at_b);
        for (; at_a < end_a; ++at_a, ++at_b) {
            ASSERT_EQ(a[at_a].wait_us, b[at_b].wait_us);
        }
    };
    for (const DiffHunk &hunk : differences(fingerprints_of(a), fingerprints_of(b))) {
        expect_same_until(hunk.a_begin, hunk.b_begin);
        at_a = hunk.a_end;
        at_b = hunk.b_end;
    }
    expect_same_until(a.size(), b.size());
}

TEST(TraceDiff, what_is_no_difference_is_equal) {
    for (unsigned seed = 0; seed < 50; ++seed) {
        expect_alignment(random_trace(seed * 7 % 60, 4, seed),
                         random_trace(seed * 11 % 60, 4, ~seed));
    }
}

TEST(TraceDiff, traces_that_have_little_in_common_are_aligned_too) {
    expect_alignment(random_trace(4000, 5000, 1), random_trace(5000, 5000, 2));
    expect_alignment(random_trace(3000, 2, 3), random_trace(3500, 2, 4));
}

}  // namespace
}  // namespace trace
