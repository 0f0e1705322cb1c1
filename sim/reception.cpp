// SPDX-License-Identifier: MIT
#include "sim/reception.h"

#include <fmt/format.h>

#include <cmath>
#include <optional>
#include <utility>

#include "sim/budget.h"
#include "sim/passband.h"

namespace sim {

namespace {

// What the tuner's input is made for.
constexpr std::uint32_t lowest_if_khz = 950'000;
constexpr std::uint32_t highest_if_khz = 2'150'000;

using Obstacle = Reception::Obstacle;

Reception fail(Reception reception, Obstacle obstacle, std::string text) {
    reception.obstacle = obstacle;
    reception.text = std::move(text);
    return reception;
}

// Bring it to the tuner's input.
Reception lead_in(Reception reception, const Outdoor &outdoor,
                  const broadcast::Transponder &transponder) {
    reception.if_khz = outdoor.lnb_if_of(transponder);
    if (reception.if_khz < lowest_if_khz || reception.if_khz > highest_if_khz) {
        return fail(reception, Obstacle::lnb_range,
                    fmt::format("IF {:.1f} MHz outside 950..2150 MHz", reception.if_khz / 1000.0));
    }
    const std::optional<std::uint32_t> on_the_cable = outdoor.if_of(transponder);
    if (!on_the_cable) {
        return fail(reception, Obstacle::user_band, "the Unicable unit has no user band for it");
    }
    reception.if_khz = *on_the_cable;
    return reception;
}

Reception demodulate(Reception reception, const Carrier &carrier, const Budget &budget,
                     std::int32_t drift_khz) {
    const double ksps = carrier.transponder.symbol_rate / 1000.0;
    if (ksps < smallest_symbol_rate_ksps || ksps > largest_symbol_rate_ksps) {
        return fail(reception, Obstacle::symbol_rate,
                    fmt::format("symbol rate {:.0f} outside {:.0f}..{:.0f} ksym/s", ksps,
                                smallest_symbol_rate_ksps, largest_symbol_rate_ksps));
    }
    if (budget.without(Impairment::neighbours).cn_db() < carrier.threshold_db) {
        return fail(reception, Obstacle::cn, shortage_text(budget, carrier));
    }
    if (reception.cn_db < carrier.threshold_db) {
        return fail(reception, Obstacle::overlapped,
                    fmt::format("overlapped by {}: C/(N+I) {:.1f} dB below the threshold {:.1f} dB",
                                carrier.neighbour, reception.cn_db, carrier.threshold_db));
    }
    if (std::abs(drift_khz) > capture_range_khz) {
        return fail(reception, Obstacle::lnb_drift,
                    fmt::format("LNB drift {:+} kHz beyond the capture range of {:.0f} kHz",
                                drift_khz, capture_range_khz));
    }
    return reception;
}

}  // namespace

Reception reception_of(const Outdoor &outdoor, const FrontEnd &front_end,
                       const broadcast::Transponder &transponder, unsigned port) {
    const Sky *sky = outdoor.sky_at(port);
    if (sky == nullptr) {
        return fail({}, Obstacle::no_dish, "no dish");
    }
    Absence absence;
    const Carrier *carrier = sky->find(transponder, absence);
    if (carrier == nullptr) {
        return fail({}, absence.invalid ? Obstacle::invalid : Obstacle::not_on_the_air,
                    absence.text);
    }
    Reception reception;
    reception.threshold_db = carrier->threshold_db;
    const Budget budget = budget_of(*carrier, front_end, best_standing_of(*carrier));
    reception.cn_db = budget.cn_db();
    reception = lead_in(reception, outdoor, transponder);
    return reception.receivable() ? demodulate(reception, *carrier, budget, outdoor.lnb().drift_khz)
                                  : reception;
}

}  // namespace sim
