// SPDX-License-Identifier: MIT
#include "host/commands/unicable_way.h"

#include <fmt/format.h>

#include "host/boards/simulated_board.h"
#include "host/cable/describe.h"
#include "host/cable/frequency.h"
#include "host/session/unicable_search.h"

namespace host {

namespace {

// Symbol rates that a connect takes, ksym/s.
constexpr std::uint32_t lowest_rate_ksps = 1'000;
constexpr std::uint32_t highest_rate_ksps = 45'000;

void check_limits(const UnicableWay &way) {
    if (way.tune.if_khz < CHANNEL_IF_MIN_KHZ || way.tune.if_khz > CHANNEL_IF_MAX_KHZ) {
        throw Failure(
            ExitStatus::outside_limits,
            fmt::format("{} with an oscillator of {} gives an intermediate frequency of {}; a "
                        "Unicable unit converts {} to {}. Choose the unit's oscillators with --lnb",
                        format_mhz(way.target.transponder.frequency_khz),
                        format_mhz(way.tune.lof_khz), format_mhz(way.tune.if_khz),
                        format_mhz(CHANNEL_IF_MIN_KHZ), format_mhz(CHANNEL_IF_MAX_KHZ)));
    }
    if (way.tune.symbol_rate_ksps < lowest_rate_ksps ||
        way.tune.symbol_rate_ksps > highest_rate_ksps) {
        throw Failure(ExitStatus::outside_limits,
                      fmt::format("{} is outside the {} to {} ksym/s that the driver connects to",
                                  format_ksps(way.target.transponder.symbol_rate), lowest_rate_ksps,
                                  highest_rate_ksps));
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
UserBand search_for_band(ChipSession &session, const UnicableWay &way, ChipRig &rig,
                         Console &console) {
    session.select({.voltage_18v = true});
    std::vector<FoundBand> found = search_user_bands({}, true, rig.board().watch()).bands;
    refuse_cut_search(rig);
    std::erase_if(found, [](const FoundBand &band) { return !band.valid; });
    if (found.empty()) {
        throw Failure(ExitStatus::nothing_found,
                      "no user band answered; see unicable detect, or name one with --user-band "
                      "INDEX:FREQ");
    }
    found.resize(1);
    identify_user_bands(found, bank_of(way.tune, way.lnb, way.position), rig.board().watch(),
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

}  // namespace

UnicableWay plan_unicable_way(const Program &program, const UserBandOptions &options, Target target,
                              HostBoard &board) {
    const LnbSource lnbs(program.chosen_lnb(), board.fitted_lnb(), {target.transponder});
    UnicableWay way;
    way.lnb = lnbs.for_transponder(target.transponder);
    way.tune = plan_tune(request_for(target.transponder, way.lnb, 0));
    way.target = std::move(target);
    way.position = options.position;
    if (options.user_band != "auto") {
        way.band = parse_user_band(options.user_band);
    }
    check_limits(way);
    return way;
}

void arrange_world(Workbench &rig, const UnicableWay &way) {
    rig.fit_lnb(way.lnb);
    if (way.target.table) {
        rig.point_at(way.target.table->satellite(), way.position == Position::b ? 2 : 1);
    }
}

UserBand find_user_band(ChipSession &session, const UnicableWay &way, ChipRig &rig,
                        Console &console) {
    return way.band ? *way.band : search_for_band(session, way, rig, console);
}

Json json_of(const UnicableWay &way) {
    Json json = json_of(way.target);
    json["lnb"] = json_of(way.lnb);
    json["plan"] = plan_json(way.tune);
    json["position"] = way.position == Position::b ? "B" : "A";
    return json;
}

Json json_of(const UnicableWay &way, const UserBand &band, const UserBandPlan &channel) {
    Json json = json_of(way);
    json["user_band"] = user_band_json(band, channel);
    json["user_band"]["searched"] = !way.band;
    return json;
}

bool lacks_unit(HostBoard &board) {
    SimulatedBoard *const simulated = board.simulated();
    return simulated != nullptr && !simulated->scenario().unicable;
}

}  // namespace host
