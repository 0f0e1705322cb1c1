// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <functional>
#include <vector>

#include "host/commands/program.h"
#include "host/commands/sweep_report.h"
#include "host/session/rig.h"
#include "host/session/session.h"
#include "sim/receiver.h"

namespace host {

// Tunes to the rows of tables one after the other, and says what became of each.
class SweepRunner {
 public:
    // as_wired: leave a simulated world's dishes where they point. watch: hears of each row at
    // once.
    SweepRunner(Program &program, Rig &rig, const std::vector<Table> &tables, bool as_wired,
                std::function<void(const SweptRow &)> watch);

    // Visit every row, unless the work is to end before.
    void run(Session &session);

    // The rows visited, which are the caller's from now on.
    [[nodiscard]] std::vector<SweptRow> take_rows() { return std::move(swept_); }

 private:
    void sweep_table(Session &session, const Table &table);
    void point_dishes(const Table &table);
    [[nodiscard]] unsigned port_of(const TableRow &row) const;
    SweptRow visit(Session &session, const TableRow &row, const broadcast::Lnb &lnb);
    void await_lock(Session &session, unsigned port, SweptRow &result);
    void judge_silence(Session &session);
    void judge_lock(SweptRow &result);
    Session::Patience patience_with(sim::Receiver &receiver);
    Session::Patience patience_alone();
    void record(SweptRow result);

    Program &program_;
    Rig &rig_;
    const std::vector<Table> &tables_;
    bool as_wired_;
    std::function<void(const SweptRow &)> watch_;
    std::size_t rows_ = 0;
    std::vector<SweptRow> swept_;
};

}  // namespace host
