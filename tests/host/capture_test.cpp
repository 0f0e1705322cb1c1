// SPDX-License-Identifier: MIT
#include "host/terminal/stderr_capture.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <thread>

namespace host {
namespace {

TEST(StandardErrorCapture, hands_over_what_was_written_since_the_last_time) {
    StandardErrorCapture capture;

    std::fputs("first", stderr);
    std::fputs("\n", stderr);
    EXPECT_EQ(capture.take(), "first\n");
    std::fputs("second\n", stderr);
    EXPECT_EQ(::write(STDERR_FILENO, "third\n", 6), 6);
    EXPECT_EQ(capture.take(), "second\nthird\n");
    EXPECT_EQ(capture.take(), "");
}

TEST(StandardErrorCapture, holds_any_amount) {
    StandardErrorCapture capture;

    const std::string line(1000, 'x');
    for (int i = 0; i < 1000; ++i) {
        std::fputs(line.c_str(), stderr);
    }
    EXPECT_EQ(capture.take().size(), 1'000'000U);
}

// A driver's worker thread writes while the host takes what was written so far.
TEST(StandardErrorCapture, loses_nothing_that_is_written_while_it_hands_over) {
    constexpr int lines = 300;
    StandardErrorCapture capture;
    int heard = 0;
    const StandardErrorCapture::Listener listener([&heard](std::string_view) { ++heard; });

    std::atomic<bool> done{false};
    std::thread writer([&done] {
        for (int i = 0; i < lines; ++i) {
            EXPECT_EQ(::write(STDERR_FILENO, "line\n", 5), 5);
            std::this_thread::yield();
        }
        done = true;
    });
    std::string text;
    while (!done) {
        text += capture.take();
    }
    writer.join();
    text += capture.take();

    EXPECT_EQ(text.size(), std::size_t{lines} * 5);
    EXPECT_EQ(heard, lines);
}

TEST(StandardErrorCapture, gives_standard_error_back) {
    testing::internal::CaptureStderr();
    {
        const StandardErrorCapture capture;
        std::fputs("inside\n", stderr);
    }
    std::fputs("outside\n", stderr);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "outside\n");
}

void die_with_a_last_word() {
    const StandardErrorCapture capture;
    std::fputs("the driver's last word\n", stderr);
    std::abort();
}

TEST(StandardErrorCaptureDeathTest, a_dying_process_still_says_what_it_knew) {
    EXPECT_EXIT(die_with_a_last_word(), testing::KilledBySignal(SIGABRT), "the driver's last word");
}

}  // namespace
}  // namespace host
