// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "host/boards.h"
#include "host/chip_session.h"
#include "host/driver_log.h"
#include "host/lnb.h"
#include "host/plugin_loader.h"
#include "host/program.h"
#include "host/session.h"
#include "host/simulated_board.h"

namespace host {

// Which LNB a transponder is received with: that of --lnb, else the one that is known to hang on
// the board, else the usual one for the transponders at hand.
class LnbSource {
 public:
    LnbSource(const Program &program, std::optional<Lnb> fitted,
              const std::vector<broadcast::Transponder> &transponders);

    [[nodiscard]] const Lnb &for_transponder(const broadcast::Transponder &transponder) const;

 private:
    std::optional<Lnb> fixed_;
    LnbChoice choice_;
};

// A board and a place for what the driver says, ready for a session.
class Workbench {
 public:
    explicit Workbench(const Program &program);

    [[nodiscard]] HostBoard &board() { return *board_; }
    [[nodiscard]] DriverLog &log() { return log_; }

    // Fit the LNB that a request counts on, and turn the dish, where the world is ours to arrange.
    void fit_lnb(const Lnb &lnb);
    void point_at(const broadcast::Satellite &satellite, unsigned port);

 protected:
    // Do the work of a session, then end trace and log. What the driver wrote is shown when any of
    // it fails.
    ExitStatus live(const std::function<ExitStatus()> &session);

 private:
    DriverLog log_;
    std::unique_ptr<HostBoard> board_;
};

// A workbench with a plug-in.
class Rig : public Workbench {
 public:
    explicit Rig(const Program &program);

    [[nodiscard]] const Plugin &plugin() const { return plugin_; }

    // Live a session: init, the work, finalize.
    ExitStatus run(const std::function<ExitStatus(Session &)> &work);

 private:
    Plugin plugin_;
};

// A workbench with the chip layer of this program: never beside a plug-in in one process.
class ChipRig : public Workbench {
 public:
    using Workbench::Workbench;

    // Live a session: start-up, the work, chips asleep and supply off.
    ExitStatus run(const std::function<ExitStatus(ChipSession &)> &work);
};

}  // namespace host
