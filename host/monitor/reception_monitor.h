// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <functional>
#include <optional>

#include "host/monitor/lock_record.h"
#include "host/session/reception_reading.h"

namespace host {

// A reading of a reception that is watched. Times are milliseconds since the watch began.
struct MonitorReading {
    std::uint64_t time_ms = 0;
    std::uint64_t since_ms = 0;  // when the lock came, or went
    unsigned losses = 0;         // of lock, so far
    unsigned restarts = 0;       // of the search for it
    ReceptionReading reception;
};

// How to watch a reception.
struct MonitorTask {
    std::uint64_t every_ms = 1'000;       // from reading to reading
    std::optional<std::uint64_t> for_ms;  // absent: until it must end

    // Set the channel up again; may throw Failure, after which it is tried again later.
    std::function<void()> set_up;

    std::function<bool()> must_end;  // asked at each poll
    std::function<void(const MonitorReading &reading)> show;

    // Called at each poll, after the reading that may belong to it.
    std::function<void(std::uint64_t time_ms)> after_poll = [](std::uint64_t) {};
};

// Poll a channel that has been set up, every 50 ms as the plug-in's thread does, and set it up
// again when its lock stays away. What was read while it must end is not believed: the last
// transfers may have been cut short. Returns how the lock did.
LockRecord watch_reception(ChipReceptionReader &reader, const MonitorTask &task);

}  // namespace host
