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

// While one exists, the first Ctrl-C also runs a function, in the signal handler: it may do what is
// safe there, such as setting an atomic flag. At most one exists.
class InterruptHook {
 public:
    explicit InterruptHook(void (*function)());
    InterruptHook(const InterruptHook &) = delete;
    InterruptHook &operator=(const InterruptHook &) = delete;
    ~InterruptHook();
};

}  // namespace host
