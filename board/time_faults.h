// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <limits>
#include <vector>

namespace board {

// What befalls the time of a process, and by what chance its threads take turns. Moments are those
// of VirtualClock::now_ns().
struct TimeFaults {
    // `from` belongs to it, `to` does not.
    struct Span {
        std::uint64_t from_ns = 0;
        std::uint64_t to_ns = std::numeric_limits<std::uint64_t>::max();
        [[nodiscard]] bool contains(std::uint64_t now_ns) const {
            return now_ns >= from_ns && now_ns < to_ns;
        }
    };

    // None of the threads runs for a while. A stalled process oversleeps and finds that its clock
    // went on; a suspended machine sleeps as long as it was asked to and its monotonic clock stood
    // still, while the world around it did not.
    struct Absence {
        std::uint64_t at_ns = 0;
        std::uint64_t length_ns = 0;
        bool suspended = false;
    };

    // A signal with a handler comes again and again, and ends the sleep of the thread that it comes
    // to: the first thread, unless that one blocks it.
    struct Signals {
        Span span = {};
        std::uint64_t every_ns = 1;
        bool first_thread_blocks = false;
    };

    std::uint64_t seed = 1;
    std::uint64_t start_ns = 0;          // what the monotonic clock shows at the beginning
    std::uint64_t longest_delay_ns = 0;  // by which threads wake late, evenly spread
    std::vector<Absence> absences = {};  // in the order of their time
    std::vector<Signals> signals = {};
    std::vector<Span> unreadable = {};  // when clock_gettime fails

    // How often a thread that is due takes the turn of another one, at the moments at which that
    // can happen: while a transfer goes on, between two of them, at a mutex.
    double preemption = 0;
    // The moment, counted from 1, at which the running thread is put aside for a while; 0 for none.
    std::uint32_t pause_at = 0;
    std::uint64_t pause_ns = 0;
};

}  // namespace board
