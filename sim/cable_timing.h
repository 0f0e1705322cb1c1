// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>

#include "sim/watch.h"

namespace sim {

// When 22 kHz is on the cable, and whether what listens there can tell one thing from the next.
//
// The DiSEqC bus wants 15 ms of silence before and after every message and burst (bus
// specification, chapter "Method of data-bit signalling and timing"). A device takes 6 ms without
// a bit for the end of what it heard; with less than that it takes what follows for more of the
// same and obeys neither.
class CableTiming {
 public:
    enum class Kind { tone, message, burst };

    static constexpr std::uint64_t silence_ns = 15'000'000;

    explicit CableTiming(Watch &watch) : watch_(&watch) {}

    // 22 kHz of a kind begins, or takes over from what is there. `what` is for people. Returns
    // whether a device can tell where it begins.
    bool begin(Kind kind, std::uint64_t now_ns, const std::string &what);

    void end(std::uint64_t now_ns);

    [[nodiscard]] bool is_running() const { return running_; }

 private:
    Watch *watch_;
    Kind last_ = Kind::tone;
    bool running_ = false;
    bool any_ = false;
    std::uint64_t last_end_ns_ = 0;
};

}  // namespace sim
