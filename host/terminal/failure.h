// SPDX-License-Identifier: MIT
#pragma once

#include <stdexcept>
#include <string>

namespace host {

// Exit statuses of ds3000-ctl. Scripts rely on them: a number never changes its meaning.
enum class ExitStatus : int {
    done = 0,
    internal_error = 1,
    usage = 2,
    not_loadable = 3,
    hardware_absent = 4,
    no_lock = 5,
    lock_lost = 6,
    nothing_found = 7,
    bad_input = 8,
    outside_limits = 9,
    differs = 10,
    cancelled = 130,
    reader_gone = 141,  // as a shell says of a program that SIGPIPE ended
};

// Why the program ends: the exit status and the sentence for the person.
class Failure : public std::runtime_error {
 public:
    Failure(ExitStatus status, const std::string &message)
        : std::runtime_error(message), status_(status) {}

    [[nodiscard]] ExitStatus status() const { return status_; }

 private:
    ExitStatus status_;
};

}  // namespace host
