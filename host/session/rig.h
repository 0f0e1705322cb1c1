// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "host/boards/boards.h"
#include "host/boards/simulated_board.h"
#include "host/cable/lnb_choice.h"
#include "host/session/chip_session.h"
#include "host/session/firmware.h"
#include "host/session/judge.h"
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
    FirmwareFiles firmware = {};            // for the chip layer
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
    Workbench(const Workbench &) = delete;
    Workbench &operator=(const Workbench &) = delete;
    virtual ~Workbench() = default;

    [[nodiscard]] HostBoard &board() { return *board_; }
    [[nodiscard]] DriverLog &log() { return log_; }
    [[nodiscard]] Judge &judge() { return judge_; }

    // What the judge has come to by now; nothing of a board that is gone, and of what a driver did
    // that no chip answered.
    [[nodiscard]] Complaints complaints() const;

    // Whether the work is to end before its time: a person wants it to, or the board is gone.
    [[nodiscard]] bool must_end() const;

    // The same, with a look at the chips about once a second. For work that waits for something
    // that chips without their set-up never bring; not while they are asleep.
    [[nodiscard]] bool must_end_by_look();

    // What ended it so: "cancelled" or why the board is gone; empty while nothing did.
    [[nodiscard]] std::string cut_short_by() const;

    // Why the board is gone, if it is.
    [[nodiscard]] std::optional<BoardLoss> loss() const { return board_->watch().loss(); }

    // Fit the LNB that a request counts on, and turn the dish, where the world is ours to arrange.
    void fit_lnb(const broadcast::Lnb &lnb);
    void point_at(const broadcast::Satellite &satellite, unsigned port);

 protected:
    // Do the work of a session, judge the driver, then end trace and log. What the driver wrote is
    // shown when any of it fails.
    ExitStatus live(BoardWatch::Work work, const std::function<ExitStatus()> &session);

    // Do the work that a session is for. When the board goes meanwhile, that is what the work came
    // to, unless a person ended it.
    ExitStatus attend(const std::function<ExitStatus()> &work);

    [[nodiscard]] Console &console() { return console_; }

 private:
    Console &console_;
    // Have the chips looked at, now or soon.
    virtual void have_a_look() = 0;

    std::function<bool()> stopped_;
    std::uint64_t looked_ns_ = 0;
    DriverLog log_;
    std::unique_ptr<HostBoard> board_;
    Judge judge_;
};

// A workbench with a plug-in.
class Rig : public Workbench {
 public:
    Rig(const RigOptions &options, Console &console);

    [[nodiscard]] const Plugin &plugin() const { return plugin_; }

    // See whether the chips still are as init left them, with the next poll of the plug-in's
    // thread; that takes two of them at most. Nothing is learnt where that thread has nothing to
    // poll.
    void look();

    // Live a session: init, the work, finalize.
    ExitStatus run(const std::function<ExitStatus(Session &)> &work);

    // The same for work that makes its Tuners itself.
    ExitStatus lend(const std::function<ExitStatus()> &work);

 private:
    void have_a_look() override { board().watch().look_soon(); }
    [[noreturn]] void end_with(std::string_view hanging_call);

    Plugin plugin_;
};

// A workbench with the chip layer of this program: never beside a plug-in in one process.
class ChipRig : public Workbench {
 public:
    ChipRig(const RigOptions &options, Console &console);

    // See whether the chips still are as the start-up left them.
    void look();

    // Live a session: start-up, the work, chips asleep and supply off.
    ExitStatus run(const std::function<ExitStatus(ChipSession &)> &work);

 private:
    void have_a_look() override { look(); }
    void note_unused_firmware();
};

}  // namespace host
