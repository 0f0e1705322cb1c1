// SPDX-License-Identifier: MIT
#pragma once

#include <gtest/gtest.h>
#include <pthread.h>

#include <cstdint>
#include <ctime>
#include <functional>

namespace tests {

constexpr std::uint64_t ms = 1'000'000;

// A thread of the process, as the driver makes one.
class Thread {
 public:
    explicit Thread(std::function<void()> body) : body_(std::move(body)) {
        EXPECT_EQ(pthread_create(&thread_, nullptr, run, this), 0);
    }
    void join() const { EXPECT_EQ(pthread_join(thread_, nullptr), 0); }

 private:
    static void *run(void *self) {
        static_cast<Thread *>(self)->body_();
        return self;
    }
    std::function<void()> body_;
    pthread_t thread_{};
};

inline std::uint64_t monotonic_ns() {
    timespec time{};
    EXPECT_EQ(clock_gettime(CLOCK_MONOTONIC, &time), 0);
    return static_cast<std::uint64_t>(time.tv_sec) * 1'000'000'000U +
           static_cast<std::uint64_t>(time.tv_nsec);
}

}  // namespace tests
