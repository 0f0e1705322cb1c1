// SPDX-License-Identifier: MIT
#include "sim/scenario_time.h"

#include <algorithm>

namespace sim {

namespace {

using board::TimeFaults;

constexpr std::uint64_t ns_per_us = 1'000;
constexpr std::uint64_t ns_per_ms = 1'000'000;
constexpr std::int64_t longest_absence_ms = 1'000'000'000;

TimeFaults::Span read_span(Section &section) {
    Period period;
    section.period(period);
    TimeFaults::Span span{.from_ns = period.from_ms * ns_per_ms};
    if (period.to_ms != Period::for_ever) {
        span.to_ns = period.to_ms * ns_per_ms;
    }
    return span;
}

void read_absence(Section &section, bool suspended, TimeFaults &time) {
    std::uint64_t at_ms = 0;
    std::uint64_t length_ms = 0;
    section.needs("at_ms");
    section.needs("length_ms");
    section.integer("at_ms", 1, largest_time_ms, at_ms);
    section.integer("length_ms", 1, longest_absence_ms, length_ms);
    const TimeFaults::Absence absence{
        .at_ns = at_ms * ns_per_ms, .length_ns = length_ms * ns_per_ms, .suspended = suspended};
    const auto later = [](const TimeFaults::Absence &one, const TimeFaults::Absence &other) {
        return one.at_ns < other.at_ns;
    };
    time.absences.insert(
        std::upper_bound(time.absences.begin(), time.absences.end(), absence, later), absence);
}

void read_signals(Section &section, TimeFaults &time) {
    std::uint64_t every_ms = 0;
    TimeFaults::Signals signals;
    section.needs("every_ms");
    section.integer("every_ms", 1, largest_time_ms, every_ms);
    section.boolean("first_thread_blocks", signals.first_thread_blocks);
    signals.every_ns = every_ms * ns_per_ms;
    signals.span = read_span(section);
    time.signals.push_back(signals);
}

}  // namespace

void read_clock(Section &section, TimeFaults &time) {
    std::uint64_t start_ms = 0;
    std::uint64_t late_us = 0;
    section.integer("start_ms", 0, largest_time_ms, start_ms);
    section.integer("late_us", 0, 1'000'000, late_us);
    section.done();
    time.start_ns = start_ms * ns_per_ms;
    time.longest_delay_ns = late_us * ns_per_us;
}

void read_schedule(Section &section, TimeFaults &time) {
    std::uint64_t pause_ms = 60;
    section.number("preemption", 0, 1, time.preemption);
    section.integer("pause_at", 0, 4'000'000'000, time.pause_at);
    section.integer("pause_ms", 1, longest_absence_ms, pause_ms);
    section.done();
    time.pause_ns = pause_ms * ns_per_ms;
}

bool read_time_fault(Section &section, TimeFaults &time) {
    std::string kind;
    section.text("kind", kind);
    if (kind == "stall" || kind == "suspend") {
        read_absence(section, kind == "suspend", time);
    } else if (kind == "signals") {
        read_signals(section, time);
    } else if (kind == "clock_unreadable") {
        time.unreadable.push_back(read_span(section));
    } else {
        return false;
    }
    section.done();
    return true;
}

}  // namespace sim
