// SPDX-License-Identifier: MIT
#include "host/commands/sweep.h"

#include <fmt/format.h>

#include "host/commands/sweep_output.h"
#include "host/commands/sweep_report.h"
#include "host/commands/sweep_runner.h"
#include "host/session/pace.h"
#include "host/session/rig.h"
#include "host/tables/catalogue.h"
#include "host/tables/table.h"

namespace host {

namespace {

// What is wrong with the rows, said to a person. Returns the exit status.
ExitStatus status_of(const SweepReport &report, Console &console) {
    unsigned defects = 0;
    for (const SweptRow &row : report.rows) {
        if (row.is_defect()) {
            console.error(
                fmt::format("receivable, but {}: {}",
                            row.row_class == RowClass::locked_without_data ? "no data" : "no lock",
                            line_of(row)));
            ++defects;
        }
    }
    if (!report.complete()) {
        return ExitStatus::cancelled;
    }
    if (defects != 0) {
        return ExitStatus::no_lock;
    }
    if (report.totals().at(static_cast<std::size_t>(RowClass::locked)) == 0) {
        console.error("no row of the tables locked");
        return ExitStatus::nothing_found;
    }
    return ExitStatus::done;
}

// The first port that a row names, 0 when none does.
unsigned port_named_in(const std::vector<Table> &tables) {
    for (const Table &table : tables) {
        for (const TableRow &row : table.rows) {
            if (row.switch_port != 0) {
                return row.switch_port;
            }
        }
    }
    return 0;
}

}  // namespace

ExitStatus run_sweep(Program &program, const SweepOptions &options) {
    program.refuse_firmware("sweep");
    std::vector<Table> tables;
    tables.reserve(options.tables.size());
    for (const std::string &name : options.tables) {
        tables.push_back(table_named(name));
    }
    Output output(program.options.format, program.options.output);
    // The built-in board has a switch if a port is asked for.
    RigOptions set_up = program.rig_options();
    if (set_up.board.switch_port == 0) {
        set_up.board.switch_port = port_named_in(tables);
    }
    Rig rig(set_up, program.console);
    const std::uint64_t begin_ns = now_ns();
    const std::uint64_t wall_begin_ns = board::wall_now_ns();
    if (const SimulatedBoard *simulated = rig.board().simulated();
        options.as_wired && simulated != nullptr && simulated->is_demo()) {
        rig.point_at(demo_satellite(), set_up.board.switch_port);
    }
    SweepWriter writer(output, program.options.verbose);
    return rig.run([&](Session &session) {
        SweepRunner runner(program, rig, tables, options.as_wired,
                           [&writer](const SweptRow &row) { writer.write(row); });
        runner.run(session);
        const SweepReport report{tables,
                                 runner.take_rows(),
                                 rig.complaints(),
                                 rig.cut_short_by(),
                                 (now_ns() - begin_ns) / 1'000'000U,
                                 (board::wall_now_ns() - wall_begin_ns) / 1'000'000U};
        writer.finish(report);
        return status_of(report, program.console);
    });
}

}  // namespace host
