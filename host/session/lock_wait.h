// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <functional>
#include <optional>

#include "host/session/pace.h"

namespace host {

// As often as the driver's worker thread polls.
inline constexpr std::uint64_t polling_period_ms = 50;

// What one look at a receiver shows of what is waited for.
enum class Sight {
    nothing,
    passing,  // it is there, and may be gone at the next look
    certain   // it is there, and that is enough
};

// How to wait for a lock, or for its loss.
struct LockWait {
    std::function<Sight(std::uint64_t elapsed_ms)> look;
    std::function<bool(std::uint64_t elapsed_ms)> give_up;  // asked while the look is not certain
    bool looks_at_once = false;                             // and pauses after the first look
    std::function<void()> pause = [] { pause_ms(polling_period_ms); };
};

struct LockOutcome {
    std::optional<std::uint64_t> since_ms;  // what was waited for came then, and was certain later
    std::uint64_t waited_ms = 0;

    [[nodiscard]] bool came() const { return since_ms.has_value(); }
};

// Look every 50 ms until a look is certain or nobody wants to wait any more.
LockOutcome wait_for_lock(const LockWait &wait);

// Poll the lock with the chip layer, as its worker thread does. Returns one of LOCK_SEARCHING,
// LOCK_LOCKED and LOCK_FAILED.
std::uint32_t poll_lock_state();

// Likewise. Returns whether there is lock.
bool poll_lock();

}  // namespace host
