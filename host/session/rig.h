// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "host/boards/boards.h"
#include "host/boards/simulated_board.h"
#include "host/cable/lnb_choice.h"
#include "host/session/chip_session.h"
#include "host/session/plugin_loader.h"
#include "host/session/session.h"
#include "host/terminal/console.h"
#include "host/terminal/driver_log.h"
#include "host/terminal/failure.h"

namespace host {

// What a session is set up by.
struct RigOptions {
    BoardOptions board;
    std::optional<std::string> plugin;      // its file; absent: the first on the search path
    std::optional<std::string> driver_log;  // as DriverLog takes it
};

// Which LNB a transponder is received with: the one that was chosen, else the one that is known to
// hang on the board, else the usual one for the transponders at hand.
class LnbSource {
 public:
    LnbSource(std::optional<broadcast::Lnb> chosen, std::optional<broadcast::Lnb> fitted,
              const std::vector<broadcast::Transponder> &transponders);

    [[nodiscard]] const broadcast::Lnb &for_transponder(
        const broadcast::Transponder &transponder) const;

 private:
    std::optional<broadcast::Lnb> fixed_;
    LnbChoice choice_;
};

// A board and a place for what the driver says, ready for a session.
class Workbench {
 public:
    Workbench(const RigOptions &options, Console &console);

    [[nodiscard]] HostBoard &board() { return *board_; }
    [[nodiscard]] DriverLog &log() { return log_; }

    // Fit the LNB that a request counts on, and turn the dish, where the world is ours to arrange.
    void fit_lnb(const broadcast::Lnb &lnb);
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
    Rig(const RigOptions &options, Console &console);

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
