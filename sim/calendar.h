// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <vector>

#include "sim/outdoor.h"
#include "sim/scenario.h"

namespace sim {

struct ForeignMessage {
    std::uint64_t at_ns = 0;
    std::vector<std::uint8_t> bytes;
};

// The scenario's events in time.
class Calendar {
 public:
    explicit Calendar(std::vector<Event> events) : events_(std::move(events)) {}

    // When something begins or ends next after `now_ns`.
    [[nodiscard]] std::uint64_t next_after(std::uint64_t now_ns) const;

    [[nodiscard]] Weather weather_at(std::uint64_t now_ns) const;

    // Whether the supply browned out after `from_ns`, up to and including `to_ns`.
    [[nodiscard]] bool brown_out_within(std::uint64_t from_ns, std::uint64_t to_ns) const;

    // What other receivers on the cable began to send in that time, oldest first.
    [[nodiscard]] std::vector<ForeignMessage> foreign_messages_within(std::uint64_t from_ns,
                                                                      std::uint64_t to_ns) const;

    // The events of that time by which carriers change, oldest first.
    [[nodiscard]] std::vector<Event> new_modcods_within(std::uint64_t from_ns,
                                                        std::uint64_t to_ns) const;

 private:
    std::vector<Event> events_;
};

std::uint64_t ns_of_ms(std::uint64_t ms);
bool contains(const Period &period, std::uint64_t now_ns);

}  // namespace sim
