// SPDX-License-Identifier: MIT
#include "sim/sky.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "broadcast/modcod.h"
#include "sim/noise.h"
#include "sim/spectral_shape.h"

namespace sim {

namespace {

// No transponder is wider; rows beyond it are slips of the table's author.
constexpr std::uint32_t largest_symbol_rate = 100'000'000;
constexpr double reference_symbol_rate = 27'500'000;
constexpr double widest_roll_off = 0.35;

std::string flaw_of(const broadcast::Transponder &row) {
    if (row.symbol_rate == 0 || row.symbol_rate > largest_symbol_rate) {
        return fmt::format("a symbol rate of {} sym/s does not exist", row.symbol_rate);
    }
    if (!threshold_db(row)) {
        return fmt::format("{} has no {}", to_string(row.system), modcod_name(row));
    }
    return {};
}

bool same_carrier(const broadcast::Transponder &a, const broadcast::Transponder &b) {
    return a.frequency_khz == b.frequency_khz && a.polarisation == b.polarisation &&
           a.symbol_rate == b.symbol_rate && a.system == b.system && a.modulation == b.modulation &&
           code_rate_of(a) == code_rate_of(b);
}

// A transponder's place among those of its satellite, 0 the weakest and 1 the strongest: the same
// for the same carrier in every run of a seed, whatever else is on the air.
double strength_of(const broadcast::Transponder &row, std::uint64_t seed) {
    const auto side = static_cast<std::uint64_t>(side_of(row.polarisation));
    Noise draw((seed << 33U) ^ (std::uint64_t{row.frequency_khz} << 1U) ^ side, 0);
    draw.uniform();
    draw.uniform();
    return draw.uniform();
}

bool by_frequency(const Carrier &carrier, double frequency_khz) {
    return carrier.frequency_khz < frequency_khz;
}

// Power that `other` leaks into the receive filter of `wanted`, over the power of `wanted`.
double leakage(const Carrier &wanted, const Carrier &other) {
    const double share = leakage(pulse_of(wanted.transponder), pulse_of(other.transponder),
                                 other.frequency_khz - wanted.frequency_khz);
    return share > 0 ? share * broadcast::from_db(other.level_dbm - wanted.level_dbm) : 0;
}

}  // namespace

Side side_of(broadcast::Polarisation polarisation) {
    return is_selected_by_18v(polarisation) ? Side::volts_18 : Side::volts_13;
}

Sky::Sky(const broadcast::Satellite &satellite, const Defaults &defaults)
    : noise_density_(broadcast::from_db(defaults.level_dbm - defaults.cn_db) /
                     (reference_symbol_rate / 1000)) {
    for (const broadcast::Transponder &row : satellite.transponders) {
        if (flaw_of(row).empty() && in_the_way_of(row) == nullptr) {
            place(row, defaults);
        }
    }
    add_interference(defaults.cross_polarisation_db);
}

void Sky::place(const broadcast::Transponder &row, const Defaults &defaults) {
    Carrier carrier;
    carrier.transponder = row;
    carrier.frequency_khz = row.frequency_khz;
    carrier.half_width_khz = row.symbol_rate / 2000.0;
    carrier.threshold_db = *threshold_db(row);
    carrier.cn_db =
        row.cn_db.value_or(defaults.cn_db + defaults.spread_db * strength_of(row, defaults.seed));
    carrier.level_dbm =
        row.level_dbm.value_or(defaults.level_dbm + carrier.cn_db - defaults.cn_db +
                               broadcast::to_db(row.symbol_rate / reference_symbol_rate));
    noise_density_ =
        std::min(noise_density_, broadcast::from_db(carrier.level_dbm - carrier.cn_db) /
                                     (2 * carrier.half_width_khz));
    widest_khz_ = std::max(widest_khz_, carrier.half_width_khz);
    auto &side = sides_.at(static_cast<std::size_t>(side_of(row.polarisation)));
    side.insert(std::lower_bound(side.begin(), side.end(), carrier.frequency_khz, by_frequency),
                carrier);
}

void Sky::change_modcod(std::uint32_t frequency_khz, broadcast::Polarisation polarisation,
                        broadcast::Modulation modulation, broadcast::CodeRate code_rate) {
    for (Carrier &carrier : sides_.at(static_cast<std::size_t>(side_of(polarisation)))) {
        broadcast::Transponder changed = carrier.transponder;
        changed.modulation = modulation;
        changed.code_rate = code_rate;
        const auto threshold = threshold_db(changed);
        if (changed.frequency_khz == frequency_khz && changed.polarisation == polarisation &&
            threshold) {
            carrier.transponder = changed;
            carrier.threshold_db = *threshold;
        }
    }
}

const Carrier *Sky::in_the_way_of(const broadcast::Transponder &row) const {
    const double half_width = row.symbol_rate / 2000.0;
    const double reach = std::max(half_width, widest_khz_);
    for (const Carrier &carrier :
         between(side_of(row.polarisation), row.frequency_khz - reach, row.frequency_khz + reach)) {
        const double distance = std::abs(carrier.frequency_khz - row.frequency_khz);
        if (distance < std::max(half_width, carrier.half_width_khz)) {
            return &carrier;
        }
    }
    return nullptr;
}

void Sky::add_interference(double cross_polarisation_db) {
    for (const Side side : {Side::volts_13, Side::volts_18}) {
        const Side other = other_side(side);
        for (Carrier &carrier : sides_.at(static_cast<std::size_t>(side))) {
            const Leak beside = add_interference_of(side, 0, carrier);
            const double from_beside = carrier.interference;
            const Leak across = add_interference_of(other, cross_polarisation_db, carrier);
            carrier.leaked_interference =
                from_beside + (carrier.interference - from_beside) *
                                  broadcast::from_db(2 * cross_polarisation_db);
            const Leak &strongest = across.power > beside.power ? across : beside;
            if (strongest.from != nullptr) {
                carrier.neighbour = describe(strongest.from->transponder);
            }
        }
    }
}

// What a side's carriers, so many decibels lower, leak into one. Returns the strongest leak.
Sky::Leak Sky::add_interference_of(Side side, double loss_db, Carrier &carrier) const {
    const double reach = (1 + widest_roll_off) * (carrier.half_width_khz + widest_khz_);
    const double loss = broadcast::from_db(-loss_db);
    Leak strongest;
    for (const Carrier &other :
         between(side, carrier.frequency_khz - reach, carrier.frequency_khz + reach)) {
        const double power = &other == &carrier ? 0 : leakage(carrier, other) * loss;
        carrier.interference += power;
        if (power > strongest.power) {
            strongest = {power, &other};
        }
    }
    return strongest;
}

std::span<const Carrier> Sky::between(Side side, double low_khz, double high_khz) const {
    const auto &carriers = sides_.at(static_cast<std::size_t>(side));
    const auto first = std::lower_bound(carriers.begin(), carriers.end(), low_khz, by_frequency);
    auto last = first;
    while (last != carriers.end() && last->frequency_khz <= high_khz) {
        ++last;
    }
    return {first, last};
}

const Carrier *Sky::find(const broadcast::Transponder &row, Absence &absence) const {
    absence = {.invalid = true, .text = flaw_of(row)};
    if (!absence.text.empty()) {
        return nullptr;
    }
    const Side side = side_of(row.polarisation);
    for (const Carrier &carrier : between(side, row.frequency_khz, row.frequency_khz)) {
        if (same_carrier(carrier.transponder, row)) {
            return &carrier;
        }
    }
    const Carrier *other = in_the_way_of(row);
    absence.invalid = false;
    if (other == nullptr) {
        absence.text = "not on the air: no row of the satellite's table is this one";
    } else {
        const std::string &source = other->transponder.source;
        absence.text = fmt::format("not on the air: {}{} is", source.empty() ? "" : source + " ",
                                   describe(other->transponder));
    }
    return nullptr;
}

}  // namespace sim
