// SPDX-License-Identifier: MIT
#include "sim/conduct.h"

#include <fmt/format.h>

#include <algorithm>

namespace sim {

namespace {

using Operation = board::HostCall::Operation;

// A rest of the driver's thread that ends a poll; its sleeps within one are shorter, but for one of
// 40 ms in a re-connect.
constexpr std::uint64_t rest_us = 30'000;
constexpr std::uint64_t shortest_rest_us = 40'000;
constexpr std::uint64_t longest_rest_us = 75'000;
constexpr unsigned most_idle_rests = 2;

// A running thread is later than that only when it is put aside.
constexpr std::uint64_t latest_first_poll_ns = 3'000'000'000;

// Of sleep that a call asks for. The tuner takes 100 ms to wake and 50 to fall asleep; a start
// takes 110 ms more.
constexpr std::uint64_t longest_start_us = 300'000;
constexpr std::uint64_t longest_waking_us = 150'000;
constexpr std::uint64_t longest_end_us = 100'000;

bool may_use_bus(Operation operation) {
    return operation == Operation::init || operation == Operation::tune ||
           operation == Operation::finalize;
}

std::string in_words(const std::optional<board::WantedChannel> &channel) {
    return channel
               ? fmt::format("{} MHz, {} ksym/s, system {}, {} V, tone {}, port {}",
                             channel->if_mhz, channel->symbol_rate_ksps, channel->delivery_system,
                             channel->volts, channel->tone ? "on" : "off", channel->switch_port)
               : "nothing";
}

}  // namespace

void Conduct::complain(Offence offence, const std::string &text) {
    watch_->complain(offence, clock_->now_ns(), text);
}

Conduct::Life *Conduct::life_of(const void *tuner) {
    const auto found = std::find_if(lives_.begin(), lives_.end(),
                                    [tuner](const Life &life) { return life.tuner == tuner; });
    return found == lives_.end() ? nullptr : &*found;
}

Conduct::Life *Conduct::life_of_thread(unsigned thread) {
    const auto found = std::find_if(lives_.begin(), lives_.end(),
                                    [thread](const Life &life) { return life.thread == thread; });
    return found == lives_.end() ? nullptr : &*found;
}

void Conduct::begin(const board::HostCall &call) {
    is_silent_ = is_forsaken_;
    if (is_silent_ || !may_use_bus(call.operation)) {
        return;
    }
    if (const Life *life = life_of(call.tuner)) {
        judge_rest(*life);
    }
    use_ = Use{.operation = call.operation,
               .thread = board::VirtualClock::thread_number(),
               .thread_name = board::VirtualClock::thread_name(),
               .threads_before = clock_->created_threads(),
               .finds_chips_asleep = chips_sleep_};
    intrusion_.reset();
    chips_sleep_ = chips_sleep_ && call.operation == Operation::finalize;
}

void Conduct::end(const board::HostCall &call, const Aftermath &aftermath) {
    if (is_silent_) {
        return;
    }
    judge_mutex();
    judge_joins();
    judge_answer(call);
    switch (call.operation) {
        case Operation::init:
            end_init(call);
            break;
        case Operation::tune:
            end_tune(call, aftermath);
            break;
        case Operation::finalize:
            end_finalize(call, aftermath);
            break;
        case Operation::get_lock:
            judge_claim(call, aftermath);
            if (Life *const life = life_of(call.tuner)) {
                judge_kept_lock(*life, call);
            }
            break;
        case Operation::free:
            if (aftermath.bus_open) {
                complain(Offence::bus_left_open, "free returned without closing the bus");
            }
            std::erase_if(lives_, [&call](const Life &life) { return life.tuner == call.tuner; });
            break;
        case Operation::get_signal:
            break;
    }
    if (may_use_bus(call.operation)) {
        judge_waits();
        use_.reset();
    }
}

void Conduct::end_init(const board::HostCall &call) {
    std::erase_if(lives_, [&call](const Life &life) { return life.tuner == call.tuner; });
    if (call.answer == 0 || !use_) {
        return;
    }
    if (chips_are_up_ && use_->writes != 0) {
        complain(
            Offence::chips_disturbed,
            fmt::format("init wrote {} times to chips that another Tuner has up", use_->writes));
    }
    chips_are_up_ = true;
    Life life{.tuner = call.tuner};
    if (clock_->created_threads() > use_->threads_before) {
        life.thread = clock_->created_threads();
    }
    lives_.push_back(life);
}

// One that left the bus alone was refused, or asked for what is there already.
void Conduct::end_tune(const board::HostCall &call, const Aftermath &aftermath) {
    Life *const life = life_of(call.tuner);
    if (life != nullptr && call.wanted) {
        judge_set_up(*life, *call.wanted);
    }
    if (use_ && use_->transfers == 0) {
        judge_claim(call, aftermath);
    } else if (life != nullptr) {
        // The thread parks behind a poll, perhaps one that the host has not asked about. A lock may
        // come or go while that poll asks for several things.
        if (life->polls != 0) {
            life->kept = aftermath.told_lock_ns >= life->poll_ns;
        }
        const bool both = life->kept == true && aftermath.told_none_ns >= life->poll_ns;
        if (both || life->answer != life->kept) {
            life->kept.reset();
        }
        life->phase = Phase::tuned;
        life->tuned_ns = clock_->now_ns();
        life->rest_us = 0;
        life->rests = 0;
        life->transfers = 0;
        life->polls = 0;
    }
}

// Without its thread a Tuner tunes nothing.
void Conduct::judge_set_up(Life &life, const board::WantedChannel &wanted) {
    if (!use_ || life.phase == Phase::ended || life.thread == board::Schedule::outside) {
        return;
    }
    const bool is_another = wanted.receivable && life.channel != wanted;
    const bool is_set_up = use_->transfers != 0;
    if (is_set_up && !is_another) {
        complain(Offence::set_up_in_vain,
                 fmt::format("a tune to {} used the bus: that is {}", in_words(wanted),
                             wanted.receivable ? "what is tuned" : "to be refused"));
    } else if (is_another && !is_set_up) {
        complain(Offence::not_set_up, fmt::format("a tune to {} did nothing, and {} is tuned",
                                                  in_words(wanted), in_words(life.channel)));
    }
    if (wanted.receivable) {
        life.channel = wanted;
    }
}

// A chip that did not hear cannot be blamed on the driver, its GPIO line can.
void Conduct::end_finalize(const board::HostCall &call, const Aftermath &aftermath) {
    if (Life *const life = life_of(call.tuner)) {
        judge_thread(*life);
        life->phase = Phase::ended;
    }
    chips_sleep_ = aftermath.demodulator_asleep && aftermath.tuner_asleep;
    chips_are_up_ = false;
    if (use_ && use_->refused != 0) {
        return;
    }
    if (!aftermath.supply_off) {
        complain(Offence::supply_left_on, "finalize returned and the LNB is still supplied");
    }
    if (!aftermath.demodulator_asleep || !aftermath.tuner_asleep) {
        complain(Offence::chip_left_awake,
                 fmt::format("finalize returned and the {} is not powered down",
                             aftermath.demodulator_asleep ? "tuner" : "demodulator"));
    }
}

void Conduct::judge_thread(const Life &life) {
    if (life.thread != board::Schedule::outside && clock_->holds_thread(life.thread)) {
        complain(Offence::thread_left_running,
                 fmt::format("finalize returned and thread{} has not been joined", life.thread));
    }
}

// A thread that was never seen at work since the last tune.
void Conduct::judge_rest(const Life &life) {
    if (life.phase == Phase::tuned && life.polls == 0 && life.transfers == 0 &&
        clock_->now_ns() - life.tuned_ns > latest_first_poll_ns + clock_->faults().pause_ns) {
        complain(Offence::not_watched, "nobody polled the channel since it was tuned");
    }
}

// Until the first complete poll the status is that of the channel before, which hosts know.
void Conduct::judge_claim(const board::HostCall &call, const Aftermath &aftermath) {
    if (call.answer != 1) {
        return;
    }
    const Life *const life = life_of(call.tuner);
    if (life != nullptr && life->phase == Phase::ended) {
        return;  // nobody asks then
    }
    if (life == nullptr || life->phase == Phase::started) {
        complain(Offence::lock_claimed,
                 fmt::format("{} tells a lock and no channel is tuned", to_string(call.operation)));
    } else if (life->polls != 0 && aftermath.told_lock_ns < life->complete_poll_ns) {
        complain(Offence::lock_claimed,
                 fmt::format("{} tells a lock and the chip told none since {:.3f} ms",
                             to_string(call.operation),
                             static_cast<double>(life->complete_poll_ns) * 1e-6));
    }
}

// What is kept is known where the host asked before the tune and the poll after that saw the same.
void Conduct::judge_kept_lock(Life &life, const board::HostCall &call) {
    const bool answer = call.answer == 1;
    if (life.phase == Phase::tuned && life.polls == 0 && life.kept && answer != *life.kept) {
        complain(Offence::lock_not_kept,
                 fmt::format("get_lock tells {} lock and nobody has polled since the tune, before "
                             "which it told {}",
                             answer ? "a" : "no", answer ? "none" : "one"));
    }
    life.answer = answer;
}

void Conduct::judge_answer(const board::HostCall &call) {
    const std::uint32_t least = call.operation == Operation::finalize ? 1 : 0;
    const std::uint32_t most = call.operation == Operation::get_signal ? 0 : 1;
    if (call.operation != Operation::free && (call.answer < least || call.answer > most)) {
        complain(Offence::answer_unknown,
                 fmt::format("{} answers {}", to_string(call.operation), call.answer));
    }
}

// A tune waits for the thread too, as long as that takes.
void Conduct::judge_waits() {
    if (!use_ || use_->operation == Operation::tune) {
        return;
    }
    std::uint64_t longest_us = longest_start_us;
    if (use_->operation == Operation::finalize) {
        longest_us = longest_end_us;
    } else if (use_->finds_chips_asleep) {
        longest_us = longest_waking_us;
    }
    if (use_->asked_us > longest_us) {
        complain(Offence::host_kept_waiting,
                 fmt::format("{} slept for {} ms, where {} are enough", to_string(use_->operation),
                             use_->asked_us / 1'000, longest_us / 1'000));
    }
}

// A thread gives up its turn while it sends, receives or sleeps: only then others find it holding
// what they need.
void Conduct::judge_mutex() {
    if (clock_->blocked_locks() != blocked_locks_) {
        blocked_locks_ = clock_->blocked_locks();
        complain(Offence::mutex_held,
                 "a thread had to wait for a mutex while its owner used the bus or slept");
    }
}

void Conduct::judge_joins() {
    if (clock_->vain_joins() != vain_joins_) {
        vain_joins_ = clock_->vain_joins();
        complain(Offence::thread_joined_again, "a thread was joined that had been joined before");
    }
}

void Conduct::judge_transfer(const Transfer &transfer, unsigned thread) {
    if (use_ && thread == use_->thread) {
        ++use_->transfers;
        use_->writes += transfer.kind == Transfer::Kind::write ? 1 : 0;
        use_->refused += transfer.acknowledged || transfer.kind == Transfer::Kind::probe ? 0 : 1;
        if (intrusion_) {
            complain(Offence::two_threads, *intrusion_);
            intrusion_.reset();
        }
        return;
    }
    if (use_ && use_->transfers != 0 && !intrusion_) {
        note_intrusion(transfer);
    }
    if (Life *const life = life_of_thread(thread)) {
        note_poll(*life, transfer);
    } else if (use_ && use_->operation == Operation::init && thread > use_->threads_before &&
               thread != board::Schedule::outside) {
        complain_of_early_poll(thread, transfer);
    }
}

void Conduct::complain_of_early_poll(unsigned thread, const Transfer &transfer) {
    complain(Offence::polled_untuned, fmt::format("thread{}: {}", thread, to_string(transfer)));
}

void Conduct::note_intrusion(const Transfer &transfer) {
    intrusion_ = fmt::format("{} at {}, amid the {} of {}", board::VirtualClock::thread_name(),
                             to_string(transfer), to_string(use_->operation), use_->thread_name);
}

void Conduct::note_poll(Life &life, const Transfer &transfer) {
    if (life.phase == Phase::ended) {
        complain(Offence::thread_left_running,
                 fmt::format("after finalize, thread{}: {}", life.thread, to_string(transfer)));
    } else if (life.phase == Phase::started) {
        complain_of_early_poll(life.thread, transfer);
    }
    if (life.transfers == 0) {
        begin_poll(life);
    }
    count_transfer(life);
}

void Conduct::complain_of_no_rest(Life &life) {
    life.transfers = 1;
    complain(Offence::polling_pace,
             fmt::format("{} transfers without a rest", most_transfers_without_rest));
}

void Conduct::begin_poll(Life &life) {
    life.poll_ns = clock_->now_ns();
    const bool judged = life.phase == Phase::tuned && life.polls != 0 && !use_;
    if (judged && (life.rest_us < shortest_rest_us || life.rest_us > longest_rest_us)) {
        complain(Offence::polling_pace, fmt::format("{:.1f} ms of sleep between two polls",
                                                    static_cast<double>(life.rest_us) * 1e-3));
    }
}

void Conduct::note_supply_off(bool locked) {
    if (locked && use_ && use_->operation == Operation::finalize && use_->refused == 0) {
        complain(Offence::supply_order,
                 "the LNB was switched off under a lock, before the demodulator sleeps");
    }
}

void Conduct::note_wait(std::uint32_t asked_us) {
    if (is_silent_) {
        return;
    }
    const unsigned thread = board::VirtualClock::thread_number();
    if (use_ && thread == use_->thread) {
        use_->asked_us += asked_us;
    }
    if (Life *const life = life_of_thread(thread)) {
        note_rest(*life, asked_us);
    }
}

void Conduct::note_rest(Life &life, std::uint32_t asked_us) {
    life.rest_us += asked_us;
    if (life.rest_us < rest_us) {
        return;
    }
    if (life.transfers != 0) {
        life.transfers = 0;
        life.complete_poll_ns = life.poll_ns;
        ++life.polls;
    }
    if (++life.rests > most_idle_rests && life.phase == Phase::tuned && !use_) {
        complain(Offence::not_watched,
                 fmt::format("thread{} sleeps again and has not polled the channel tuned at "
                             "{:.3f} ms",
                             life.thread, static_cast<double>(life.tuned_ns) * 1e-6));
    }
}

}  // namespace sim
