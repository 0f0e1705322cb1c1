// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstddef>

namespace host {

// INT, TERM, HUP and QUIT while one exists: the first is remembered for the work to end cleanly,
// the second leaves at once with status 130. A second HUP does not: terminal and shell both send
// one when a window is closed. HUP that was ignored when the program was started stays ignored:
// that is how one asks for it to outlive the terminal. At most one exists.
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

// While one exists, the first of those signals also runs a function, in the signal handler: it may
// do what is safe there, such as setting an atomic flag. At most one exists.
class InterruptHook {
 public:
    explicit InterruptHook(void (*function)());
    InterruptHook(const InterruptHook &) = delete;
    InterruptHook &operator=(const InterruptHook &) = delete;
    ~InterruptHook();
};

// A system call of this thread that may block for ever: while one exists, an interrupt makes the
// call fail with EINTR, whichever thread gets the signal and however shortly before the call it
// came. Where the call does not come back within two seconds all the same, the program leaves with
// status 130. Each thread has at most one at a time; of more than a few at once the rest is left
// alone.
class BlockingCall {
 public:
    static constexpr std::size_t most = 4;

    BlockingCall();
    BlockingCall(const BlockingCall &) = delete;
    BlockingCall &operator=(const BlockingCall &) = delete;
    ~BlockingCall();

 private:
    std::size_t index_ = 0;  // among those that exist
};

// While one exists, what is to be done before the program leaves a call that does not come back; in
// the signal handler, as with InterruptHook. At most one exists.
class LastResort {
 public:
    explicit LastResort(void (*function)());
    LastResort(const LastResort &) = delete;
    LastResort &operator=(const LastResort &) = delete;
    ~LastResort();
};

// While one exists, what is to be done before the program leaves from within a signal handler, for
// whatever reason: a second signal, a call that does not come back, an error that kills it. It may
// do what is safe there. At most one exists.
class LeaveHook {
 public:
    explicit LeaveHook(void (*function)());
    LeaveHook(const LeaveHook &) = delete;
    LeaveHook &operator=(const LeaveHook &) = delete;
    ~LeaveHook();
};

// Do it; for signal handlers.
void run_leave_hook();

}  // namespace host
