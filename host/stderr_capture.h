// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace host {

// While one exists, what the process writes to standard error goes into memory: the driver and
// libdvbv5 write there, and what they say belongs to the message about what they did.
// The program itself speaks through Console, which keeps the standard error it was started with.
// Should the process die meanwhile, what was captured comes out on that standard error.
class StandardErrorCapture {
 public:
    StandardErrorCapture();
    StandardErrorCapture(const StandardErrorCapture &) = delete;
    StandardErrorCapture &operator=(const StandardErrorCapture &) = delete;
    ~StandardErrorCapture();

    // What was written since the last call.
    [[nodiscard]] std::string take() const;

 private:
    int memory_ = -1;
    int original_ = -1;
};

}  // namespace host
