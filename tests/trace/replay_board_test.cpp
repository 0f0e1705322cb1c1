// SPDX-License-Identifier: MIT
#include "trace/replay_board.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <unistd.h>

#include <array>
#include <functional>
#include <memory>
#include <string>

#include "board/clock.h"
#include "trace/reader.h"

namespace trace {
namespace {

// A second thread of the virtual clock.
class Thread {
 public:
    explicit Thread(std::function<void()> work) : work_(std::move(work)) {
        pthread_create(&thread_, nullptr, run, this);
    }
    Thread(const Thread &) = delete;
    Thread &operator=(const Thread &) = delete;
    ~Thread() { pthread_join(thread_, nullptr); }

 private:
    static void *run(void *self) {
        static_cast<Thread *>(self)->work_();
        return nullptr;
    }

    std::function<void()> work_;
    pthread_t thread_{};
};

class ReplayBoardTest : public testing::Test {
 protected:
    ~ReplayBoardTest() override { board::set_board(nullptr); }

    ReplayBoard &replay(std::string_view text) {
        const Trace trace = parse_trace(text);
        board_ = std::make_unique<ReplayBoard>(trace.head, recording_of(trace.events), clock_);
        board::set_board(board_.get());
        return *board_;
    }

    [[nodiscard]] std::uint64_t now_us() const { return clock_.now_ns() / 1000U; }

    board::VirtualClock clock_;
    std::unique_ptr<ReplayBoard> board_;
};

TEST_F(ReplayBoardTest, each_event_takes_the_clock_to_its_recorded_time) {
    ReplayBoard &board = replay(
        "[0.000100 main] bus open -> ok\n[0.000300 main] read demod 0D -> 8F\n"
        "[0.000300 main] wait 1000\n[0.001500 main] write demod 07 80\n");

    void *bus = board.open_bus();
    EXPECT_EQ(now_us(), 100U);
    std::array<std::uint8_t, 1> byte{0x0D};
    board.write(bus, 0xD0, byte, 1);
    EXPECT_TRUE(board.read(bus, 0xD0, byte, 3));
    EXPECT_EQ(byte[0], 0x8F);
    EXPECT_EQ(now_us(), 300U);
    usleep(1000);
    EXPECT_EQ(now_us(), 1300U);
    const std::array<std::uint8_t, 2> data{0x07, 0x80};
    EXPECT_TRUE(board.write(bus, 0xD0, data, 3));
    EXPECT_EQ(now_us(), 1500U);

    EXPECT_EQ(board.player().difference(), "");
}

TEST_F(ReplayBoardTest, the_call_that_fails_is_the_one_that_takes_long) {
    ReplayBoard &board = replay(
        "[0.000100 main] bus open -> ok\n[1.000300 main] read demod 0D -> nack\n"
        "[2.000300 main] read demod 0D -> nack address\n");
    void *bus = board.open_bus();
    std::array<std::uint8_t, 1> byte{0x0D};

    EXPECT_TRUE(board.write(bus, 0xD0, byte, 1));
    EXPECT_EQ(now_us(), 100U);
    EXPECT_FALSE(board.read(bus, 0xD0, byte, 3));
    EXPECT_EQ(now_us(), 1'000'300U);

    EXPECT_FALSE(board.write(bus, 0xD0, byte, 1));
    EXPECT_EQ(now_us(), 2'000'300U);
}

TEST_F(ReplayBoardTest, a_difference_does_not_move_the_clock) {
    ReplayBoard &board = replay("[1.000000 main] gpio 6 1\n");

    board.set_gpio(nullptr, 6, 0);

    EXPECT_EQ(now_us(), 0U);
    EXPECT_NE(board.player().difference(), "");
}

TEST_F(ReplayBoardTest, a_thread_that_is_early_lets_the_recorded_one_go_first) {
    ReplayBoard &board = replay(
        "[0.000100 main] wait 5000\n[0.004000 thread1] gpio 6 1\n[0.005200 main] gpio 7 1\n");

    {
        const Thread thread([&board] {
            board::VirtualClock::current()->sleep_ns(7'000'000);
            board.set_gpio(nullptr, 6, 1);
        });
        usleep(5000);
        board.set_gpio(nullptr, 7, 1);
    }

    EXPECT_EQ(board.player().difference(), "");
}

TEST_F(ReplayBoardTest, a_thread_that_never_comes_is_not_waited_for_for_ever) {
    ReplayBoard &board = replay("[0.000100 thread1] gpio 6 1\n[0.000200 main] gpio 7 1\n");

    board.set_gpio(nullptr, 7, 1);

    EXPECT_THAT(board.player().difference(), testing::HasSubstr("+  gpio 7 1"));
    EXPECT_GE(now_us(), 500'000U);
    EXPECT_LE(now_us(), 510'000U);
}

TEST_F(ReplayBoardTest, a_transcript_without_threads_and_times_is_played_as_it_comes) {
    ReplayBoard &board = replay("wait 10\ngpio 6 1\n");

    usleep(10);
    board.set_gpio(nullptr, 6, 1);

    EXPECT_EQ(board.player().difference(), "");
    EXPECT_EQ(now_us(), 10U);
}

// The other thread spoke 100 us after this one should have woken, and before it did anything.
constexpr std::string_view late_wake_up =
    "[0.000000 main] wait 1000\n[0.001100 thread1] gpio 6 1\n[0.001300 main] gpio 7 1\n";

TEST_F(ReplayBoardTest, a_thread_oversleeps_as_it_did_on_the_system_s_clock) {
    replay("meta format 1\nmeta clock system\n" + std::string(late_wake_up));

    usleep(1000);

    EXPECT_EQ(now_us(), 1100U);
}

TEST_F(ReplayBoardTest, on_the_virtual_clock_nobody_oversleeps) {
    replay("meta format 1\nmeta clock virtual\n" + std::string(late_wake_up));

    usleep(1000);

    EXPECT_EQ(now_us(), 1000U);
}

TEST_F(ReplayBoardTest, messages_are_looked_for_before_each_event_and_compared) {
    ReplayBoard &board = replay("message hello\nwait 1\nmessage world\n");
    std::string next = "hello";
    board.before_each_event([&] { board.player().message(next); });

    usleep(1);
    EXPECT_FALSE(board.player().differs());
    next = "there";
    usleep(1);

    EXPECT_THAT(board.player().difference(), testing::HasSubstr("+  message there"));
}

}  // namespace
}  // namespace trace
