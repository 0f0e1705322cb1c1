// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <optional>
#include <vector>

#include "host/lnb.h"
#include "host/plugin_loader.h"
#include "host/program.h"
#include "host/session.h"
#include "host/simulated_board.h"

namespace host {

// Which LNB a transponder is received with: that of --lnb, else the scenario's, else the usual one
// for the transponders at hand.
class LnbSource {
 public:
    LnbSource(const Program &program, const sim::Scenario &scenario,
              const std::vector<sim::Transponder> &transponders);

    [[nodiscard]] const Lnb &for_transponder(const sim::Transponder &transponder) const;

 private:
    std::optional<Lnb> fixed_;
    LnbChoice choice_;
};

// A plug-in and a board, ready for a session.
class Rig {
 public:
    explicit Rig(const Program &program);

    [[nodiscard]] const Plugin &plugin() const { return plugin_; }
    [[nodiscard]] SimulatedBoard &board() { return board_; }
    [[nodiscard]] DriverLog &log() { return log_; }

    // Live a session: init, the work, finalize; then end trace and log. What the driver wrote is
    // shown when any of it fails.
    ExitStatus run(const std::function<ExitStatus(Session &)> &work);

    // Fit the LNB that a request counts on, where the world is ours to arrange.
    void fit_lnb(const Lnb &lnb);

 private:
    DriverLog log_;
    Plugin plugin_;
    SimulatedBoard board_;
};

}  // namespace host
