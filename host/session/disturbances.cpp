// SPDX-License-Identifier: MIT
#include "host/session/disturbances.h"

#include <algorithm>

namespace host {

namespace {

constexpr std::uint64_t aftermath_ns = 2'000'000'000;

// The driver is not heard, or gets no answer, or another one than the chip gives, or gets it late.
bool garbles(sim::BusFault::Kind kind) { return kind != sim::BusFault::Kind::slow_bus; }

// A transfer that comes late has come.
bool loses(sim::BusFault::Kind kind) {
    return garbles(kind) && kind != sim::BusFault::Kind::late_transfer;
}

// What the mean of a strength takes: sixteen polls, and one that was under way. Those of a lock of
// DVB-S2 have the most bits.
double mean_ms(double bus_hz) {
    constexpr double rest_ms = 50;
    constexpr double bits_ms = 11'300'000;
    return 17 * (rest_ms + bits_ms / bus_hz);
}

}  // namespace

bool Disturbances::spoil_figures() const {
    return bus_suffers(garbles) || cut_waits_short() || put_thread_aside();
}

bool Disturbances::lose_transfers() const { return bus_suffers(loses); }

bool Disturbances::delay_threads() const {
    constexpr std::uint64_t punctual_ns = 1'000'000;
    return spoil_figures() || ran_again_ns() != 0 || scenario().time.longest_delay_ns > punctual_ns;
}

bool Disturbances::let_mean_fill(bool searched_anew) const {
    constexpr std::uint64_t longest_delay_ns = 10'000'000;
    constexpr double usual_bus_hz = 400'000;
    const board::TimeFaults &time = scenario().time;
    if (time.longest_delay_ns > longest_delay_ns ||
        (time.pause_at != 0 && time.pause_ns > longest_delay_ns)) {
        return false;
    }
    const double bus_hz = slowest_bus_hz();
    const std::uint64_t again_ns = ran_again_ns();
    if (bus_hz >= usual_bus_hz && again_ns <= channel_ns_) {
        return true;
    }
    const std::uint64_t since_ns = std::max(channel_ns_, again_ns);
    return (!searched_anew || bus_hz >= usual_bus_hz) && since_ns <= now() &&
           static_cast<double>(now() - since_ns) * 1e-6 >= mean_ms(bus_hz);
}

bool Disturbances::interrupt_counting(std::optional<std::uint64_t> counted_ns) const {
    const std::uint64_t again_ns = ran_again_ns();
    return again_ns != 0 &&
           (again_ns + aftermath_ns >= now() || (counted_ns && again_ns >= *counted_ns));
}

double Disturbances::slowest_bus_hz() const {
    double bus_hz = scenario().board.bus_clock_hz;
    for (const sim::BusFault &fault : scenario().bus_faults) {
        if (fault.kind == sim::BusFault::Kind::slow_bus && reach(fault.period)) {
            bus_hz /= fault.factor;
        }
    }
    return bus_hz;
}

std::uint64_t Disturbances::matters_from_ns() const {
    return channel_ns_ - std::min(channel_ns_, aftermath_ns);
}

bool Disturbances::reach(const sim::Period &period) const {
    constexpr std::uint64_t ns_per_ms = 1'000'000;
    return period.from_ms <= now() / ns_per_ms && period.to_ms >= matters_from_ns() / ns_per_ms;
}

// A fault that has turns may befall any transfer of its period.
bool Disturbances::bus_suffers(Suffers suffers) const {
    const auto &faults = scenario().bus_faults;
    return std::any_of(faults.begin(), faults.end(), [&](const sim::BusFault &fault) {
        return suffers(fault.kind) && reach(fault.period);
    });
}

// A signal ends a wait, which a chip may need.
bool Disturbances::cut_waits_short() const {
    const auto &signals = scenario().time.signals;
    return std::any_of(signals.begin(), signals.end(), [&](const board::TimeFaults::Signals &one) {
        return one.span.from_ns <= now() && one.span.to_ns >= matters_from_ns();
    });
}

// For so long that others believe it at work. Which thread that was, and when, nobody knows.
bool Disturbances::put_thread_aside() const {
    constexpr std::uint64_t longest_pause_ns = 200'000'000;
    return scenario().time.pause_ns > longest_pause_ns && world_.get().clock().has_paused();
}

// When the process runs again after it has stood still; 0 where it never did.
std::uint64_t Disturbances::ran_again_ns() const {
    std::uint64_t again_ns = 0;
    for (const board::TimeFaults::Absence &absence : scenario().time.absences) {
        if (absence.at_ns <= now()) {
            again_ns = std::max(again_ns, absence.at_ns) + absence.length_ns;
        }
    }
    return again_ns;
}

}  // namespace host
