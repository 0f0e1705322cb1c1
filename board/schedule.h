// SPDX-License-Identifier: MIT
#pragma once

#include <pthread.h>

#include <condition_variable>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>

namespace board {

// The turns behind VirtualClock.
class Schedule {
 public:
    Schedule();
    Schedule(const Schedule &) = delete;
    Schedule &operator=(const Schedule &) = delete;
    ~Schedule();

    [[nodiscard]] std::uint64_t now_ns() const;
    void spend_ns(std::uint64_t duration_ns);
    void sleep_ns(std::uint64_t duration_ns);
    void follow_wall_time(bool follow);
    [[nodiscard]] static std::string thread_name();

    int create_thread(pthread_t *thread, const pthread_attr_t *attributes, void *(*start)(void *),
                      void *argument);
    int join_thread(pthread_t thread, void **result);

    // One registered thread: whether it has the turn, and who waits for its end.
    struct Member {
        std::string name;
        pthread_t handle{};
        bool has_turn = false;
        bool ended = false;
        std::shared_ptr<Member> joiner;
        std::condition_variable turn;
    };

    // First and last act of a thread that create_thread made.
    void begin_member(const std::shared_ptr<Member> &member);
    void end_member();

 private:
    using Lock = std::unique_lock<std::mutex>;
    struct WakeUp {
        std::uint64_t at_ns;
        std::uint64_t order;
        bool operator<(const WakeUp &other) const {
            return at_ns != other.at_ns ? at_ns < other.at_ns : order < other.order;
        }
    };

    void queue(const std::shared_ptr<Member> &member, std::uint64_t at_ns);
    void pass_turn();
    static void await_turn(Lock &lock, Member &member);
    void advance_to(std::uint64_t at_ns);

    mutable std::mutex mutex_;
    std::map<WakeUp, std::shared_ptr<Member>> sleepers_;
    std::map<pthread_t, std::shared_ptr<Member>> members_;
    std::uint64_t now_ns_ = 0;
    std::uint64_t next_order_ = 0;
    unsigned created_ = 0;
    bool follow_wall_ = false;
};

}  // namespace board
