// SPDX-License-Identifier: MIT

// A host whose clock fails, whose memory is exhausted and which has no thread to give when a test
// says so. Threads and time are the system's otherwise, except that a sleep only gives up the
// processor.

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sched.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>

#include "board/system_time.h"
#include "ds3000/hw/driver_record.h"
#include "tests/plugin/loaded_plugin.h"
#include "tests/plugin/register_board.h"
#include "tests/plugin/requests.h"

namespace {

std::atomic<bool> clock_fails{false};
std::atomic<bool> threads_are_short{false};
std::atomic<bool> worker_has_slept{false};
const pthread_t main_thread = pthread_self();

// Counts allocations while `watched` and fails the one whose number `fail_at` is, from 1.
struct Memory {
    bool watched = false;
    int fail_at = 0;
    int allocations = 0;
    int releases = 0;

    bool refuses() { return watched && ++allocations == fail_at; }
};

Memory memory;

}  // namespace

extern "C" {

void *__libc_malloc(std::size_t size);
void *__libc_calloc(std::size_t count, std::size_t size);
void __libc_free(void *block);

void *malloc(std::size_t size) noexcept { return memory.refuses() ? nullptr : __libc_malloc(size); }

void *calloc(std::size_t count, std::size_t size) noexcept {
    return memory.refuses() ? nullptr : __libc_calloc(count, size);
}

void free(void *block) noexcept {
    memory.releases += memory.watched && block != nullptr ? 1 : 0;
    __libc_free(block);
}

int usleep(useconds_t) {
    if (pthread_equal(pthread_self(), main_thread) == 0) {
        worker_has_slept = true;
    }
    return sched_yield();
}

int clock_gettime(clockid_t clock, timespec *time) noexcept {
    if (clock_fails && clock == CLOCK_MONOTONIC) {
        errno = EINVAL;
        return -1;
    }
    return static_cast<int>(syscall(SYS_clock_gettime, clock, time));
}

int pthread_create(pthread_t *thread, const pthread_attr_t *attributes, void *(*start)(void *),
                   void *argument) noexcept {
    if (threads_are_short) {
        return EAGAIN;
    }
    using Create = int(pthread_t *, const pthread_attr_t *, void *(*)(void *), void *);
    static auto *const create = reinterpret_cast<Create *>(dlsym(RTLD_NEXT, "pthread_create"));
    return create(thread, attributes, start, argument);
}

}  // extern "C"

// This host's threads take no turns.
void board::end_transfer() {}

namespace tests {
namespace {

class PluginFailingHostTest : public testing::Test {
 protected:
    ~PluginFailingHostTest() override {
        memory = {};
        clock_fails = false;
        threads_are_short = false;
        worker_has_slept = false;
        board::set_board(nullptr);
    }

    // What create does when its allocation number `fail_at` fails; 0: none fails.
    Memory create_with_failing(int fail_at, Tuner **tuner) {
        memory = {.watched = true, .fail_at = fail_at};
        *tuner = plugin_.descriptor().create(0);
        memory.watched = false;
        return memory;
    }

    LoadedPlugin plugin_;
};

TEST_F(PluginFailingHostTest, create_allocates_the_tuner_and_its_driver_record) {
    Tuner *tuner = nullptr;

    const Memory used = create_with_failing(0, &tuner);

    ASSERT_NE(tuner, nullptr);
    EXPECT_EQ(used.allocations, 2);
    EXPECT_EQ(used.releases, 0);
    testing::internal::CaptureStderr();
    memory = {.watched = true};
    tuner->free(tuner);
    memory.watched = false;
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(memory.releases, 2);
}

TEST_F(PluginFailingHostTest, create_without_memory_for_the_first_block_returns_null) {
    Tuner *tuner = nullptr;

    const Memory used = create_with_failing(1, &tuner);

    EXPECT_EQ(tuner, nullptr);
    EXPECT_EQ(used.releases, used.allocations - 1) << "a block is left behind";
}

TEST_F(PluginFailingHostTest, create_without_memory_for_the_second_block_returns_null) {
    Tuner *tuner = nullptr;

    const Memory used = create_with_failing(2, &tuner);

    EXPECT_EQ(tuner, nullptr);
    EXPECT_EQ(used.allocations, 2);
    EXPECT_EQ(used.releases, 1) << "the first block is left behind";
}

TEST_F(PluginFailingHostTest, a_thread_that_cannot_be_made_is_not_joined) {
    RegisterBoard board;
    board::set_board(&board);
    threads_are_short = true;
    testing::internal::CaptureStderr();
    Tuner *tuner = plugin_.descriptor().create(0);

    EXPECT_EQ(tuner->init(tuner), 1U);
    EXPECT_EQ(tuner->driver->thread_running, 0U);
    EXPECT_EQ(tuner->driver->idle, 1U);
    EXPECT_EQ(tuner->finalize(tuner), 1U);

    EXPECT_THAT(testing::internal::GetCapturedStderr(), testing::HasSubstr(") already stoped\n"));
    testing::internal::CaptureStderr();
    tuner->free(tuner);
    testing::internal::GetCapturedStderr();
}

TEST_F(PluginFailingHostTest, a_failing_clock_is_reported_and_counts_as_time_0) {
    RegisterBoard board;
    board::set_board(&board);
    testing::internal::CaptureStderr();
    Tuner *tuner = plugin_.descriptor().create(0);
    ASSERT_EQ(tuner->init(tuner), 1U);
    while (!worker_has_slept) {  // it has written its message and is parked
        sched_yield();
    }
    tuner->driver->last_lock_ms = 77;
    clock_fails = true;
    const tune_request request = universal_lnb_request();

    EXPECT_EQ(tuner->tune(tuner, &request), 1U);
    tuner->finalize(tuner);

    clock_fails = false;
    const std::string messages = testing::internal::GetCapturedStderr();
    std::array<char, 64> step{};
    std::snprintf(step.data(), step.size(), "mt_do_tune(%p)\n",
                  static_cast<const void *>(tuner->driver));
    EXPECT_THAT(messages, testing::HasSubstr(std::string(step.data()) +
                                             "clock_gettime: Invalid argument\n"
                                             "tune to 1100 sr(27500) volt(13) hiband(1) "
                                             "switch_pos(0) at 0\n\n"
                                             "clock_gettime: Invalid argument\n"));
    EXPECT_EQ(tuner->driver->last_lock_ms, 0U);
    testing::internal::CaptureStderr();
    tuner->free(tuner);
    testing::internal::GetCapturedStderr();
}

}  // namespace
}  // namespace tests
