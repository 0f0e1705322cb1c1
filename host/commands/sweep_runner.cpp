// SPDX-License-Identifier: MIT
#include "host/commands/sweep_runner.h"

#include <fmt/format.h>

#include <cstdint>
#include <set>
#include <utility>

#include "host/cable/plan.h"
#include "host/commands/no_lock.h"

namespace host {

namespace {

// How long a row may take. A carrier that the board says will lock gets this much: the chip's
// search is slowest at 1000 ksym/s, where timing recovery, the sweep of the whole capture range and
// the first frames take half a second together.
constexpr std::uint64_t longest_search_ms = 3'000;
// When the board says that it will not, the driver still has its recoveries to try: the first-lock
// check of 100 ms twice and the equaliser restart, each within one poll of 50 ms.
constexpr std::uint64_t recovery_ms = 500;

SweptRow unusable(const RejectedRow &row) {
    SweptRow result;
    result.place = row.place;
    result.reason = "unusable_row";
    result.explanation = row.reason;
    return result;
}

bool may_still_lock(sim::Reason reason) {
    return reason == sim::Reason::searching || reason == sim::Reason::locked;
}

}  // namespace

SweepRunner::SweepRunner(Program &program, Rig &rig, const std::vector<Table> &tables,
                         bool as_wired, std::function<void(const SweptRow &)> watch)
    : program_(program), rig_(rig), tables_(tables), as_wired_(as_wired), watch_(std::move(watch)) {
    for (const Table &table : tables) {
        rows_ += table.rows.size() + table.rejected.size();
    }
}

void SweepRunner::run(Session &session) {
    for (const Table &table : tables_) {
        sweep_table(session, table);
    }
    rig_.look();
}

void SweepRunner::sweep_table(Session &session, const Table &table) {
    const LnbSource lnbs(program_.chosen_lnb(), rig_.board().fitted_lnb(),
                         table.satellite().transponders);
    if (!as_wired_) {
        point_dishes(table);
    }
    auto row = table.rows.begin();
    auto rejected = table.rejected.begin();
    while ((row != table.rows.end() || rejected != table.rejected.end()) && !rig_.must_end()) {
        const bool usable = rejected == table.rejected.end() ||
                            (row != table.rows.end() && row->place.row < rejected->place.row);
        SweptRow result = usable ? visit(session, *row, lnbs.for_transponder(row->transponder))
                                 : unusable(*rejected);
        usable ? static_cast<void>(++row) : static_cast<void>(++rejected);
        if (result.row_class != RowClass::locked && usable && rig_.must_end()) {
            return;  // it was cut short; nothing can be said about this row
        }
        result.table = &table;
        record(std::move(result));
    }
}

// --switch says where all rows are; otherwise each row may.
unsigned SweepRunner::port_of(const TableRow &row) const {
    const unsigned chosen = program_.options.switch_port;
    return chosen != 0 ? chosen : row.switch_port;
}

void SweepRunner::point_dishes(const Table &table) {
    if (program_.options.switch_port != 0) {
        rig_.point_at(table.satellite(), program_.options.switch_port);
        return;
    }
    std::set<unsigned> ports;
    for (const TableRow &row : table.rows) {
        if (ports.insert(row.switch_port).second) {
            rig_.point_at(table.satellite_at(row.switch_port), row.switch_port);
        }
    }
}

SweptRow SweepRunner::visit(Session &session, const TableRow &row, const broadcast::Lnb &lnb) {
    const unsigned port = port_of(row);
    const tune_request request = request_for(row.transponder, lnb, port);
    const TunePlan plan = plan_tune(request);
    SweptRow result;
    result.place = row.place;
    result.transponder = row.transponder;
    result.lnb = lnb.name;
    result.if_khz = plan.if_khz;
    rig_.fit_lnb(lnb);
    const TuneAnswer answer = session.tune(request);
    rig_.judge().hear_answer(request, answer != TuneAnswer::out_of_range);
    switch (answer) {
        case TuneAnswer::out_of_range:
            result.row_class = RowClass::out_of_range;
            result.reason = "if_range";
            result.explanation = plan.refusal.value_or("the plug-in refuses the frequency");
            return result;
        case TuneAnswer::refused:
            result.row_class = RowClass::refused;
            result.reason = "refused";
            result.explanation = plan.refusal.value_or("the plug-in refuses the request");
            return result;
        case TuneAnswer::connect_failed:
            result.row_class = RowClass::refused;
            result.reason = "connect_failed";
            result.explanation = "the demodulator could not be set up for this channel";
            return result;
        default:
            rig_.judge().see_cable(request);
            await_lock(session, port, result);
            return result;
    }
}

void SweepRunner::await_lock(Session &session, unsigned port, SweptRow &result) {
    SimulatedBoard *simulated = rig_.board().simulated();
    result.lock_ms = simulated != nullptr
                         ? session.wait_for_lock(patience_with(simulated->receiver()))
                         : session.wait_for_lock(patience_alone());
    if (simulated != nullptr) {
        const sim::Reception reception = simulated->receiver().reception(*result.transponder, port);
        result.receivable = reception.receivable();
        result.obstacle = reception.receivable() ? "" : reception.text;
        result.restarts = restarts_of(rig_.board());
    }
    if (result.lock_ms) {
        Session::settle([this] { return rig_.must_end(); });
        result.row_class = RowClass::locked;
        if (!rig_.must_end()) {
            result.signal = session.signal();
            judge_lock(result);
        }
        return;
    }
    result.row_class = RowClass::no_lock;
    rig_.look();
    if (!rig_.must_end()) {
        judge_silence(session);
    }
    const NoLock why = explain_no_lock(rig_.board()).value_or(NoLock{"no lock", ""});
    result.reason = why.reason;
    result.explanation = why.explanation;
}

// What the driver says where it has no lock. The strength is the mean of a while.
void SweepRunner::judge_silence(Session &session) {
    rig_.judge().hear_lock([&session] { return session.locked(); });
    if (rig_.judge().can_tell()) {
        Session::settle([this] { return rig_.must_end(); });
        rig_.judge().hear_published(session.signal());
    }
}

// What the lock is worth, and what the driver says of it.
void SweepRunner::judge_lock(SweptRow &result) {
    rig_.judge().hear_published(*result.signal);
    result.explanation = rig_.judge().without_data();
    if (result.explanation.empty()) {
        return;
    }
    result.row_class = RowClass::locked_without_data;
    result.reason = "transport stream";
    if (result.transponder->symbol_rate >= first_wrapped_rate) {
        result.obstacle = wrapped_rate_explanation;
    }
}

// A world that says whether waiting is worth while.
Session::Patience SweepRunner::patience_with(sim::Receiver &receiver) {
    return {[this, &receiver](std::uint64_t elapsed_ms) {
                return rig_.must_end_by_look() || elapsed_ms >= longest_search_ms ||
                       (elapsed_ms >= recovery_ms && !may_still_lock(receiver.verdict().reason));
            },
            [&receiver] { return receiver.verdict().locked(); }};
}

Session::Patience SweepRunner::patience_alone() {
    return {[this](std::uint64_t elapsed_ms) {
                return rig_.must_end_by_look() || elapsed_ms >= longest_search_ms;
            },
            nullptr};
}

void SweepRunner::record(SweptRow result) {
    if (!result.is_defect() && result.row_class != RowClass::refused) {
        rig_.log().forget_recent();
    }
    swept_.push_back(std::move(result));
    program_.console.progress("");
    watch_(swept_.back());
    program_.console.progress(
        fmt::format("{}/{} {}", swept_.size(), rows_, swept_.back().table->name));
}

}  // namespace host
