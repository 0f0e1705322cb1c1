// SPDX-License-Identifier: MIT
#include "board/schedule.h"

#include <cstdio>
#include <cstdlib>

namespace board {

namespace {

thread_local std::shared_ptr<Schedule::Member> this_member;

}  // namespace

Schedule::Schedule() {
    auto member = std::make_shared<Member>();
    member->name = "main";
    member->handle = pthread_self();
    member->has_turn = true;
    this_member = member;
}

Schedule::~Schedule() { this_member.reset(); }

void Schedule::sleep_ns(std::uint64_t duration_ns) {
    const std::uint64_t at_ns = now_ns() + duration_ns;
    if (at_ns < first_wake_up_ns_.load(std::memory_order_relaxed)) {
        advance_to(at_ns);
        return;
    }
    Lock lock(mutex_);
    const auto member = this_member;
    queue(member, at_ns);
    pass_turn();
    await_turn(lock, *member);
}

std::string Schedule::thread_name() { return this_member ? this_member->name : "outside"; }

namespace {

struct ThreadStart {
    Schedule *schedule;
    std::shared_ptr<Schedule::Member> member;
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

int Schedule::create_thread(pthread_t *thread, const pthread_attr_t *attributes,
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
    queue(member, now_ns());
    return 0;
}

void Schedule::begin_member(const std::shared_ptr<Member> &member) {
    Lock lock(mutex_);
    this_member = member;
    await_turn(lock, *member);
}

void Schedule::end_member() {
    const Lock lock(mutex_);
    this_member->ended = true;
    if (this_member->joiner) {
        queue(this_member->joiner, now_ns());
    }
    pass_turn();
    this_member.reset();
}

int Schedule::join_thread(pthread_t thread, void **result) {
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

void Schedule::queue(const std::shared_ptr<Member> &member, std::uint64_t at_ns) {
    sleepers_.emplace(WakeUp{at_ns, next_order_++}, member);
    note_first();
}

std::shared_ptr<Schedule::Member> Schedule::take_first() {
    const auto first = sleepers_.begin();
    auto member = first->second;
    sleepers_.erase(first);
    note_first();
    return member;
}

void Schedule::note_first() {
    first_wake_up_ns_.store(sleepers_.empty() ? never : sleepers_.begin()->first.at_ns,
                            std::memory_order_relaxed);
}

void Schedule::pass_turn() {
    if (this_member) {
        this_member->has_turn = false;
    }
    if (sleepers_.empty()) {
        std::fputs("virtual clock: every thread waits for another one to end\n", stderr);
        std::abort();
    }
    advance_to(sleepers_.begin()->first.at_ns);
    const auto member = take_first();
    member->has_turn = true;
    member->turn.notify_one();
}

void Schedule::await_turn(Lock &lock, Member &member) {
    member.turn.wait(lock, [&member] { return member.has_turn; });
}

}  // namespace board
