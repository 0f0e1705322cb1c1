// SPDX-License-Identifier: MIT
#pragma once

#include <pthread.h>

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <limits>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>

#include "board/chance.h"
#include "board/system_time.h"
#include "board/time_faults.h"

namespace board {

// The turns behind VirtualClock.
//
// The time is written by the thread whose turn it is, and handing over the turn orders what the
// threads see of it: so it is read and spent without the mutex, and a thread that would wake first
// again sleeps without it.
class Schedule {
 public:
    Schedule();
    Schedule(const Schedule &) = delete;
    Schedule &operator=(const Schedule &) = delete;
    ~Schedule();

    // Of the process and its machine; the world's goes on while they are suspended.
    [[nodiscard]] std::uint64_t now_ns() const { return now_ns_.load(std::memory_order_relaxed); }
    [[nodiscard]] std::uint64_t world_ns() const {
        return now_ns() + suspended_ns_.load(std::memory_order_relaxed);
    }
    void spend_ns(std::uint64_t duration_ns) {
        note_spent(duration_ns);
        advance_to(now_ns() + duration_ns);
        meet_switch_point();
    }
    void sleep_ns(std::uint64_t duration_ns);
    void spend_asleep_ns(std::uint64_t duration_ns) {
        sleep_ns(duration_ns);
        note_spent(duration_ns);
    }

    // The same as sleep_ns until a signal comes. Returns whether none did.
    bool sleep_or_signal_ns(std::uint64_t duration_ns);

    // A moment at which another thread may take the turn.
    void meet_switch_point() {
        const std::uint32_t left = points_to_pause_.load(std::memory_order_relaxed) - 1;
        points_to_pause_.store(left, std::memory_order_relaxed);
        if (left == 0 || first_wake_up_ns_.load(std::memory_order_relaxed) <= now_ns())
            [[unlikely]] {
            switch_by_chance(left == 0);
        }
    }

    // What is done when the time that no thread spends goes on for so long before patience ends.
    void have_patience(std::uint64_t limit_ns, std::function<void()> lose);
    [[nodiscard]] bool has_patience() const { return patience_.has_value(); }
    void end_patience() { patience_.reset(); }

    void befall(const TimeFaults &faults);
    [[nodiscard]] const TimeFaults &faults() const { return faults_; }
    [[nodiscard]] bool has_paused() const { return has_paused_; }
    void follow_wall_time(bool follow) { follow_wall_.store(follow, std::memory_order_relaxed); }
    [[nodiscard]] bool follows_wall_time() const {
        return follow_wall_.load(std::memory_order_relaxed);
    }
    [[nodiscard]] static std::string thread_name();

    // 0 for the first one, then in order of creation; threads of others have none.
    static constexpr unsigned outside = std::numeric_limits<unsigned>::max();
    [[nodiscard]] static unsigned thread_number() { return this_number_; }

    // Whether the calling thread is a registered one at work of its own.
    [[nodiscard]] static bool is_at_work();

    int create_thread(pthread_t *thread, const pthread_attr_t *attributes, void *(*start)(void *),
                      void *argument);
    int join_thread(pthread_t thread, void **result);
    [[nodiscard]] unsigned created_threads() const { return created_; }
    [[nodiscard]] bool holds_thread(unsigned number) const;
    [[nodiscard]] unsigned vain_joins() const { return vain_joins_; }

    int lock_mutex(pthread_mutex_t *mutex);
    static void note_unlock();
    [[nodiscard]] std::uint64_t blocked_locks() const { return blocked_locks_; }

    // One registered thread: whether it has the turn, and who waits for its end.
    struct Member {
        std::string name;
        unsigned number = 0;  // 0 for the first
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
    // Of the schedule itself; waiting for it is not giving up the turn.
    class Lock;
    struct WakeUp {
        std::uint64_t at_ns;
        std::uint64_t order;
        bool operator<(const WakeUp &other) const {
            return at_ns != other.at_ns ? at_ns < other.at_ns : order < other.order;
        }
    };

    static constexpr std::uint64_t never = std::numeric_limits<std::uint64_t>::max();
    inline static constinit thread_local unsigned this_number_ = outside;

    static void be(const std::shared_ptr<Member> &member);
    void queue(const std::shared_ptr<Member> &member, std::uint64_t at_ns);
    std::shared_ptr<Member> take_first();
    void note_first();
    void pass_turn();
    static void await_turn(Lock &lock, Member &member);
    void switch_by_chance(bool is_last_before_pause);
    void give_up_turn_until(std::uint64_t at_ns);
    [[nodiscard]] std::uint64_t delay_ns();
    [[nodiscard]] std::uint64_t next_signal_ns() const;
    void live_through_absences(std::uint64_t &at_ns);
    void lose_patience_by(std::uint64_t at_ns);
    void note_spent(std::uint64_t duration_ns) {
        spent_ns_.store(spent_ns_.load(std::memory_order_relaxed) + duration_ns,
                        std::memory_order_relaxed);
    }
    void plan_absence();

    void advance_to(std::uint64_t at_ns) {
        const std::uint64_t from_ns = now_ns();
        if (at_ns <= from_ns) {
            return;
        }
        if (at_ns >= next_absence_ns_) [[unlikely]] {
            live_through_absences(at_ns);
        }
        if (follow_wall_.load(std::memory_order_relaxed)) {
            system_sleep_ns(at_ns - from_ns);
        }
        now_ns_.store(at_ns, std::memory_order_relaxed);
    }

    struct Patience {
        std::uint64_t until_ns;         // while nothing is spent
        std::uint64_t spent_before_ns;  // what has been when it began
        std::function<void()> lose;
    };

    // Everything of patience and faults is used by the thread whose turn it is.
    std::optional<Patience> patience_;
    TimeFaults faults_;
    Chance chance_{1};
    bool has_paused_ = false;
    std::size_t absences_met_ = 0;
    std::uint64_t next_absence_ns_ = never;
    std::atomic<std::uint32_t> points_to_pause_{0};  // counted down; from 0 it takes for ever
    std::atomic<std::uint64_t> now_ns_{0};
    std::atomic<std::uint64_t> suspended_ns_{0};
    std::atomic<std::uint64_t> spent_ns_{0};  // by transfers, and while no thread could run
    std::atomic<std::uint64_t> first_wake_up_ns_{never};  // of sleepers_
    std::atomic<bool> follow_wall_{false};
    mutable std::mutex mutex_;
    std::map<WakeUp, std::shared_ptr<Member>> sleepers_;
    std::map<pthread_t, std::shared_ptr<Member>> members_;
    std::uint64_t next_order_ = 0;
    unsigned created_ = 0;
    std::set<pthread_t> joined_;
    unsigned vain_joins_ = 0;
    std::uint64_t blocked_locks_ = 0;
};

}  // namespace board
