// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "board/clock.h"
#include "host/boards/board_options.h"
#include "host/boards/host_board.h"
#include "host/cable/lnb.h"
#include "sim/receiver.h"

namespace host {

// The scenario of a board's URI. Throws Failure as the constructor below does.
sim::Scenario read_scenario(const BoardOptions &options);

// The files that say what the world of a simulated board is like: its scenario and the tables and
// firmware that this names, or the tables of the built-in world. As many as can be found out.
std::vector<std::string> files_of_world(const BoardOptions &options);

// The LNB of a board's scenario, where a file says what the world is like.
std::optional<broadcast::Lnb> scenario_lnb(const BoardOptions &options);

// The simulated receiver as this process's board, on its virtual clock.
class SimulatedBoard final : public HostBoard {
 public:
    // Throws Failure: not_loadable for a board that this program has not got, bad_input for a wrong
    // scenario, internal_error for a trace that cannot be written.
    explicit SimulatedBoard(const BoardOptions &options);

    [[nodiscard]] SimulatedBoard *simulated() override { return this; }
    [[nodiscard]] Json describe() const override;
    [[nodiscard]] std::optional<broadcast::Lnb> fitted_lnb() const override;
    [[nodiscard]] BoardWiring wiring() const override {
        return {.iq_swapped = scenario_.board.iq_swap,
                .reg30_bit4 = scenario_.board.reg30_bit4,
                .ts_mode = scenario_.board.ts_mode};
    }

    [[nodiscard]] bool has_simulated_chips() const override { return true; }
    [[nodiscard]] std::optional<broadcast::Transponder> usual_transponder() const override;

    [[nodiscard]] board::VirtualClock &clock() { return clock_; }
    [[nodiscard]] sim::Receiver &receiver() { return *receiver_; }
    [[nodiscard]] const sim::Scenario &scenario() const { return scenario_; }

    [[nodiscard]] bool is_demo() const { return demo_; }

    // Point the dish of a switch port (0: without a switch) at a satellite.
    void point_at(const broadcast::Satellite &satellite, unsigned port);

    // Hang LNBs of this kind on the dishes.
    void fit_lnb(const broadcast::Lnb &lnb);

 private:
    std::string uri_;
    bool demo_;
    board::VirtualClock clock_;
    sim::Scenario scenario_;
    std::unique_ptr<sim::Receiver> receiver_;
    std::string fitted_lnb_;
};

}  // namespace host
