// SPDX-License-Identifier: MIT
#include "host/terminal/interrupt.h"

#include <pthread.h>
#include <sys/time.h>
#include <unistd.h>

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
std::atomic<unsigned> nudges{0};  // of the call that blocks

std::atomic<bool> blocking{false};
std::atomic<pthread_t> blocked_thread{};
static_assert(std::atomic<pthread_t>::is_always_lock_free, "the signal handler reads it");

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

// Being called is what interrupts the thread that gets the signal; the thread that matters may be
// another.
void pass_on_nudge(int) {
    if (blocking && ++nudges > most_nudges) {
        leave_for_good();
    }
    if (blocking && pthread_equal(blocked_thread, pthread_self()) == 0) {
        pthread_kill(blocked_thread, nudge);
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
    if (blocking) {
        nudge_every(nudge_every_us);
    }
}

// Without SA_RESTART: a call that blocks is to fail.
void handle(int signal, void (*handler)(int)) {
    struct sigaction action {};
    action.sa_handler = handler;
    ::sigaction(signal, &action, nullptr);
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
    handle(nudge, pass_on_nudge);
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
    nudges = 0;
    blocked_thread = pthread_self();
    blocking = true;
    if (interrupted) {
        nudge_every(nudge_every_us);
    }
}

BlockingCall::~BlockingCall() {
    blocking = false;
    if (interrupted) {
        nudge_every(0);
    }
}

}  // namespace host
