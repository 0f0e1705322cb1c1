// SPDX-License-Identifier: MIT
#include "host/interrupt.h"

#include <unistd.h>

#include <csignal>

#include "host/failure.h"

namespace host {

namespace {

std::atomic<bool> interrupted{false};
static_assert(std::atomic<bool>::is_always_lock_free, "the signal handler writes it");

void remember_interrupt(int) {
    if (interrupted.exchange(true)) {
        _exit(static_cast<int>(ExitStatus::cancelled));
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

}  // namespace host
