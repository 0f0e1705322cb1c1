// SPDX-License-Identifier: MIT
#include "sim/cable_timing.h"

#include <fmt/format.h>

#include <array>

namespace sim {

namespace {

constexpr std::uint64_t end_of_message_ns = 6'000'000;
constexpr std::array activity_names{"the tone", "a message", "a burst"};

}  // namespace

bool CableTiming::begin(Kind kind, std::uint64_t now_ns, const std::string &what) {
    const Kind before = last_;
    const std::uint64_t silent_ns = running_ ? 0 : now_ns - last_end_ns_;
    const bool first = !any_;
    last_ = kind;
    running_ = true;
    any_ = true;
    if (first || (kind == Kind::tone && before == Kind::tone) || silent_ns >= silence_ns) {
        return true;
    }
    watch_->complain(
        Offence::cable_silence, now_ns,
        fmt::format("{} began {:.1f} ms after {}", what, static_cast<double>(silent_ns) * 1e-6,
                    activity_names.at(static_cast<std::size_t>(before))));
    return silent_ns >= end_of_message_ns;
}

void CableTiming::end(std::uint64_t now_ns) {
    running_ = false;
    last_end_ns_ = now_ns;
}

}  // namespace sim
