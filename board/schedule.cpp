// SPDX-License-Identifier: MIT
#include "board/schedule.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <utility>

namespace board {

namespace {

thread_local std::shared_ptr<Schedule::Member> this_member;
constinit thread_local bool is_in_schedule = false;
constinit thread_local unsigned mutexes_held = 0;

}  // namespace

void Schedule::be(const std::shared_ptr<Member> &member) {
    this_member = member;
    this_number_ = member ? member->number : outside;
}

class Schedule::Lock : public std::unique_lock<std::mutex> {
 public:
    explicit Lock(std::mutex &mutex) : unique_lock(mutex, std::defer_lock) {
        is_in_schedule = true;
        lock();
    }
    Lock(const Lock &) = delete;
    Lock &operator=(const Lock &) = delete;
    ~Lock() {
        unlock();
        is_in_schedule = false;
    }
};

Schedule::Schedule() {
    auto member = std::make_shared<Member>();
    member->name = "main";
    member->handle = pthread_self();
    member->has_turn = true;
    be(member);
}

Schedule::~Schedule() { be(nullptr); }

void Schedule::sleep_ns(std::uint64_t duration_ns) {
    give_up_turn_until(now_ns() + duration_ns + delay_ns());
}

void Schedule::give_up_turn_until(std::uint64_t at_ns) {
    lose_patience_by(at_ns);
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

bool Schedule::sleep_or_signal_ns(std::uint64_t duration_ns) {
    const std::uint64_t now = world_ns();
    const std::uint64_t signal_ns = next_signal_ns();
    const bool undisturbed = signal_ns - now >= duration_ns;
    sleep_ns(undisturbed ? duration_ns : signal_ns - now);
    return undisturbed;
}

std::string Schedule::thread_name() { return this_member ? this_member->name : "outside"; }

bool Schedule::is_at_work() { return this_number_ != outside && !is_in_schedule; }

void Schedule::have_patience(std::uint64_t limit_ns, std::function<void()> lose) {
    patience_ = {now_ns() + limit_ns, spent_ns_.load(std::memory_order_relaxed), std::move(lose)};
}

void Schedule::lose_patience_by(std::uint64_t at_ns) {
    if (!patience_) {
        return;
    }
    const std::uint64_t spent_ns =
        spent_ns_.load(std::memory_order_relaxed) - patience_->spent_before_ns;
    if (at_ns > patience_->until_ns + spent_ns) {
        const auto lose = std::move(patience_->lose);
        patience_.reset();
        lose();
    }
}

void Schedule::befall(const TimeFaults &faults) {
    faults_ = faults;
    chance_ = Chance(faults.seed);
    points_to_pause_ = faults.pause_at;
    has_paused_ = false;
    absences_met_ = 0;
    plan_absence();
}

// Threads are threads of this process only when this clock made them.
void Schedule::switch_by_chance(bool is_last_before_pause) {
    if (!is_at_work()) {
        return;
    }
    if (is_last_before_pause && faults_.pause_at != 0) {
        has_paused_ = true;
        give_up_turn_until(now_ns() + faults_.pause_ns);
        return;
    }
    if (chance_.uniform() < faults_.preemption) {
        give_up_turn_until(now_ns());
    }
}

std::uint64_t Schedule::delay_ns() {
    const auto longest_ns = static_cast<double>(faults_.longest_delay_ns);
    return longest_ns > 0 ? static_cast<std::uint64_t>(longest_ns * chance_.uniform()) : 0;
}

// In the world's time.
std::uint64_t Schedule::next_signal_ns() const {
    const std::uint64_t now = world_ns();
    const bool is_first_thread = thread_number() == 0;
    std::uint64_t next_ns = never;
    for (const TimeFaults::Signals &signals : faults_.signals) {
        if (is_first_thread == signals.first_thread_blocks) {
            continue;
        }
        const std::uint64_t from_ns = signals.span.from_ns;
        const std::uint64_t at_ns =
            now < from_ns ? from_ns
                          : from_ns + ((now - from_ns) / signals.every_ns + 1) * signals.every_ns;
        if (signals.span.contains(at_ns)) {
            next_ns = std::min(next_ns, at_ns);
        }
    }
    return next_ns;
}

void Schedule::live_through_absences(std::uint64_t &at_ns) {
    while (at_ns >= next_absence_ns_) {
        const TimeFaults::Absence &absence = faults_.absences[absences_met_++];
        if (!absence.suspended) {
            at_ns = std::max(at_ns, next_absence_ns_ + absence.length_ns);
            note_spent(absence.length_ns);
        } else {
            suspended_ns_.fetch_add(absence.length_ns, std::memory_order_relaxed);
            if (follow_wall_.load(std::memory_order_relaxed)) {
                system_sleep_ns(absence.length_ns);
            }
        }
        plan_absence();
    }
}

// Meet one that is overdue at the next step of time.
void Schedule::plan_absence() {
    if (absences_met_ == faults_.absences.size()) {
        next_absence_ns_ = never;
        return;
    }
    const std::uint64_t at_ns = faults_.absences[absences_met_].at_ns;
    next_absence_ns_ = at_ns - std::min(at_ns, suspended_ns_.load(std::memory_order_relaxed));
}

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
    member->number = ++created_;
    member->name = "thread" + std::to_string(created_);
    member->handle = *thread;
    members_[*thread] = member;
    joined_.erase(*thread);
    queue(member, now_ns());
    return 0;
}

void Schedule::begin_member(const std::shared_ptr<Member> &member) {
    Lock lock(mutex_);
    be(member);
    await_turn(lock, *member);
}

void Schedule::end_member() {
    const Lock lock(mutex_);
    this_member->ended = true;
    if (this_member->joiner) {
        queue(this_member->joiner, now_ns());
    }
    pass_turn();
    be(nullptr);
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
            joined_.insert(thread);
        } else if (joined_.contains(thread)) {
            ++vain_joins_;
            return ESRCH;
        }
    }
    return system_pthread_join(thread, result);
}

bool Schedule::holds_thread(unsigned number) const {
    const Lock lock(mutex_);
    return std::any_of(members_.begin(), members_.end(),
                       [number](const auto &entry) { return entry.second->number == number; });
}

// The owner of a mutex that is taken waits for its turn. Nobody takes the turn of a thread that
// holds another one: only what its owner does with the bus or the time is looked at.
int Schedule::lock_mutex(pthread_mutex_t *mutex) {
    constexpr std::uint64_t look_again_ns = 10'000;
    if (mutexes_held == 0) {
        meet_switch_point();
    }
    int error = pthread_mutex_trylock(mutex);
    blocked_locks_ += error == EBUSY ? 1 : 0;
    while (error == EBUSY) {
        give_up_turn_until(now_ns() + look_again_ns);
        error = pthread_mutex_trylock(mutex);
    }
    mutexes_held += error == 0 ? 1 : 0;
    return error;
}

void Schedule::note_unlock() { mutexes_held -= std::min(mutexes_held, 1U); }

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
    lose_patience_by(sleepers_.empty() ? never : sleepers_.begin()->first.at_ns);
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
