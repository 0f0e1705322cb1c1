// SPDX-License-Identifier: MIT

// What befalls the time of a process: the virtual clock under each of its faults.

#include "board/time_faults.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <vector>

#include "board/clock.h"
#include "tests/board/process_time.h"

namespace tests {

using board::TimeFaults;
using testing::ElementsAre;

namespace {

class TimeFault : public testing::Test {
 protected:
    board::VirtualClock clock;
};

}  // namespace

TEST_F(TimeFault, stall_makes_a_sleeper_late_and_its_clock_goes_on) {
    clock.befall({.absences = {{.at_ns = 20 * ms, .length_ns = 5'000 * ms}}});

    EXPECT_EQ(usleep(50'000), 0);

    EXPECT_EQ(clock.now_ns(), 5'020 * ms);
    EXPECT_EQ(monotonic_ns(), 5'020 * ms);
    usleep(50'000);
    EXPECT_EQ(clock.now_ns(), 5'070 * ms);
}

TEST_F(TimeFault, stall_that_ends_within_a_sleep_is_not_noticed) {
    clock.befall({.absences = {{.at_ns = 20 * ms, .length_ns = 10 * ms}}});

    usleep(50'000);

    EXPECT_EQ(clock.now_ns(), 50 * ms);
}

TEST_F(TimeFault, stall_holds_every_thread_up) {
    clock.befall({.absences = {{.at_ns = 20 * ms, .length_ns = 1'000 * ms}}});
    std::vector<std::uint64_t> woke_ms;
    const Thread other([this, &woke_ms] {
        usleep(30'000);
        woke_ms.push_back(clock.now_ns() / ms);
    });

    usleep(40'000);
    woke_ms.push_back(clock.now_ns() / ms);
    other.join();

    EXPECT_THAT(woke_ms, ElementsAre(1'020, 1'020));
}

TEST_F(TimeFault, transfer_during_which_a_stall_begins_ends_after_it) {
    clock.befall({.absences = {{.at_ns = 2 * ms, .length_ns = 30 * ms}}});

    EXPECT_EQ(clock.spend_ns(5 * ms), 32 * ms);
}

TEST_F(TimeFault, suspended_machine_sleeps_as_long_as_asked_and_the_world_goes_on) {
    clock.befall({.absences = {{.at_ns = 20 * ms, .length_ns = 5'000 * ms, .suspended = true}}});

    usleep(50'000);

    EXPECT_EQ(clock.now_ns(), 5'050 * ms);
    EXPECT_EQ(monotonic_ns(), 50 * ms);
}

TEST_F(TimeFault, absences_follow_each_other_in_the_worlds_time) {
    clock.befall({.absences = {{.at_ns = 20 * ms, .length_ns = 100 * ms, .suspended = true},
                               {.at_ns = 130 * ms, .length_ns = 40 * ms}}});

    usleep(25'000);
    EXPECT_EQ(clock.now_ns(), 125 * ms);
    usleep(10'000);
    EXPECT_EQ(clock.now_ns(), 170 * ms);
    EXPECT_EQ(monotonic_ns(), 70 * ms);
}

TEST_F(TimeFault, sleeps_are_late_by_no_more_than_given) {
    clock.befall({.seed = 3, .longest_delay_ns = 4 * ms});
    std::uint64_t least_ns = 4 * ms;
    std::uint64_t most_ns = 0;

    for (int i = 0; i < 100; ++i) {
        const std::uint64_t from_ns = clock.now_ns();
        usleep(10'000);
        const std::uint64_t late_ns = clock.now_ns() - from_ns - 10 * ms;
        least_ns = std::min(least_ns, late_ns);
        most_ns = std::max(most_ns, late_ns);
    }

    EXPECT_LT(least_ns, ms);
    EXPECT_GT(most_ns, 3 * ms);
    EXPECT_LE(most_ns, 4 * ms);
}

TEST_F(TimeFault, signal_cuts_the_first_threads_sleep_short) {
    clock.befall({.signals = {{.span = {5 * ms, 100 * ms}, .every_ns = 20 * ms}}});

    EXPECT_EQ(usleep(50'000), -1);
    EXPECT_EQ(errno, EINTR);
    EXPECT_EQ(clock.now_ns(), 5 * ms);
    EXPECT_EQ(usleep(50'000), -1);
    EXPECT_EQ(clock.now_ns(), 25 * ms);
    EXPECT_EQ(usleep(20'000), 0);
}

TEST_F(TimeFault, signals_end_with_their_time) {
    clock.befall({.signals = {{.span = {0, 30 * ms}, .every_ns = 20 * ms}}});

    EXPECT_EQ(usleep(50'000), -1);
    EXPECT_EQ(usleep(50'000), 0);
    EXPECT_EQ(clock.now_ns(), 70 * ms);
}

TEST_F(TimeFault, signal_that_the_first_thread_blocks_comes_to_another) {
    clock.befall({.signals = {{.every_ns = 20 * ms, .first_thread_blocks = true}}});
    std::vector<std::uint64_t> woke_ms;
    const Thread other([this, &woke_ms] {
        usleep(30'000);
        woke_ms.push_back(clock.now_ns() / ms);
    });

    usleep(40'000);
    woke_ms.push_back(clock.now_ns() / ms);
    other.join();

    EXPECT_THAT(woke_ms, ElementsAre(20, 40));
}

TEST_F(TimeFault, clock_cannot_be_read_for_a_while) {
    clock.befall({.unreadable = {{10 * ms, 20 * ms}}});
    timespec time{.tv_sec = 7, .tv_nsec = 7};

    usleep(15'000);
    EXPECT_EQ(clock_gettime(CLOCK_MONOTONIC, &time), -1);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(time.tv_sec, 7);
    usleep(5'000);
    EXPECT_EQ(monotonic_ns(), 20 * ms);
}

TEST_F(TimeFault, monotonic_clock_may_have_been_going_for_a_long_time) {
    clock.befall({.start_ns = 4'294'967'296 * ms});

    usleep(1'000);

    EXPECT_EQ(monotonic_ns(), 4'294'967'297 * ms);
    EXPECT_EQ(clock.now_ns(), ms);
}

}  // namespace tests
