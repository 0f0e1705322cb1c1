// SPDX-License-Identifier: MIT
#include "host/commands/sweep.h"

#include <fmt/format.h>

#include <array>
#include <map>
#include <set>

#include "host/cable/describe.h"
#include "host/cable/frequency.h"
#include "host/session/pace.h"
#include "host/session/rig.h"
#include "host/tables/catalogue.h"
#include "host/tables/table.h"

namespace host {

namespace {

// Each row of a table ends in exactly one of these.
enum class RowClass { locked, no_lock, out_of_range, refused, unusable_row };
constexpr std::array<const char *, 5> class_names{"locked", "no_lock", "out_of_range", "refused",
                                                  "unusable_row"};

std::string to_string(RowClass row_class) {
    return class_names.at(static_cast<std::size_t>(row_class));
}

struct RowResult {
    const Table *table = nullptr;
    RowPlace place;
    std::optional<broadcast::Transponder> transponder;  // absent for an unusable row
    RowClass row_class = RowClass::unusable_row;
    std::string lnb;
    std::optional<std::uint32_t> if_khz;
    std::optional<std::uint64_t> lock_ms;
    std::optional<Signal> signal;
    std::optional<bool> receivable;
    std::string obstacle;     // why it is not receivable
    std::string reason;       // a few words, always the same ones
    std::string explanation;  // with the numbers

    // What a receiver should have locked to and did not.
    [[nodiscard]] bool is_defect() const {
        return row_class != RowClass::locked && receivable.value_or(false);
    }
};

using Totals = std::array<unsigned, class_names.size()>;

// How long a row may take. A carrier that the board says will lock gets this much: the chip's
// search is slowest at 1000 ksym/s, where timing recovery, the sweep of the whole capture range and
// the first frames take half a second together.
constexpr std::uint64_t longest_search_ms = 3'000;
// When the board says that it will not, the driver still has its recoveries to try: the first-lock
// check of 100 ms twice and the equaliser restart, each within one poll of 50 ms.
constexpr std::uint64_t recovery_ms = 500;

std::vector<broadcast::Transponder> transponders_of(const Table &table) {
    return table.satellite().transponders;
}

class Sweep {
 public:
    Sweep(Program &program, Rig &rig, const std::vector<Table> &tables, bool as_wired)
        : program_(program), rig_(rig), tables_(tables), as_wired_(as_wired) {
        for (const Table &table : tables) {
            rows_ += table.rows.size() + table.rejected.size();
        }
    }

    // Visit every row. Returns false when cancelled.
    bool run(Session &session) {
        for (const Table &table : tables_) {
            sweep_table(session, table);
        }
        return !program_.interrupt.requested();
    }

    [[nodiscard]] const std::vector<RowResult> &results() const { return results_; }

 private:
    void sweep_table(Session &session, const Table &table) {
        const LnbSource lnbs(program_.chosen_lnb(), rig_.board().fitted_lnb(),
                             transponders_of(table));
        if (!as_wired_) {
            point_dishes(table);
        }
        auto row = table.rows.begin();
        auto rejected = table.rejected.begin();
        while ((row != table.rows.end() || rejected != table.rejected.end()) &&
               !program_.interrupt.requested()) {
            const bool usable = rejected == table.rejected.end() ||
                                (row != table.rows.end() && row->place.row < rejected->place.row);
            RowResult result = usable ? visit(session, *row, lnbs.for_transponder(row->transponder))
                                      : unusable(*rejected);
            usable ? static_cast<void>(++row) : static_cast<void>(++rejected);
            if (result.row_class == RowClass::no_lock && program_.interrupt.requested()) {
                return;  // the wait was cut short; nothing can be said about this row
            }
            result.table = &table;
            record(std::move(result));
        }
    }

    // --switch says where all rows are; otherwise each row may.
    [[nodiscard]] unsigned port_of(const TableRow &row) const {
        const unsigned chosen = program_.options.switch_port;
        return chosen != 0 ? chosen : row.switch_port;
    }

    void point_dishes(const Table &table) {
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

    static RowResult unusable(const RejectedRow &row) {
        RowResult result;
        result.place = row.place;
        result.reason = "unusable_row";
        result.explanation = row.reason;
        return result;
    }

    RowResult visit(Session &session, const TableRow &row, const broadcast::Lnb &lnb) {
        const unsigned port = port_of(row);
        const tune_request request = request_for(row.transponder, lnb, port);
        const TunePlan plan = plan_tune(request);
        RowResult result;
        result.place = row.place;
        result.transponder = row.transponder;
        result.lnb = lnb.name;
        result.if_khz = plan.if_khz;
        rig_.fit_lnb(lnb);
        switch (session.tune(request)) {
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
                await_lock(session, port, result);
                return result;
        }
    }

    void await_lock(Session &session, unsigned port, RowResult &result) {
        SimulatedBoard *simulated = rig_.board().simulated();
        result.lock_ms = simulated != nullptr
                             ? session.wait_for_lock(patience_with(simulated->receiver()))
                             : session.wait_for_lock(patience_alone());
        if (simulated != nullptr) {
            const sim::Reception reception =
                simulated->receiver().reception(*result.transponder, port);
            result.receivable = reception.receivable();
            result.obstacle = reception.receivable() ? "" : reception.text;
        }
        if (result.lock_ms) {
            session.settle();
            result.row_class = RowClass::locked;
            result.signal = session.signal();
            return;
        }
        result.row_class = RowClass::no_lock;
        result.reason = "no lock";
        if (simulated != nullptr) {
            const sim::Verdict verdict = simulated->receiver().verdict();
            result.reason = to_string(verdict.reason);
            result.explanation = verdict.text;
        }
    }

    // A world that says whether waiting is worth while.
    Session::Patience patience_with(sim::Receiver &receiver) {
        return {
            [this, &receiver](std::uint64_t elapsed_ms) {
                return program_.interrupt.requested() || elapsed_ms >= longest_search_ms ||
                       (elapsed_ms >= recovery_ms && !may_still_lock(receiver.verdict().reason));
            },
            [&receiver] { return receiver.verdict().locked(); }};
    }

    Session::Patience patience_alone() {
        return {[this](std::uint64_t elapsed_ms) {
                    return program_.interrupt.requested() || elapsed_ms >= longest_search_ms;
                },
                nullptr};
    }

    static bool may_still_lock(sim::Reason reason) {
        return reason == sim::Reason::searching || reason == sim::Reason::locked;
    }

    void record(RowResult result) {
        if (!result.is_defect() && result.row_class != RowClass::refused) {
            rig_.log().forget_recent();
        }
        results_.push_back(std::move(result));
        program_.console.progress(
            fmt::format("{}/{} {}", results_.size(), rows_, results_.back().table->name));
    }

    Program &program_;
    Rig &rig_;
    const std::vector<Table> &tables_;
    bool as_wired_;
    std::size_t rows_ = 0;
    std::vector<RowResult> results_;
};

Totals count_classes(const std::vector<RowResult> &results, const Table *table = nullptr) {
    Totals totals{};
    for (const RowResult &result : results) {
        if (table == nullptr || result.table == table) {
            ++totals.at(static_cast<std::size_t>(result.row_class));
        }
    }
    return totals;
}

Json totals_json(const Totals &totals) {
    Json json;
    unsigned rows = 0;
    for (std::size_t i = 0; i < totals.size(); ++i) {
        json[class_names.at(i)] = totals.at(i);
        rows += totals.at(i);
    }
    json["rows"] = rows;
    return json;
}

Json row_json(const RowResult &result) {
    Json json{{"table", result.table->name},
              {"row", result.place.row},
              {"line", result.place.line},
              {"class", to_string(result.row_class)}};
    if (result.transponder) {
        json.update(json_of(*result.transponder));
        json["modcod"] = broadcast::modcod_name(*result.transponder);
        json["lnb"] = result.lnb;
        json["if_khz"] = *result.if_khz;
    }
    if (result.lock_ms) {
        json["lock_ms"] = *result.lock_ms;
    }
    if (result.signal) {
        json["quality_db"] = result.signal->quality_db;
        json["strength_percent"] = result.signal->strength_percent;
    }
    if (result.receivable) {
        json["receivable"] = *result.receivable;
    }
    if (!result.obstacle.empty()) {
        json["obstacle"] = result.obstacle;
    }
    if (!result.reason.empty()) {
        json["reason"] = result.reason;
        if (!result.explanation.empty()) {
            json["explanation"] = result.explanation;
        }
    }
    return json;
}

Json complaint_json(const sim::Complaint &complaint) {
    return {{"offence", to_string(complaint.offence)},
            {"count", complaint.count},
            {"first", complaint.first}};
}

// What the sweep as a whole has to say.
struct Report {
    const std::vector<Table> &tables;
    const std::vector<RowResult> &results;
    std::vector<sim::Complaint> complaints;
    bool complete = true;
    std::uint64_t virtual_ms = 0;
    std::uint64_t wall_ms = 0;
};

Json summary_json(const Report &report, const char *schema) {
    Json json{{"schema", schema}, {"complete", report.complete}};
    Json tables = Json::array();
    for (const Table &table : report.tables) {
        Json entry{{"table", table.name}};
        entry.update(totals_json(count_classes(report.results, &table)));
        tables.push_back(std::move(entry));
    }
    json["tables"] = std::move(tables);
    json["totals"] = totals_json(count_classes(report.results));
    json["virtual_time_ms"] = report.virtual_ms;
    json["complaints"] = Json::array();
    for (const sim::Complaint &complaint : report.complaints) {
        json["complaints"].push_back(complaint_json(complaint));
    }
    return json;
}

std::string row_text(const RowResult &result) {
    std::string text = fmt::format("{:<12} {}:{}", to_string(result.row_class), result.table->name,
                                   result.place.row);
    if (result.transponder) {
        text += fmt::format("  {}", broadcast::describe(*result.transponder));
    }
    if (result.lock_ms) {
        text += fmt::format("  {} ms, {} dB, {} %", *result.lock_ms, result.signal->quality_db,
                            result.signal->strength_percent);
    }
    for (const std::string &remark : {result.explanation, result.obstacle}) {
        text += remark.empty() ? "" : fmt::format("  {}", remark);
    }
    return text;
}

void write_totals_row(Output &output, std::size_t width, const std::string &name,
                      const Totals &totals) {
    output.line(fmt::format("{:<{}} {:>8} {:>8} {:>12} {:>8} {:>9}", name, width, totals[0],
                            totals[1], totals[2], totals[3], totals[4]));
}

// Why rows without lock have none, the most frequent reason first.
void write_reasons(Output &output, const Report &report) {
    std::map<std::string, unsigned> counts;
    for (const RowResult &result : report.results) {
        if (result.row_class == RowClass::no_lock) {
            ++counts[result.reason];
        }
    }
    std::vector<std::pair<unsigned, std::string>> ordered;
    ordered.reserve(counts.size());
    for (const auto &[reason, count] : counts) {
        ordered.emplace_back(count, reason);
    }
    std::sort(ordered.rbegin(), ordered.rend());
    for (const auto &[count, reason] : ordered) {
        output.line(fmt::format("no lock, {}: {}", reason, count));
    }
}

void write_text(Output &output, const Report &report, bool every_row) {
    if (every_row) {
        for (const RowResult &result : report.results) {
            output.line(row_text(result));
        }
    }
    std::size_t width = std::string_view("table").size();
    for (const Table &table : report.tables) {
        width = std::max(width, table.name.size());
    }
    output.line(fmt::format("{:<{}} {:>8} {:>8} {:>12} {:>8} {:>9}", "table", width, "locked",
                            "no lock", "out of range", "refused", "unusable"));
    for (const Table &table : report.tables) {
        write_totals_row(output, width, table.name, count_classes(report.results, &table));
    }
    if (report.tables.size() > 1) {
        write_totals_row(output, width, "all", count_classes(report.results));
    }
    write_reasons(output, report);
    output.line(fmt::format("{} rows in {:.1f} s of the receiver's time, {:.1f} s on the wall{}",
                            report.results.size(), static_cast<double>(report.virtual_ms) / 1e3,
                            static_cast<double>(report.wall_ms) / 1e3,
                            report.complete ? "" : ", cancelled"));
}

void write_csv(Output &output, const Report &report) {
    constexpr std::array<const char *, 17> columns{"table",
                                                   "row",
                                                   "line",
                                                   "class",
                                                   "frequency_khz",
                                                   "polarisation",
                                                   "symbol_rate_sps",
                                                   "system",
                                                   "modcod",
                                                   "lnb",
                                                   "if_khz",
                                                   "lock_ms",
                                                   "quality_db",
                                                   "strength_percent",
                                                   "receivable",
                                                   "reason",
                                                   "explanation"};
    output.csv_row({columns.begin(), columns.end()});
    for (const RowResult &result : report.results) {
        const Json row = row_json(result);
        std::vector<std::string> fields;
        for (const char *column : columns) {
            const auto field = row.find(column);
            fields.push_back(field == row.end()   ? ""
                             : field->is_string() ? field->get<std::string>()
                                                  : field->dump());
        }
        output.csv_row(fields);
    }
}

void write_report(Output &output, const Report &report, bool verbose) {
    switch (output.format()) {
        case Format::text:
            write_text(output, report, verbose);
            break;
        case Format::csv:
            write_csv(output, report);
            break;
        case Format::jsonl:
            for (const RowResult &result : report.results) {
                Json row{{"schema", "ds3000.sweep.row/1"}};
                row.update(row_json(result));
                output.json(row);
            }
            output.json(summary_json(report, "ds3000.sweep.summary/1"));
            break;
        case Format::json: {
            Json json = summary_json(report, "ds3000.sweep/1");
            json["transponders"] = Json::array();
            for (const RowResult &result : report.results) {
                json["transponders"].push_back(row_json(result));
            }
            output.json(json);
            break;
        }
    }
    output.finish();
}

// What is wrong with the driver by this sweep, said to a person. Returns the exit status.
ExitStatus judge(const Report &report, Console &console) {
    for (const sim::Complaint &complaint : report.complaints) {
        console.error(fmt::format("the driver: {}, {} times, first: {}",
                                  to_string(complaint.offence), complaint.count, complaint.first));
    }
    unsigned defects = 0;
    for (const RowResult &result : report.results) {
        if (result.is_defect()) {
            console.error(fmt::format("receivable, but no lock: {}", row_text(result)));
            ++defects;
        }
    }
    if (!report.complete) {
        return ExitStatus::cancelled;
    }
    if (defects != 0) {
        return ExitStatus::no_lock;
    }
    if (!report.complaints.empty()) {
        return ExitStatus::internal_error;
    }
    if (count_classes(report.results).at(static_cast<std::size_t>(RowClass::locked)) == 0) {
        console.error("no row of the tables locked");
        return ExitStatus::nothing_found;
    }
    return ExitStatus::done;
}

// What a simulated world has to say of the driver's manners.
std::vector<sim::Complaint> complaints_of(HostBoard &board) {
    SimulatedBoard *simulated = board.simulated();
    return simulated == nullptr ? std::vector<sim::Complaint>{}
                                : simulated->receiver().complaints();
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
    std::vector<Table> tables;
    tables.reserve(options.tables.size());
    for (const std::string &name : options.tables) {
        tables.push_back(read_table(find_table(name)));
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
    return rig.run([&](Session &session) {
        Sweep sweep(program, rig, tables, options.as_wired);
        const bool complete = sweep.run(session);
        const Report report{tables,
                            sweep.results(),
                            complaints_of(rig.board()),
                            complete,
                            (now_ns() - begin_ns) / 1'000'000U,
                            (board::wall_now_ns() - wall_begin_ns) / 1'000'000U};
        write_report(output, report, program.options.verbose);
        return judge(report, program.console);
    });
}

}  // namespace host
