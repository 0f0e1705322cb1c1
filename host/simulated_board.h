// SPDX-License-Identifier: MIT
#pragma once

#include <cstdio>
#include <memory>
#include <optional>
#include <string>

#include "host/lnb.h"
#include "host/trace/recorder.h"
#include "sim/clock.h"
#include "sim/receiver.h"

namespace host {

// What --board, --switch, --trace and --real-time ask for.
struct BoardOptions {
    std::string uri = "sim";
    unsigned switch_port = 0;
    std::optional<std::string> trace_file;
    bool real_time = false;
};

// The scenario of a board's URI. Throws Failure as the constructor below does.
sim::Scenario read_scenario(const BoardOptions &options);

// Whether the world is ours to arrange: there is no scenario file that says what it is like.
inline bool is_demo(const BoardOptions &options) { return options.uri == "sim"; }

// The simulated receiver as this process's board, on its virtual clock, with a recorder in front
// of it when a trace is asked for.
class SimulatedBoard {
 public:
    // Throws Failure: not_loadable for a board that this program has not got, bad_input for a wrong
    // scenario, internal_error for a trace that cannot be written.
    explicit SimulatedBoard(const BoardOptions &options);
    SimulatedBoard(const SimulatedBoard &) = delete;
    SimulatedBoard &operator=(const SimulatedBoard &) = delete;
    ~SimulatedBoard();

    [[nodiscard]] sim::VirtualClock &clock() { return clock_; }
    [[nodiscard]] sim::Receiver &receiver() { return *receiver_; }
    [[nodiscard]] const sim::Scenario &scenario() const { return scenario_; }

    [[nodiscard]] bool is_demo() const { return demo_; }

    // Point the dish of a switch port (0: without a switch) at a satellite.
    void point_at(const sim::Satellite &satellite, unsigned port);

    // Hang LNBs of this kind on the dishes.
    void fit_lnb(const Lnb &lnb);

    // End the trace. Throws Failure (internal_error) when it could not be written whole.
    void finish_trace();

 private:
    struct Close {
        void operator()(std::FILE *file) const { std::fclose(file); }
    };

    void start_trace(const std::string &file);

    bool demo_;
    sim::VirtualClock clock_;
    sim::Scenario scenario_;
    std::unique_ptr<sim::Receiver> receiver_;
    std::string trace_name_;
    std::unique_ptr<std::FILE, Close> trace_;
    std::unique_ptr<Recorder> recorder_;
    std::string fitted_lnb_;
};

}  // namespace host
