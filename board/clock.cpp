// SPDX-License-Identifier: MIT
#include "board/clock.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "board/schedule.h"
#include "board/system_time.h"

namespace board {

namespace {

VirtualClock *clock_in_force = nullptr;
thread_local std::shared_ptr<VirtualClock::Schedule::Member> this_member;

}  // namespace

VirtualClock::Schedule::Schedule() {
    auto member = std::make_shared<Member>();
    member->name = "main";
    member->handle = pthread_self();
    member->has_turn = true;
    this_member = member;
}

std::uint64_t VirtualClock::Schedule::now_ns() const {
    const Lock lock(mutex_);
    return now_ns_;
}

void VirtualClock::Schedule::spend_ns(std::uint64_t duration_ns) {
    const Lock lock(mutex_);
    advance_to(now_ns_ + duration_ns);
}

void VirtualClock::Schedule::sleep_ns(std::uint64_t duration_ns) {
    Lock lock(mutex_);
    const auto member = this_member;
    queue(member, now_ns_ + duration_ns);
    pass_turn();
    await_turn(lock, *member);
}

void VirtualClock::Schedule::follow_wall_time(bool follow) {
    const Lock lock(mutex_);
    follow_wall_ = follow;
}

std::string VirtualClock::Schedule::thread_name() {
    return this_member ? this_member->name : "outside";
}

namespace {

struct ThreadStart {
    VirtualClock::Schedule *schedule;
    std::shared_ptr<VirtualClock::Schedule::Member> member;
    void *(*start)(void *);
    void *argument;
};

void *run_member(void *opaque) {
    const std::unique_ptr<ThreadStart> start(static_cast<ThreadStart *>(opaque));
    start->schedule->begin_member(start->member);
    void *result = start->start(start->argument);
    start->schedule->end_member();
    return result;
}

}  // namespace

int VirtualClock::Schedule::create_thread(pthread_t *thread, const pthread_attr_t *attributes,
                                          void *(*start)(void *), void *argument) {
    auto member = std::make_shared<Member>();
    auto record = std::make_unique<ThreadStart>(ThreadStart{this, member, start, argument});
    const Lock lock(mutex_);
    const int error = system_pthread_create(thread, attributes, run_member, record.get());
    if (error != 0) {
        return error;
    }
    static_cast<void>(record.release());  // run_member owns it now
    member->name = "thread" + std::to_string(++created_);
    member->handle = *thread;
    members_[*thread] = member;
    queue(member, now_ns_);
    return 0;
}

void VirtualClock::Schedule::begin_member(const std::shared_ptr<Member> &member) {
    Lock lock(mutex_);
    this_member = member;
    await_turn(lock, *member);
}

void VirtualClock::Schedule::end_member() {
    const Lock lock(mutex_);
    this_member->ended = true;
    if (this_member->joiner) {
        queue(this_member->joiner, now_ns_);
    }
    pass_turn();
    this_member.reset();
}

int VirtualClock::Schedule::join_thread(pthread_t thread, void **result) {
    {
        Lock lock(mutex_);
        const auto found = members_.find(thread);
        if (found != members_.end()) {
            const auto target = found->second;
            const auto self = this_member;
            if (!target->ended) {
                target->joiner = self;
                pass_turn();
                await_turn(lock, *self);
            }
            members_.erase(thread);
        }
    }
    return system_pthread_join(thread, result);
}

void VirtualClock::Schedule::queue(const std::shared_ptr<Member> &member, std::uint64_t at_ns) {
    sleepers_.emplace(WakeUp{at_ns, next_order_++}, member);
}

void VirtualClock::Schedule::pass_turn() {
    if (this_member) {
        this_member->has_turn = false;
    }
    if (sleepers_.empty()) {
        std::fputs("virtual clock: every thread waits for another one to end\n", stderr);
        std::abort();
    }
    const auto first = sleepers_.begin();
    advance_to(first->first.at_ns);
    const auto member = first->second;
    sleepers_.erase(first);
    member->has_turn = true;
    member->turn.notify_one();
}

void VirtualClock::Schedule::await_turn(Lock &lock, Member &member) {
    member.turn.wait(lock, [&member] { return member.has_turn; });
}

void VirtualClock::Schedule::advance_to(std::uint64_t at_ns) {
    if (at_ns <= now_ns_) {
        return;
    }
    if (follow_wall_) {
        system_sleep_ns(at_ns - now_ns_);
    }
    now_ns_ = at_ns;
}

VirtualClock::VirtualClock() : schedule_(std::make_unique<Schedule>()) {
    if (clock_in_force != nullptr) {
        std::fputs("virtual clock: a second clock while one is in force\n", stderr);
        std::abort();
    }
    clock_in_force = this;
}

VirtualClock::~VirtualClock() {
    clock_in_force = nullptr;
    this_member.reset();
}

std::uint64_t VirtualClock::now_ns() const { return schedule_->now_ns(); }
void VirtualClock::spend_ns(std::uint64_t duration_ns) { schedule_->spend_ns(duration_ns); }
void VirtualClock::sleep_ns(std::uint64_t duration_ns) { schedule_->sleep_ns(duration_ns); }
void VirtualClock::follow_wall_time(bool follow) { schedule_->follow_wall_time(follow); }
std::string VirtualClock::thread_name() { return Schedule::thread_name(); }
VirtualClock *VirtualClock::current() { return clock_in_force; }

int VirtualClock::create_thread(pthread_t *thread, const pthread_attr_t *attributes,
                                void *(*start)(void *), void *argument) {
    return schedule_->create_thread(thread, attributes, start, argument);
}

int VirtualClock::join_thread(pthread_t thread, void **result) {
    return schedule_->join_thread(thread, result);
}

std::uint64_t wall_now_ns() {
    timespec now{};
    syscall(SYS_clock_gettime, CLOCK_MONOTONIC, &now);
    return static_cast<std::uint64_t>(now.tv_sec) * 1'000'000'000U +
           static_cast<std::uint64_t>(now.tv_nsec);
}

}  // namespace board
