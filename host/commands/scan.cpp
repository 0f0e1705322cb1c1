// SPDX-License-Identifier: MIT
#include "host/commands/scan.h"

#include <fmt/format.h>

#include <algorithm>
#include <exception>
#include <functional>
#include <map>

#include "host/cable/describe.h"
#include "host/cable/frequency.h"
#include "host/cable/legs.h"
#include "host/cable/plan.h"
#include "host/report/report.h"
#include "host/report/scan_output.h"
#include "host/scan/compare.h"
#include "host/scan/found.h"
#include "host/scan/leg_scan.h"
#include "host/session/pace.h"
#include "host/session/rig.h"
#include "host/tables/catalogue.h"
#include "host/tables/table_writer.h"

namespace host {

namespace {

constexpr unsigned switch_ports = 4;

[[noreturn]] void usage(const std::string &message) { throw Failure(ExitStatus::usage, message); }

FrequencyRange noted_range(const std::string &text, Console &console) {
    const RangeReading reading = parse_range(text);
    if (reading.unit_assumed) {
        console.note(fmt::format("range {} is read as {} to {}", text,
                                 format_mhz(reading.range.low_khz),
                                 format_mhz(reading.range.high_khz)));
    }
    return reading.range;
}

// The options that can be read before there is a board.
LegsWanted read_wanted(const ScanOptions &options, const Program &program) {
    if (options.range && options.intermediate) {
        usage("scan takes --range or --if, not both");
    }
    if (options.all_ports && program.options.switch_port != 0) {
        usage("scan takes --all-ports or --switch, not both");
    }
    if (options.report && (*options.report == "-" || options.report == program.options.output)) {
        usage(fmt::format("--report {}: the page needs a file of its own", *options.report));
    }
    LegsWanted wanted;
    if (options.range) {
        wanted.downlink = noted_range(*options.range, program.console);
    }
    if (options.intermediate) {
        wanted.intermediate = noted_range(*options.intermediate, program.console);
    }
    if (options.polarisation) {
        wanted.polarisation = broadcast::polarisation_named(*options.polarisation);
        if (!wanted.polarisation) {
            usage(
                fmt::format("'{}' is no polarisation; write H, V, L or R", *options.polarisation));
        }
        if (options.circular && !is_circular(*wanted.polarisation)) {
            usage(fmt::format("polarisation {} is not circular; write L or R",
                              *options.polarisation));
        }
    }
    wanted.ports = {program.options.switch_port};
    if (options.all_ports) {
        wanted.ports = {1, 2, 3, 4};
        static_assert(switch_ports == 4);
    }
    return wanted;
}

// Where the data go. With -o NAME.conf the file gets a channel table, and standard output the data.
class Destinations {
 public:
    Destinations(const GlobalOptions &options, const std::optional<std::string> &report)
        : data_(options.format, names_table(options) ? std::nullopt : options.output) {
        if (names_table(options)) {
            table_.emplace(Format::text, options.output);
        }
        if (report) {
            report_.emplace(Format::text, report);
        }
    }

    [[nodiscard]] bool wants_report() const { return report_.has_value(); }

    // One that cannot be written costs no other; its failure is thrown when all had their turn.
    void write(const ScanResult &result, const std::string &title, const std::string &board) {
        std::exception_ptr failure;
        const auto attempt = [&failure](const std::function<void()> &writing) {
            try {
                writing();
            } catch (const Failure &) {
                failure = failure ? failure : std::current_exception();
            }
        };
        attempt([&] {
            write_scan(data_, result);
            data_.finish();
        });
        if (table_) {
            attempt([&] { write_text(*table_, table_text(table_rows(result))); });
        }
        if (report_) {
            attempt([&] { write_text(*report_, report_page(report_of(result, title, board))); });
        }
        if (failure) {
            std::rethrow_exception(failure);
        }
    }

 private:
    static void write_text(Output &output, const std::string &text) {
        output.text(text);
        output.finish();
    }

    static bool names_table(const GlobalOptions &options) {
        return options.output && options.output->ends_with(".conf");
    }

    Output data_;
    std::optional<Output> table_;
    std::optional<Output> report_;
};

// What is known beforehand of what may be on the cable.
struct Surroundings {
    std::optional<broadcast::Satellite> satellite;  // that the built-in board's dish is turned to
    std::vector<broadcast::Transponder> transponders;
};

Surroundings look_around(Workbench &rig, const ScanOptions &options) {
    Surroundings surroundings;
    const SimulatedBoard *simulated = rig.board().simulated();
    if (simulated == nullptr || !simulated->is_demo()) {
        if (options.satellite && simulated != nullptr) {
            usage("--satellite has no use on a board whose scenario says what the dish sees");
        }
        if (options.satellite) {
            surroundings.transponders =
                read_table(find_table(*options.satellite)).satellite().transponders;
        }
        if (simulated != nullptr) {
            for (const broadcast::Satellite &satellite : simulated->scenario().satellites) {
                surroundings.transponders.insert(surroundings.transponders.end(),
                                                 satellite.transponders.begin(),
                                                 satellite.transponders.end());
            }
        }
        return surroundings;
    }
    surroundings.satellite = options.satellite
                                 ? read_table(find_table(*options.satellite)).satellite()
                                 : demo_satellite();
    surroundings.transponders = surroundings.satellite->transponders;
    return surroundings;
}

bool reaches(const broadcast::Lnb &lnb, const broadcast::Transponder &transponder) {
    return !plan_tune(request_for(transponder, lnb, 0)).refusal;
}

// The usual LNB of most of the transponders.
broadcast::Lnb usual_lnb(const std::vector<broadcast::Transponder> &transponders) {
    const LnbChoice choice(transponders);
    std::map<std::string, unsigned> count;
    const broadcast::Lnb *usual = &lnb_named("EXTENDED");
    for (const broadcast::Transponder &transponder : transponders) {
        const broadcast::Lnb &lnb = choice.for_transponder(transponder);
        if (reaches(lnb, transponder) && ++count[lnb.name] > count[usual->name]) {
            usual = &lnb;
        }
    }
    return *usual;
}

broadcast::Lnb lnb_for(const Program &program, HostBoard &board, const Surroundings &surroundings) {
    if (const auto chosen = program.chosen_lnb()) {
        return *chosen;
    }
    if (const auto fitted = board.fitted_lnb()) {
        return *fitted;
    }
    broadcast::Lnb usual = usual_lnb(surroundings.transponders);
    if (board.simulated() == nullptr) {
        program.console.note(
            fmt::format("LNB {} is assumed; name another one with --lnb", usual.name));
    }
    return usual;
}

// Whether most of the transponders in reach are circularly polarised.
bool mostly_circular(const std::vector<broadcast::Transponder> &transponders,
                     const broadcast::Lnb &lnb) {
    std::ptrdiff_t balance = 0;
    for (const broadcast::Transponder &transponder : transponders) {
        if (reaches(lnb, transponder)) {
            balance += is_circular(transponder.polarisation) ? 1 : -1;
        }
    }
    return balance > 0;
}

bool uses_circular(const ScanOptions &options, const LegsWanted &wanted,
                   const std::optional<Table> &table, const Surroundings &surroundings) {
    if (wanted.polarisation) {
        return is_circular(*wanted.polarisation);
    }
    return options.circular || is_circular(wanted.lnb) ||
           mostly_circular(table ? table->satellite().transponders : surroundings.transponders,
                           wanted.lnb);
}

// What of a range is left out, in a note: a scan of less than was asked for is no failure.
void note_shortfall(const LegsWanted &wanted, const std::vector<ScanLeg> &legs, Console &console) {
    if (!wanted.downlink && !wanted.intermediate) {
        return;
    }
    const FrequencyRange asked = wanted.downlink ? *wanted.downlink : *wanted.intermediate;
    FrequencyRange reached{0xFFFFFFFF, 0};
    for (const ScanLeg &leg : legs) {
        const FrequencyRange range =
            wanted.downlink ? leg.downlink()
                            : FrequencyRange{leg.if_low_mhz * 1000U, leg.if_high_mhz * 1000U};
        reached.low_khz = std::min(reached.low_khz, range.low_khz);
        reached.high_khz = std::max(reached.high_khz, range.high_khz);
    }
    if (reached.low_khz > asked.low_khz || reached.high_khz < asked.high_khz) {
        console.note(fmt::format("of {} to {} only {} to {} can be reached",
                                 format_mhz(asked.low_khz), format_mhz(asked.high_khz),
                                 format_mhz(reached.low_khz), format_mhz(reached.high_khz)));
    }
}

std::string clock_text(double seconds) {
    const auto whole = static_cast<std::uint64_t>(seconds);
    return fmt::format("{}:{:02}", whole / 60, whole % 60);
}

// Runs the legs one after the other.
class Scan {
 public:
    Scan(Program &program, ChipRig &rig, const ScanSettings &settings, bool with_spectrum)
        : program_(program), rig_(rig), settings_(settings), with_spectrum_(with_spectrum) {}

    ScanResult run(ChipSession &session, const broadcast::Lnb &lnb,
                   const std::vector<ScanLeg> &legs) {
        ScanResult result;
        result.lnb = lnb;
        result.settings = settings_;
        result.legs_planned = legs.size();
        std::vector<FoundTransponder> found;
        for (const ScanLeg &leg : legs) {
            if (program_.interrupt.requested()) {
                break;
            }
            result.legs.push_back(scan_leg(session, leg, result.legs.size(), legs.size()));
            const auto &more = result.legs.back().result.found;
            found.insert(found.end(), more.begin(), more.end());
        }
        program_.console.progress("");
        result.transponders = merge_found(std::move(found));
        result.complete = !program_.interrupt.requested();
        return result;
    }

 private:
    ScannedLeg scan_leg(ChipSession &session, const ScanLeg &leg, std::size_t index,
                        std::size_t count) {
        session.select(leg.cable);
        LegScan scan(leg, index, settings_,
                     [&](const LegProgress &progress) { show(leg, index, count, progress); });
        ScannedLeg scanned{leg, scan.run([this] { return program_.interrupt.requested(); }), {}};
        if (with_spectrum_) {
            scanned.spectrum = spectrum_of(leg);
        }
        session.take_lines();
        if (scanned.result.complete) {
            rig_.log().forget_recent();
        }
        program_.console.detail(fmt::format("{}: {} candidates, {} locked, {:.1f} s", leg.label(),
                                            scanned.result.candidates, scanned.result.found.size(),
                                            static_cast<double>(scanned.result.time_ms) / 1000.0));
        return scanned;
    }

    // Short enough for a terminal of 80 columns; after the leg's own figures the time so far.
    void show(const ScanLeg &leg, std::size_t index, std::size_t count,
              const LegProgress &progress) {
        locked_before_ = index == leg_shown_ ? locked_before_ : locked_before_ + locked_in_leg_;
        leg_shown_ = index;
        locked_in_leg_ = progress.locked;
        if (!program_.console.shows_progress()) {
            return;
        }
        const double share =
            (static_cast<double>(index) + progress.share) / static_cast<double>(count);
        const double elapsed_s = static_cast<double>(board::wall_now_ns() - begin_ns_) / 1e9;
        std::string text = fmt::format(
            "leg {}/{}{}, {} MHz {}, {} candidates, {} locked, {}", index + 1, count,
            leg.cable.switch_port == 0 ? "" : fmt::format(", port {}", leg.cable.switch_port),
            progress.frequency_khz / 1000U, polarisation_letter(leg.polarisation),
            progress.candidates, locked_before_ + progress.locked, clock_text(elapsed_s));
        if (share > 0) {
            text += fmt::format(", {} to go", clock_text(elapsed_s * (1 - share) / share));
        }
        program_.console.progress(text);
    }

    // What is on the cable while the leg is selected, at downlink frequencies.
    std::vector<SpectrumPoint> spectrum_of(const ScanLeg &leg) {
        SimulatedBoard *simulated = rig_.board().simulated();
        if (simulated == nullptr) {
            return {};
        }
        constexpr std::uint32_t step_khz = 500;
        const std::uint32_t low_khz = leg.if_low_mhz * 1000U;
        const std::vector<double> density_db =
            simulated->receiver().cable_spectrum_db(low_khz, leg.if_high_mhz * 1000.0, step_khz);
        std::vector<SpectrumPoint> points;
        for (std::size_t i = 0; i < density_db.size(); ++i) {
            const auto if_khz = static_cast<std::uint32_t>(low_khz + i * step_khz);
            points.push_back({leg.downlink_khz(if_khz) / 1000.0, density_db[i]});
        }
        if (leg.lof_above) {
            std::reverse(points.begin(), points.end());
        }
        return points;
    }

    Program &program_;
    ChipRig &rig_;
    ScanSettings settings_;
    bool with_spectrum_;
    std::uint64_t begin_ns_ = board::wall_now_ns();
    std::size_t leg_shown_ = 0;
    unsigned locked_before_ = 0;
    unsigned locked_in_leg_ = 0;
};

void add_comparison(ScanResult &result, const Table &table, HostBoard &board) {
    std::vector<ScanLeg> whole;
    std::vector<SeenLeg> seen;
    for (const ScannedLeg &scanned : result.legs) {
        seen.push_back({scanned.leg, scanned.result.peaks});
        if (scanned.result.complete) {
            whole.push_back(scanned.leg);
        }
    }
    result.comparison = compare(table, whole, result.transponders);
    if (SimulatedBoard *simulated = board.simulated()) {
        explain(*result.comparison, simulated->receiver(), seen, result.transponders);
    }
}

ExitStatus judge(const ScanResult &result, HostBoard &board, Console &console, bool answers) {
    SimulatedBoard *const simulated = board.simulated();
    bool complaints = false;
    if (simulated != nullptr) {
        for (const sim::Complaint &complaint : simulated->receiver().complaints()) {
            console.error(fmt::format("the driver: {} ({} times), first: {}",
                                      to_string(complaint.offence), complaint.count,
                                      complaint.first));
            complaints = true;
        }
    }
    if (!answers) {
        console.error(
            "the demodulator at 0xD0 no longer answers: what was found is not all there is; see "
            "ds3000-ctl doctor");
        return ExitStatus::hardware_absent;
    }
    if (!result.complete) {
        return ExitStatus::cancelled;
    }
    if (complaints) {
        return ExitStatus::internal_error;
    }
    if (result.transponders.empty()) {
        console.error("no transponder found");
        if (simulated != nullptr && simulated->scenario().unicable) {
            console.note(
                "On this cable a Unicable unit shows only what it was asked for; scan asks for "
                "nothing. See ds3000-ctl unicable");
        }
        return ExitStatus::nothing_found;
    }
    return ExitStatus::done;
}

}  // namespace

ExitStatus run_scan(Program &program, const ScanOptions &options) {
    program.honour_only("scan", {"board", "lnb", "switch", "real-time", "trace", "driver-log"});
    LegsWanted wanted = read_wanted(options, program);
    const auto table =
        options.compare ? std::optional(read_table(find_table(*options.compare))) : std::nullopt;
    const std::uint64_t wall_begin_ns = board::wall_now_ns();
    // The built-in board has a switch if a port is asked for; its dish then hangs at that port.
    RigOptions set_up = program.rig_options();
    set_up.board.switch_port = wanted.ports.front();
    ChipRig rig(set_up, program.console);
    const Surroundings surroundings = look_around(rig, options);
    wanted.lnb = lnb_for(program, rig.board(), surroundings);
    wanted.circular = uses_circular(options, wanted, table, surroundings);
    const std::vector<ScanLeg> legs = scan_legs(wanted);
    note_shortfall(wanted, legs, program.console);
    Destinations destinations(program.options, options.report);
    rig.fit_lnb(wanted.lnb);
    if (surroundings.satellite) {
        rig.point_at(*surroundings.satellite, wanted.ports.front());
    }
    const ScanSettings settings{options.algorithm, static_cast<std::uint8_t>(options.passes)};
    return rig.run([&](ChipSession &session) {
        const std::uint64_t begin_ns = now_ns();
        ScanResult result = Scan(program, rig, settings, destinations.wants_report())
                                .run(session, wanted.lnb, legs);
        const bool answers = ChipSession::demodulator_answers();
        if (table) {
            add_comparison(result, *table, rig.board());
        }
        result.time_ms = (now_ns() - begin_ns) / 1'000'000U;
        result.wall_ms = (board::wall_now_ns() - wall_begin_ns) / 1'000'000U;
        result.shows_wall_time = options.wall_time;
        destinations.write(result,
                           surroundings.satellite
                               ? fmt::format("Blind scan of {}", surroundings.satellite->name)
                               : "Blind scan",
                           program.options.board);
        return judge(result, rig.board(), program.console, answers);
    });
}

}  // namespace host
