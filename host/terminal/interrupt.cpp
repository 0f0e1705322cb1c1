// SPDX-License-Identifier: MIT
#include "host/terminal/interrupt.h"

#include <unistd.h>

#include <csignal>

#include "host/terminal/failure.h"

namespace host {

namespace {

std::atomic<bool> interrupted{false};
static_assert(std::atomic<bool>::is_always_lock_free, "the signal handler writes it");

std::atomic<void (*)()> hook{nullptr};
static_assert(std::atomic<void (*)()>::is_always_lock_free, "the signal handler reads it");

void remember_interrupt(int) {
    if (interrupted.exchange(true)) {
        _exit(static_cast<int>(ExitStatus::cancelled));
    }
    if (void (*const function)() = hook.load()) {
        function();
    }
}

}  // namespace

InterruptWatch::InterruptWatch() : interrupted_(interrupted) {
    interrupted = false;
    std::signal(SIGINT, remember_interrupt);
    std::signal(SIGTERM, remember_interrupt);
}

InterruptWatch::~InterruptWatch() {
    std::signal(SIGINT, SIG_DFL);
    std::signal(SIGTERM, SIG_DFL);
}

InterruptHook::InterruptHook(void (*function)()) { hook = function; }

InterruptHook::~InterruptHook() { hook = nullptr; }

}  // namespace host
