// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "board/board.h"
#include "broadcast/transponder.h"
#include "host/boards/board_options.h"
#include "host/boards/board_watch.h"
#include "host/boards/board_wiring.h"
#include "host/boards/trace_writer.h"
#include "host/cable/lnb.h"
#include "host/terminal/output.h"

namespace host {

class SimulatedBoard;

// A board of this program: what the process's hdi_* reach while it exists, with a recorder in front
// of it when a trace is asked for, and a watch in front of both.
class HostBoard {
 public:
    HostBoard() = default;
    HostBoard(const HostBoard &) = delete;
    HostBoard &operator=(const HostBoard &) = delete;
    virtual ~HostBoard();

    // The world behind the board, where there is one.
    [[nodiscard]] virtual SimulatedBoard *simulated() { return nullptr; }

    // What is known of the board before a driver has spoken to it.
    [[nodiscard]] virtual Json describe() const = 0;

    // The LNB that hangs on the board, if the board knows.
    [[nodiscard]] virtual std::optional<broadcast::Lnb> fitted_lnb() const { return std::nullopt; }

    [[nodiscard]] virtual BoardWiring wiring() const { return {}; }

    // Whether the chips are simulated, for which a placeholder serves as firmware.
    [[nodiscard]] virtual bool has_simulated_chips() const { return false; }

    // Whether the LNB supply stays as it is when the program ends. GPIO lines are given back then.
    [[nodiscard]] virtual bool supply_outlives_program() const { return true; }

    // A transponder that the board's dish sees, if the board knows one.
    [[nodiscard]] virtual std::optional<broadcast::Transponder> usual_transponder() const {
        return std::nullopt;
    }

    // Whether the watch may ask the chips by itself: a recording answers what was asked when it was
    // made.
    [[nodiscard]] virtual bool can_be_looked_at() const { return true; }

    // Whether the board is a recording and was asked for something else than it holds.
    [[nodiscard]] virtual bool has_departed() const { return false; }

    // What stands in front of the board, once it is attached.
    [[nodiscard]] BoardWatch &watch() { return *watch_; }

    // The work is done: end the trace. Throws OutputError when it could not be written whole, and
    // whatever else a board has to say about the work.
    virtual void finish();

 protected:
    // From now on hdi_* reach this board. Throws OutputError for a trace that cannot be written.
    void attach(board::Board &board, const BoardOptions &options);

    // hdi_* reach no board any more.
    static void detach() { board::set_board(nullptr); }

 private:
    [[nodiscard]] trace::TraceHead trace_head(const BoardOptions &options) const;

    std::unique_ptr<TraceWriter> trace_;
    std::optional<BoardWatch> watch_;
};

}  // namespace host
