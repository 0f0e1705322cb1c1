// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace host {

// While one exists, what the process writes to standard error goes into memory: the driver writes
// there, and what it says belongs to the message about what it did.
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

    // Someone who wants to know each line while it is fresh: hears what was written whenever
    // hand_over() is called while a capture is in force, and at the latest in take().
    class Listener {
     public:
        explicit Listener(std::function<void(std::string_view line)> hear);
        Listener(const Listener &) = delete;
        Listener &operator=(const Listener &) = delete;
        ~Listener();

     private:
        friend class StandardErrorCapture;
        std::function<void(std::string_view line)> hear_;
    };

    // Tell the listeners the lines that were written whole since they last heard.
    static void hand_over();

 private:
    int memory_ = -1;
    int original_ = -1;
};

}  // namespace host
