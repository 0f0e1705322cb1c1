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
    }
    locked_ = locked;
    since_ms_ = time_ms;
}

std::uint64_t LockRecord::locked_ms() const {
    return locks_before_ms_ + (locked_ ? polled_ms_ - since_ms_ : 0);
}

bool LockRecord::wants_restart(std::uint64_t time_ms) const {
    return !locked_ && time_ms - search_began_ms_ >= longest_search_ms;
}

void LockRecord::restarted(std::uint64_t time_ms) {
    ++restarts_;
    search_began_ms_ = time_ms;
}

}  // namespace host
