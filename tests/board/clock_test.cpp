// SPDX-License-Identifier: MIT
#include "board/clock.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>
#include <string>
#include <vector>

#include "board/board.h"
#include "tests/board/process_time.h"

// The driver's calls in sanitizer builds are redirected by the linker; so are this file's.

namespace tests {

namespace {

class CountingBoard : public board::Board {
 public:
    void perform(board::Transfer &transfer) override { waits.push_back(transfer.wait_us); }

    std::vector<std::uint32_t> waits;
};

}  // namespace

TEST(VirtualClock, sleeping_moves_time_and_nothing_else) {
    board::VirtualClock clock;
    const std::uint64_t wall_ns = board::wall_now_ns();

    usleep(3'600'000'000U);

    EXPECT_EQ(clock.now_ns(), 3'600'000 * ms);
    EXPECT_LT(board::wall_now_ns() - wall_ns, 10'000 * ms);
}

TEST(VirtualClock, transfers_take_time_without_giving_up_the_turn) {
    board::VirtualClock clock;
    std::vector<std::string> order;
    Thread thread([&order] { order.emplace_back("thread"); });

    clock.spend_ns(5 * ms);
    order.emplace_back("main");
    thread.join();

    EXPECT_EQ(clock.now_ns(), 5 * ms);
    EXPECT_THAT(order, testing::ElementsAre("main", "thread"));
}

TEST(VirtualClock, threads_wake_in_the_order_of_time) {
    board::VirtualClock clock;
    std::vector<std::string> order;
    const auto sleeper = [&order, &clock](const char *name, unsigned milliseconds) {
        return [&order, &clock, name, milliseconds] {
            usleep(milliseconds * 1000);
            order.push_back(name + std::to_string(clock.now_ns() / ms));
        };
    };

    Thread late(sleeper("late ", 30));
    Thread early(sleeper("early ", 10));
    Thread middle(sleeper("middle ", 20));
    late.join();
    early.join();
    middle.join();

    EXPECT_THAT(order, testing::ElementsAre("early 10", "middle 20", "late 30"));
}

TEST(VirtualClock, ties_go_to_the_thread_that_went_to_sleep_first) {
    board::VirtualClock clock;
    std::vector<std::string> order;
    Thread first([&order] {
        usleep(1000);
        order.emplace_back("first");
    });
    Thread second([&order] {
        usleep(1000);
        order.emplace_back("second");
    });

    usleep(1000);
    order.emplace_back("main");
    first.join();
    second.join();

    EXPECT_THAT(order, testing::ElementsAre("main", "first", "second"));
}

TEST(VirtualClock, only_one_thread_runs_at_a_time) {
    board::VirtualClock clock;
    int inside = 0;
    int most = 0;
    const auto body = [&inside, &most] {
        for (int i = 0; i < 100; ++i) {
            most = std::max(most, ++inside);
            --inside;
            usleep(10);
        }
    };

    Thread a(body);
    Thread b(body);
    body();
    a.join();
    b.join();

    EXPECT_EQ(most, 1);
}

TEST(VirtualClock, join_waits_for_the_end_and_gives_the_result) {
    board::VirtualClock clock;
    pthread_t thread{};
    static int result = 0;
    ASSERT_EQ(pthread_create(
                  &thread, nullptr,
                  [](void *argument) -> void * {
                      usleep(7000);
                      return argument;
                  },
                  &result),
              0);

    void *returned = nullptr;
    ASSERT_EQ(pthread_join(thread, &returned), 0);

    EXPECT_EQ(returned, &result);
    EXPECT_EQ(clock.now_ns(), 7 * ms);
}

TEST(VirtualClock, join_of_an_ended_thread_returns_at_once) {
    board::VirtualClock clock;
    Thread thread([] {});
    usleep(1000);

    thread.join();

    EXPECT_EQ(clock.now_ns(), 1 * ms);
}

TEST(VirtualClock, thread_is_joined_once) {
    board::VirtualClock clock;
    pthread_t thread{};
    const auto body = [](void *argument) -> void * { return argument; };
    ASSERT_EQ(pthread_create(&thread, nullptr, body, nullptr), 0);
    EXPECT_EQ(pthread_join(thread, nullptr), 0);
    EXPECT_EQ(clock.vain_joins(), 0U);

    EXPECT_EQ(pthread_join(thread, nullptr), ESRCH);
    EXPECT_EQ(clock.vain_joins(), 1U);

    // A later thread may get the same handle.
    ASSERT_EQ(pthread_create(&thread, nullptr, body, nullptr), 0);
    EXPECT_EQ(pthread_join(thread, nullptr), 0);
    EXPECT_EQ(clock.vain_joins(), 1U);
}

TEST(VirtualClock, threads_are_named_in_the_order_of_creation) {
    board::VirtualClock clock;
    std::vector<std::string> names{board::VirtualClock::thread_name()};
    const auto body = [&names] { names.push_back(board::VirtualClock::thread_name()); };

    Thread a(body);
    Thread b(body);
    a.join();
    b.join();

    EXPECT_THAT(names, testing::ElementsAre("main", "thread1", "thread2"));
}

TEST(VirtualClock, two_runs_are_alike) {
    std::vector<std::vector<std::string>> runs(2);
    for (auto &run : runs) {
        board::VirtualClock clock;
        const auto body = [&run, &clock](unsigned period_us) {
            return [&run, &clock, period_us] {
                for (int i = 0; i < 50; ++i) {
                    usleep(period_us);
                    run.push_back(board::VirtualClock::thread_name() +
                                  std::to_string(clock.now_ns()));
                }
            };
        };
        Thread a(body(70));
        Thread b(body(110));
        a.join();
        b.join();
    }

    EXPECT_EQ(runs[0].size(), 100U);
    EXPECT_EQ(runs[0], runs[1]);
}

TEST(VirtualClock, wall_time_can_be_followed) {
    board::VirtualClock clock;
    clock.follow_wall_time(true);
    const std::uint64_t wall_ns = board::wall_now_ns();

    usleep(20'000);

    EXPECT_GE(board::wall_now_ns() - wall_ns, 20 * ms);
}

TEST(TimeSeam, monotonic_clock_is_the_virtual_one) {
    board::VirtualClock clock;
    EXPECT_EQ(monotonic_ns(), 0U);

    usleep(2'500'000);

    EXPECT_EQ(monotonic_ns(), 2'500 * ms);
}

TEST(TimeSeam, calendar_time_stays_the_systems) {
    board::VirtualClock clock;
    timespec now{};

    ASSERT_EQ(clock_gettime(CLOCK_REALTIME, &now), 0);

    EXPECT_GT(now.tv_sec, 1'600'000'000);
}

TEST(TimeSeam, without_a_virtual_clock_time_is_the_systems) {
    EXPECT_EQ(board::VirtualClock::current(), nullptr);
    const std::uint64_t from_ns = monotonic_ns();

    usleep(2'000);

    EXPECT_GE(monotonic_ns() - from_ns, 2 * ms);
    Thread thread([] {});
    thread.join();
}

TEST(TimeSeam, board_learns_of_every_wait) {
    board::VirtualClock clock;
    CountingBoard board;
    board::set_board(&board);

    usleep(5000);
    usleep(20);
    board::set_board(nullptr);

    EXPECT_THAT(board.waits, testing::ElementsAre(5000, 20));
}

}  // namespace tests
