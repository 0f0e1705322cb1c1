// SPDX-License-Identifier: MIT
#include "host/commands/spectrum.h"

#include <fmt/format.h>

#include <utility>
#include <vector>

#include "host/commands/page_choice.h"
#include "host/report/report.h"
#include "host/report/spectrum_output.h"
#include "host/scan/spectrum_runner.h"
#include "host/session/pace.h"
#include "host/terminal/columns.h"

namespace host {

namespace {

// Where the data go, and the page where one is asked for.
struct Destinations {
    Output data;
    std::optional<Output> page;

    Destinations(const GlobalOptions &options, const std::optional<std::string> &report)
        : data(options.format, names_page(options) ? std::nullopt : options.output) {
        if (const auto file = page_file(options, report)) {
            page.emplace(Format::text, file);
        }
    }
};

std::string page_title(const LegPlan &plan) {
    return plan.surroundings.satellite
               ? fmt::format("Spectrum of {}", plan.surroundings.satellite->name)
               : "Spectrum";
}

}  // namespace

ExitStatus run_spectrum(Program &program, const SpectrumOptions &options) {
    program.honour_on_chips("spectrum", {"lnb", "switch"});
    refuse_contradicting_pages(program.options, options.report);
    LegsWanted wanted = read_wanted("spectrum", options.legs, program);
    const auto then = options.compare ? std::optional(read_spectrum(*options.compare))
                                      : std::optional<std::vector<StoredLeg>>();
    RigOptions set_up = program.rig_options();
    set_up.board.switch_port = wanted.ports.front();
    ChipRig rig(set_up, program.console);
    const LegPlan plan = plan_legs(program, options.legs, std::move(wanted), std::nullopt, rig);
    refuse_truth_without_world(options.simulated_truth, rig.board());
    Destinations destinations(program.options, options.report);
    arrange_world(rig, plan);
    constexpr std::size_t usual_columns = 80;
    const SpectrumView view{columns_of(stdout).value_or(usual_columns),
                            options.compare.value_or(""), options.fall_db};
    return rig.run([&](ChipSession &session) {
        const std::uint64_t begin_ns = now_ns();
        SpectrumWriter writer(destinations.data, view);
        SpectrumRunner runner(
            rig, program.console, options.simulated_truth, [&](MeasuredLeg &measured) {
                if (then) {
                    measured.comparison =
                        compare_leg(measured.leg, measured.spectrum, *then, view.fall_db);
                }
                writer.show(measured);
            });
        SpectrumResult result = runner.run(session, plan.legs);
        result.lnb = plan.wanted.lnb;
        result.note = options.note;
        result.time_ms = ms_since(begin_ns);
        writer.finish(result);
        if (destinations.page) {
            destinations.page->text(report_page(
                page_of(result, view, page_title(plan), record_of_session(program, options.note))));
            destinations.page->finish();
        }
        return result.complete() ? ExitStatus::done : ExitStatus::cancelled;
    });
}

}  // namespace host
