// SPDX-License-Identifier: MIT
#include "host/session/lock_wait.h"

#include "ds3000/chip/ds3000_context.h"
#include "ds3000/demod/lock.h"

namespace host {

LockOutcome wait_for_lock(const LockWait &wait) {
    const std::uint64_t begin_ns = now_ns();
    LockOutcome outcome;
    if (!wait.looks_at_once) {
        wait.pause();
    }
    for (;;) {
        const Sight sight = wait.look(ms_since(begin_ns));
        outcome.waited_ms = ms_since(begin_ns);
        if (sight == Sight::nothing) {
            outcome.since_ms.reset();
        } else if (!outcome.since_ms) {
            outcome.since_ms = outcome.waited_ms;
        }
        if (sight == Sight::certain) {
            return outcome;
        }
        if (wait.give_up(outcome.waited_ms)) {
            outcome.since_ms.reset();
            return outcome;
        }
        wait.pause();
    }
}

std::uint32_t poll_lock_state() {
    std::uint32_t state = LOCK_SEARCHING;
    ds3000_poll_lock(&state);
    return state;
}

bool poll_lock() { return poll_lock_state() == LOCK_LOCKED; }

}  // namespace host
