// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>

namespace host {

// Ctrl-C while one exists: the first is remembered for the work to end cleanly, the second leaves
// at once with status 130.
class InterruptWatch {
 public:
    InterruptWatch();
    InterruptWatch(const InterruptWatch &) = delete;
    InterruptWatch &operator=(const InterruptWatch &) = delete;
    ~InterruptWatch();

    [[nodiscard]] bool requested() const { return interrupted_; }

 private:
    const std::atomic<bool> &interrupted_;
};

}  // namespace host
