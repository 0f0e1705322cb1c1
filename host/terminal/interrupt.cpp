// SPDX-License-Identifier: MIT
#include "host/terminal/interrupt.h"

#include <pthread.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <string_view>

#include "host/terminal/failure.h"

namespace host {

namespace {

constexpr std::array<int, 4> interrupts{SIGINT, SIGTERM, SIGHUP, SIGQUIT};

// Wakes a thread from a system call. A single one could come just before the call.
constexpr int nudge = SIGALRM;
constexpr suseconds_t nudge_every_us = 20'000;

std::atomic<bool> interrupted{false};
static_assert(std::atomic<bool>::is_always_lock_free, "the signal handler writes it");

std::atomic<void (*)()> hook{nullptr};
static_assert(std::atomic<void (*)()>::is_always_lock_free, "the signal handler reads it");

std::atomic<void (*)()> last_resort{nullptr};
std::atomic<void (*)()> leave_hook{nullptr};

constexpr unsigned most_nudges = 100;

// A call that may block: each thread has at most one at a time.
struct OpenCall {
    std::atomic<bool> taken{false};
    std::atomic<bool> blocking{false};
    std::atomic<pthread_t> thread{};
    std::atomic<unsigned> nudges{0};
};
static_assert(std::atomic<pthread_t>::is_always_lock_free, "the signal handler reads it");

std::array<OpenCall, BlockingCall::most> open_calls;

bool something_blocks() {
    return std::any_of(open_calls.begin(), open_calls.end(),
                       [](const OpenCall &call) { return call.blocking.load(); });
}

void nudge_every(suseconds_t us) {
    const itimerval interval{{0, us}, {0, us}};
    ::setitimer(ITIMER_REAL, &interval, nullptr);
}

[[noreturn]] void leave() {
    run_leave_hook();
    _exit(static_cast<int>(ExitStatus::cancelled));
}

[[noreturn]] void leave_for_good() {
    run_leave_hook();
    if (void (*const function)() = last_resort.load()) {
        function();
    }
    constexpr std::string_view words =
        "\nds3000-ctl: a call into the kernel does not come back; left without it\n";
    [[maybe_unused]] const ssize_t written = ::write(STDERR_FILENO, words.data(), words.size());
    _exit(static_cast<int>(ExitStatus::cancelled));
}

// Being called is what interrupts the thread that gets the signal; the threads that matter may be
// others. What they get so is not passed on again.
void pass_on_nudge(int, siginfo_t *info, void *) {
    if (info->si_code == SI_TKILL) {
        return;
    }
    for (OpenCall &call : open_calls) {
        if (call.blocking && ++call.nudges > most_nudges) {
            leave_for_good();
        }
        if (call.blocking && pthread_equal(call.thread, pthread_self()) == 0) {
            pthread_kill(call.thread, nudge);
        }
    }
}

void remember_interrupt(int signal) {
    if (interrupted.exchange(true)) {
        if (signal != SIGHUP) {
            leave();
        }
        return;
    }
    if (void (*const function)() = hook.load()) {
        function();
    }
    if (something_blocks()) {
        nudge_every(nudge_every_us);
    }
}

// Without SA_RESTART: a call that blocks is to fail.
void handle(int signal, void (*handler)(int)) {
    struct sigaction action {};
    action.sa_handler = handler;
    ::sigaction(signal, &action, nullptr);
}

void handle_nudges() {
    struct sigaction action {};
    action.sa_sigaction = pass_on_nudge;
    action.sa_flags = SA_SIGINFO;
    ::sigaction(nudge, &action, nullptr);
}

// Shells ignore INT and QUIT for what they run in the background, which is no wish of a person's.
bool stays_ignored(int signal) {
    struct sigaction action {};
    ::sigaction(signal, nullptr, &action);
    return signal == SIGHUP && action.sa_handler == SIG_IGN;
}

}  // namespace

InterruptWatch::InterruptWatch() : interrupted_(interrupted) {
    interrupted = false;
    handle_nudges();
    for (const int signal : interrupts) {
        if (!stays_ignored(signal)) {
            handle(signal, remember_interrupt);
        }
    }
}

InterruptWatch::~InterruptWatch() {
    for (const int signal : interrupts) {
        if (!stays_ignored(signal)) {
            handle(signal, SIG_DFL);
        }
    }
    nudge_every(0);
    handle(nudge, SIG_IGN);
}

InterruptHook::InterruptHook(void (*function)()) { hook = function; }

InterruptHook::~InterruptHook() { hook = nullptr; }

LastResort::LastResort(void (*function)()) { last_resort = function; }

LastResort::~LastResort() { last_resort = nullptr; }

LeaveHook::LeaveHook(void (*function)()) { leave_hook = function; }

LeaveHook::~LeaveHook() { leave_hook = nullptr; }

void run_leave_hook() {
    if (void (*const function)() = leave_hook.exchange(nullptr)) {
        function();
    }
}

BlockingCall::BlockingCall() {
    while (index_ < most && open_calls.at(index_).taken.exchange(true)) {
        ++index_;
    }
    if (index_ == most) {
        return;
    }
    OpenCall &call = open_calls.at(index_);
    call.nudges = 0;
    call.thread = pthread_self();
    call.blocking = true;
    if (interrupted) {
        nudge_every(nudge_every_us);
    }
}

BlockingCall::~BlockingCall() {
    if (index_ == most) {
        return;
    }
    open_calls.at(index_).blocking = false;
    open_calls.at(index_).taken = false;
    if (interrupted && !something_blocks()) {
        nudge_every(0);
        // Another thread's call may just have begun.
        if (something_blocks()) {
            nudge_every(nudge_every_us);
        }
    }
}

}  // namespace host
