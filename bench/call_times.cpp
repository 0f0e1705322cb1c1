// SPDX-License-Identifier: MIT

// How long the plug-in's operations take a host, in the receiver's time, on buses good and bad, and
// how much of a bus its polls take while it receives.

#include <fmt/format.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "board/clock.h"
#include "host/cable/lnb.h"
#include "host/cable/plan.h"
#include "host/session/pace.h"
#include "host/session/plugin_loader.h"
#include "host/terminal/stderr_capture.h"
#include "sim/receiver.h"

namespace {

struct Bus {
    const char *name;
    std::uint32_t clock_hz = 400'000;
    double factor = 1;
    std::optional<std::uint32_t> timeout_ms = {};  // of every transfer, once the bus is dead
    std::uint64_t dies_ms = 0;
};

constexpr std::uint64_t ns_per_ms = 1'000'000;

// Long enough for a start-up, a tune and a second of reception.
constexpr std::uint64_t death_ms = 5'000;

const std::array buses{
    Bus{"400 kHz"},
    Bus{"100 kHz", 100'000},
    Bus{"100 kHz, ten times slowed", 100'000, 10},
    Bus{"dies while receiving, 100 ms a transfer", 400'000, 1, 100, death_ms},
    Bus{"dies while receiving, 1 s a transfer", 400'000, 1, 1'000, death_ms},
    Bus{"dead from the start, 1 s a transfer", 400'000, 1, 1'000, 0},
};

const std::array operations{"init",     "tune",      "getters", "tune while polling",
                            "finalize", "init again"};

broadcast::Transponder carrier(std::uint32_t frequency_khz) {
    broadcast::Transponder transponder;
    transponder.frequency_khz = frequency_khz;
    transponder.symbol_rate = 22'000'000;
    transponder.system = broadcast::System::dvbs2;
    transponder.modulation = broadcast::Modulation::psk8;
    return transponder;
}

const std::array carriers{carrier(11'494'000), carrier(11'362'000)};

sim::Scenario world_of(const Bus &bus) {
    sim::Scenario world;
    world.board.bus_clock_hz = bus.clock_hz;
    world.satellites = {{"satellite", {carriers.begin(), carriers.end()}}};
    if (bus.factor > 1) {
        world.bus_faults.push_back({.kind = sim::BusFault::Kind::slow_bus, .factor = bus.factor});
    }
    if (bus.timeout_ms) {
        world.bus_faults.push_back({.kind = sim::BusFault::Kind::bus_stuck,
                                    .period = {.from_ms = bus.dies_ms},
                                    .timeout_ms = *bus.timeout_ms});
    }
    return world;
}

// A host's life with the plug-in; notes what each call took, in milliseconds.
class Life {
 public:
    explicit Life(const dvb_ts_tuner_metadata &descriptor) : tuner_(descriptor.create(0)) {}
    Life(const Life &) = delete;
    Life &operator=(const Life &) = delete;
    ~Life() { tuner_->free(tuner_); }

    std::vector<double> live(const Bus &bus) {
        bool up = false;
        timed([&] { up = tuner_->init(tuner_) != 0; });
        if (!up) {
            return times_ms_;
        }
        timed([&] { tune(carriers[0]); });
        if (bus.dies_ms != 0) {
            host::sleep_ns(bus.dies_ms * ns_per_ms - host::now_ns());
        }
        // Into the middle of things: a second after the death, or of reception.
        host::sleep_ns(1'000 * ns_per_ms);
        timed([&] { ask(); });
        timed([&] { tune(carriers[1]); });
        host::sleep_ns(1'000 * ns_per_ms);
        timed([&] { tuner_->finalize(tuner_); });
        timed([&] { tuner_->init(tuner_); });
        tuner_->finalize(tuner_);
        return times_ms_;
    }

    void receive() {
        tuner_->init(tuner_);
        tune(carriers[0]);
    }
    void end() { tuner_->finalize(tuner_); }

 private:
    void timed(const std::function<void()> &call) {
        const std::uint64_t start_ns = host::now_ns();
        call();
        times_ms_.push_back(static_cast<double>(host::now_ns() - start_ns) / ns_per_ms);
    }

    void tune(const broadcast::Transponder &transponder) {
        const tune_request request = host::request_for(transponder, host::lnb_named("EXTENDED"), 0);
        tuner_->tune(tuner_, &request);
    }

    void ask() {
        std::array<std::uint8_t, 2> signal{};
        tuner_->get_lock(tuner_);
        tuner_->get_signal(tuner_, signal.data());
    }

    Tuner *tuner_;
    std::vector<double> times_ms_;
};

std::vector<double> times_on(const Bus &bus) {
    board::VirtualClock clock;
    sim::Receiver receiver(world_of(bus), clock);
    board::set_board(&receiver);
    const host::Plugin plugin(host::find_plugin());
    const host::StandardErrorCapture quiet;
    std::vector<double> times_ms = Life(plugin.descriptor()).live(bus);
    board::set_board(nullptr);
    return times_ms;
}

// A board in front of which the bus is watched.
class WatchedBus final : public board::Board {
 public:
    explicit WatchedBus(board::Board &board) : board_(board) {}

    void perform(board::Transfer &transfer) override {
        using Kind = board::Transfer::Kind;
        constexpr std::uint32_t between_polls_us = 50'000;
        const std::uint64_t begin_ns = host::now_ns();
        board_.perform(transfer);
        if (transfer.kind == Kind::write || transfer.kind == Kind::read) {
            transfers += transfer.stage == board::Transfer::Stage::opened ? 0 : 1;
            busy_ns += host::now_ns() - begin_ns;
        }
        polls += transfer.kind == Kind::wait && transfer.wait_us == between_polls_us ? 1 : 0;
    }

    std::uint64_t transfers = 0;
    std::uint64_t busy_ns = 0;
    std::uint64_t polls = 0;

 private:
    board::Board &board_;
};

// The bus while a carrier is received, a line.
void print_load(std::uint32_t clock_hz, bool pilots) {
    constexpr std::uint64_t long_enough_ns = 100'000 * ns_per_ms;
    sim::Scenario world;
    world.board.bus_clock_hz = clock_hz;
    world.satellites = {{"satellite", {carriers[0]}}};
    world.satellites[0].transponders[0].pilots = pilots;
    board::VirtualClock clock;
    sim::Receiver receiver(world, clock);
    WatchedBus bus(receiver);
    board::set_board(&bus);
    {
        const host::Plugin plugin(host::find_plugin());
        const host::StandardErrorCapture quiet;
        Life life(plugin.descriptor());
        life.receive();
        host::sleep_ns(1'000 * ns_per_ms);
        bus.transfers = bus.busy_ns = bus.polls = 0;
        host::sleep_ns(long_enough_ns);
        const auto polls = static_cast<double>(bus.polls);
        fmt::print("{:<42}{:>20.0f}{:>20.0f}{:>19.0f}%\n",
                   fmt::format("{} kHz, {} pilots", clock_hz / 1000, pilots ? "with" : "without"),
                   static_cast<double>(bus.transfers) / polls,
                   static_cast<double>(bus.busy_ns) / ns_per_ms / polls,
                   100.0 * static_cast<double>(bus.busy_ns) / long_enough_ns);
        life.end();
    }
    board::set_board(nullptr);
}

}  // namespace

int main() {
    fmt::print("{:<42}", "milliseconds");
    for (const char *operation : operations) {
        fmt::print("{:>20}", operation);
    }
    fmt::print("\n");
    for (const Bus &bus : buses) {
        fmt::print("{:<42}", bus.name);
        for (const double time_ms : times_on(bus)) {
            fmt::print("{:>20.0f}", time_ms);
        }
        fmt::print("\n");
    }
    fmt::print("\n{:<42}{:>20}{:>20}{:>20}\n", "a poll of a locked DVB-S2 carrier", "transfers",
               "milliseconds", "of the bus's time");
    for (const std::uint32_t clock_hz : {400'000U, 100'000U}) {
        print_load(clock_hz, true);
        print_load(clock_hz, false);
    }
    return 0;
}
