// SPDX-License-Identifier: MIT
#include "host/monitor/lock_record.h"

namespace host {

void LockRecord::polled(bool locked, std::uint64_t time_ms) {
    polled_ms_ = time_ms;
    if (locked == locked_) {
        return;
    }
    if (locked_) {
        ++losses_;
        locks_before_ms_ += time_ms - since_ms_;
        search_began_ms_ = time_ms;
    } else {
        longest_before_ = longer_one(time_ms);
    }
    locked_ = locked;
    since_ms_ = time_ms;
}

std::uint64_t LockRecord::locked_ms() const {
    return locks_before_ms_ + (locked_ ? polled_ms_ - since_ms_ : 0);
}

LockRecord::Gap LockRecord::longest_gap() const {
    return locked_ ? longest_before_ : longer_one(polled_ms_);
}

// Of the longest gap that is over and the one since the lock went, if one did.
LockRecord::Gap LockRecord::longer_one(std::uint64_t until_ms) const {
    const std::uint64_t ms = until_ms - since_ms_;
    return losses_ > 0 && ms > longest_before_.ms ? Gap{since_ms_, ms} : longest_before_;
}

bool LockRecord::wants_restart(std::uint64_t time_ms) const {
    return !locked_ && time_ms - search_began_ms_ >= longest_search_ms;
}

void LockRecord::restarted(std::uint64_t time_ms) {
    ++restarts_;
    search_began_ms_ = time_ms;
}

}  // namespace host
