// SPDX-License-Identifier: MIT
#include "host/commands/unicable_tune.h"

#include <fmt/format.h>

#include "host/boards/simulated_board.h"
#include "host/cable/describe.h"
#include "host/cable/frequency.h"
#include "host/cable/user_band.h"
#include "host/commands/reception_output.h"
#include "host/session/rig.h"
#include "host/session/unicable_reception.h"
#include "host/session/unicable_search.h"
#include "host/terminal/presentation.h"

namespace host {

namespace {

constexpr const char *command_name = "unicable tune";

// Everything that is decided before the hardware is touched.
struct Plan {
    Target target;
    broadcast::Lnb lnb;
    TunePlan tune;
    Position position = Position::a;
    std::optional<UserBand> band;  // absent: to be searched for
};

// Symbol rates that a connect takes, ksym/s.
constexpr std::uint32_t lowest_rate_ksps = 1'000;
constexpr std::uint32_t highest_rate_ksps = 45'000;

void check_limits(const Plan &plan) {
    if (plan.tune.if_khz < CHANNEL_IF_MIN_KHZ || plan.tune.if_khz > CHANNEL_IF_MAX_KHZ) {
        throw Failure(
            ExitStatus::outside_limits,
            fmt::format("{} with an oscillator of {} gives an intermediate frequency of {}; a "
                        "Unicable unit converts {} to {}. Choose the unit's oscillators with --lnb",
                        format_mhz(plan.target.transponder.frequency_khz),
                        format_mhz(plan.tune.lof_khz), format_mhz(plan.tune.if_khz),
                        format_mhz(CHANNEL_IF_MIN_KHZ), format_mhz(CHANNEL_IF_MAX_KHZ)));
    }
    if (plan.tune.symbol_rate_ksps < lowest_rate_ksps ||
        plan.tune.symbol_rate_ksps > highest_rate_ksps) {
        throw Failure(ExitStatus::outside_limits,
                      fmt::format("{} is outside the {} to {} ksym/s that the driver connects to",
                                  format_ksps(plan.target.transponder.symbol_rate),
                                  lowest_rate_ksps, highest_rate_ksps));
    }
}

Plan make_plan(const Program &program, const UnicableTuneOptions &options, Target target,
               HostBoard &board) {
    const LnbSource lnbs(program.chosen_lnb(), board.fitted_lnb(), {target.transponder});
    Plan plan;
    plan.lnb = lnbs.for_transponder(target.transponder);
    plan.tune = plan_tune(request_for(target.transponder, plan.lnb, 0));
    plan.target = std::move(target);
    plan.position = options.position;
    if (options.user_band != "auto") {
        plan.band = parse_user_band(options.user_band);
    }
    check_limits(plan);
    return plan;
}

void arrange_world(Workbench &rig, const Plan &plan) {
    rig.fit_lnb(plan.lnb);
    if (plan.target.table) {
        rig.point_at(plan.target.table->satellite(), plan.position == Position::b ? 2 : 1);
    }
}

void refuse_cut_search(ChipRig &rig) {
    rig.look();
    if (rig.must_end()) {
        throw Failure(ExitStatus::cancelled,
                      fmt::format("{} while a user band was searched for", rig.cut_short_by()));
    }
}

// The first user band of the unit that the search accepts, with its index.
UserBand search_for_band(ChipSession &session, const Plan &plan, ChipRig &rig, Console &console) {
    session.select({.voltage_18v = true});
    std::vector<FoundBand> found = search_user_bands({}, true, rig.board().watch());
    refuse_cut_search(rig);
    std::erase_if(found, [](const FoundBand &band) { return !band.valid; });
    if (found.empty()) {
        throw Failure(ExitStatus::nothing_found,
                      "no user band answered; see unicable detect, or name one with --user-band "
                      "INDEX:FREQ");
    }
    found.resize(1);
    identify_user_bands(found, bank_of(plan.tune, plan.lnb, plan.position), rig.board().watch(),
                        [](const FoundBand & /*band*/) {});
    refuse_cut_search(rig);
    const FoundBand &first = found.front();
    if (!first.index) {
        throw Failure(
            ExitStatus::nothing_found,
            fmt::format("a user band was found at {0} MHz, but none of the indices 0 to 7 "
                        "moves it; name it with --user-band INDEX:{0}",
                        first.frequency_mhz));
    }
    console.detail(fmt::format("user band {} found at {} MHz", *first.index, first.frequency_mhz));
    return {*first.index, static_cast<std::uint16_t>(first.frequency_mhz), std::nullopt};
}

Json user_band_json(const UserBand &band, const UserBandPlan &channel) {
    return {{"index", band.index},
            {"frequency_mhz", band.frequency_mhz},
            {"bank", channel.bank},
            {"tuning_word", channel.tuning_word},
            {"converter_mhz", channel.converter_mhz},
            {"reached_if_mhz", channel.reached_if_mhz}};
}

Json plan_json(const TunePlan &plan) {
    return {{"lof_khz", plan.lof_khz},
            {"if_khz", plan.if_khz},
            {"tuned_if_mhz", plan.freq_mhz},
            {"residual_khz", plan.residual_khz},
            {"symbol_rate_ksps", plan.symbol_rate_ksps}};
}

Json make_result(const Plan &plan, const UserBand &band, const UserBandPlan &channel,
                 UserBandReception &reception, Workbench &rig) {
    Json result{{"schema", "ds3000.unicable-tune/1"}};
    result.update(json_of(plan.target));
    result["lnb"] = json_of(plan.lnb);
    result["plan"] = plan_json(plan.tune);
    result["position"] = plan.position == Position::b ? "B" : "A";
    result["user_band"] = user_band_json(band, channel);
    result["user_band"]["searched"] = !plan.band;
    result["attempts"] = reception.attempts;
    add_reception(result, reception, rig);
    return result;
}

void write_text(Output &output, const Json &result, const Plan &plan, const UserBand &band,
                const UserBandPlan &channel, const UserBandReception &reception) {
    const auto line = [&output](std::string_view what, std::string_view value) {
        write_fact(output, what, value);
    };
    line("transponder", headline(plan.target.transponder));
    line("path", fmt::format("LNB {}, oscillator {}, IF {}", plan.lnb.name,
                             format_mhz(plan.tune.lof_khz), format_mhz(plan.tune.if_khz)));
    line("user band", fmt::format("{} at {} MHz, bank {}, word {}: converter at {} MHz brings IF "
                                  "{} MHz to its middle",
                                  band.index, band.frequency_mhz, channel.bank, channel.tuning_word,
                                  channel.converter_mhz, channel.reached_if_mhz));
    line("commands", fmt::format("{}", reception.attempts));
    write_reception(output, result, reception);
}

Json flat(const Json &result) {
    Json row = result;
    row.erase("lnb");
    row["lnb"] = result.at("lnb").at("name");
    for (const char *group : {"plan", "user_band", "signal"}) {
        spread(row, group);
    }
    return row;
}

void advise(Console &console, const UserBand &band, const UserBandReception &reception) {
    console.note(fmt::format(
        "No lock through user band {} at {} MHz after {} channel change{}. The unit gives no "
        "answer: check the band's index and frequency, that no other receiver uses it, and the "
        "position.",
        band.index, band.frequency_mhz, reception.attempts, reception.attempts == 1 ? "" : "s"));
}

ExitStatus status_of(const Program &program, const UserBandReception &reception) {
    if (reception.lock_ms) {
        return ExitStatus::done;
    }
    return program.interrupt.requested() ? ExitStatus::cancelled : ExitStatus::no_lock;
}

ExitStatus tune_through(Program &program, const UnicableTuneOptions &options, const Plan &plan,
                        ChipRig &rig, Output &output, ChipSession &session) {
    const UserBand band =
        plan.band ? *plan.band : search_for_band(session, plan, rig, program.console);
    const UserBandPlan channel = plan_user_band(band, plan.tune, plan.lnb, plan.position);
    const UserBandPatience patience{options.attempts,
                                    static_cast<std::uint64_t>(options.timeout_s * 1000.0),
                                    [&rig] { return rig.must_end_by_look(); }};
    UserBandReception reception = receive_through(session, band, channel, plan.tune, patience);
    rig.look();
    if (rig.must_end()) {
        reception.reading = {};  // the last transfers may have been cut short
    }
    session.take_lines();
    Json result = make_result(plan, band, channel, reception, rig);
    present(
        output,
        {.text = [&](Output &text) { write_text(text, result, plan, band, channel, reception); },
         .json = [&result] { return result; },
         .sheet = [&result] { return sheet_of(flat(result)); }});
    const ExitStatus status = status_of(program, reception);
    if (status == ExitStatus::no_lock) {
        if (lacks_unit(rig.board())) {
            program.console.note(no_unit_advice);
        } else {
            advise(program.console, band, reception);
        }
    }
    return status;
}

}  // namespace

bool lacks_unit(HostBoard &board) {
    SimulatedBoard *const simulated = board.simulated();
    return simulated != nullptr && !simulated->scenario().unicable;
}

ExitStatus run_unicable_tune(Program &program, const UnicableTuneOptions &options) {
    program.honour_only(command_name, {"board", "lnb", "real-time", "trace", "driver-log"});
    Target target = find_target(command_name, options.target, program.console);
    Output output(program.options.format, program.options.output);
    ChipRig rig(program.rig_options(), program.console);
    const Plan plan = make_plan(program, options, std::move(target), rig.board());
    arrange_world(rig, plan);
    return rig.run([&](ChipSession &session) {
        return tune_through(program, options, plan, rig, output, session);
    });
}

}  // namespace host
