// SPDX-License-Identifier: MIT

// How many times faster than the receiver's time an hour with the plug-in and its worker thread
// goes by on the simulated receiver, by the wall clock and by the processor time it takes.

#include <fmt/format.h>
#include <sys/resource.h>

#include <array>
#include <cstdint>

#include "board/clock.h"
#include "host/cable/lnb.h"
#include "host/cable/plan.h"
#include "host/session/pace.h"
#include "host/session/plugin_loader.h"
#include "host/terminal/stderr_capture.h"
#include "sim/receiver.h"

namespace {

constexpr std::uint64_t ns_per_s = 1'000'000'000;
constexpr std::uint64_t hour_ns = 3'600 * ns_per_s;

struct Reception {
    const char *name;
    broadcast::System system;
    bool pilots = false;
    bool on_the_air = true;
};

const std::array receptions{
    Reception{"locked, DVB-S", broadcast::System::dvbs},
    Reception{"locked, DVB-S2", broadcast::System::dvbs2, true},
    Reception{"locked, DVB-S2 without pilots", broadcast::System::dvbs2},
    Reception{"unlocked", broadcast::System::dvbs2, true, false},
};

broadcast::Transponder carrier_of(const Reception &reception) {
    broadcast::Transponder carrier;
    carrier.frequency_khz = 11'494'000;
    carrier.symbol_rate = 22'000'000;
    carrier.system = reception.system;
    carrier.pilots = reception.pilots;
    return carrier;
}

sim::Scenario world_of(const Reception &reception) {
    sim::Scenario world;
    world.satellites.emplace_back();
    if (reception.on_the_air) {
        world.satellites.front().transponders = {carrier_of(reception)};
    }
    return world;
}

std::uint64_t processor_ns() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const auto us_of = [](const timeval &time) {
        return static_cast<std::uint64_t>(time.tv_sec) * 1'000'000 +
               static_cast<std::uint64_t>(time.tv_usec);
    };
    return (us_of(usage.ru_utime) + us_of(usage.ru_stime)) * 1'000;
}

struct Cost {
    std::uint64_t wall_ns;
    std::uint64_t processor_ns;
    std::uint64_t transfers;
    bool locked;
};

// What an hour costs, from a second after the tune on.
Cost cost_of_an_hour(const Reception &reception) {
    board::VirtualClock clock;
    sim::Receiver receiver(world_of(reception), clock);
    board::set_board(&receiver);
    const host::Plugin plugin(host::find_plugin());
    const host::StandardErrorCapture quiet;
    Tuner *tuner = plugin.descriptor().create(0);
    tuner->init(tuner);
    const tune_request request =
        host::request_for(carrier_of(reception), host::lnb_named("EXTENDED"), 0);
    tuner->tune(tuner, &request);
    host::sleep_ns(ns_per_s);

    const std::uint64_t transfers = receiver.bus_statistics().transfers;
    const std::uint64_t wall_ns = board::wall_now_ns();
    const std::uint64_t spent_ns = processor_ns();
    host::sleep_ns(hour_ns);
    const Cost cost{board::wall_now_ns() - wall_ns, processor_ns() - spent_ns,
                    receiver.bus_statistics().transfers - transfers, tuner->get_lock(tuner) != 0};

    tuner->finalize(tuner);
    tuner->free(tuner);
    board::set_board(nullptr);
    return cost;
}

double times(std::uint64_t cost_ns) {
    return static_cast<double>(hour_ns) / static_cast<double>(cost_ns);
}

}  // namespace

int main() {
    fmt::print("{:<32}{:>10}{:>10}{:>14}{:>16}{:>12}\n", "an hour", "wall, s", "CPU, s",
               "hour / wall", "hour / CPU", "transfers");
    for (const Reception &reception : receptions) {
        const Cost cost = cost_of_an_hour(reception);
        fmt::print("{:<32}{:>10.3f}{:>10.3f}{:>14.0f}{:>16.0f}{:>12}\n", reception.name,
                   static_cast<double>(cost.wall_ns) / ns_per_s,
                   static_cast<double>(cost.processor_ns) / ns_per_s, times(cost.wall_ns),
                   times(cost.processor_ns), cost.transfers);
        if (cost.locked != reception.on_the_air) {
            fmt::print(stderr, "{}: {}\n", reception.name, cost.locked ? "locked" : "not locked");
            return 1;
        }
    }
    return 0;
}
