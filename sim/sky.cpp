// SPDX-License-Identifier: MIT
#include "sim/sky.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "broadcast/modcod.h"

namespace sim {

namespace {

// No transponder is wider; rows beyond it are slips of the table's author.
constexpr std::uint32_t largest_symbol_rate = 100'000'000;
constexpr double reference_symbol_rate = 27'500'000;

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

bool by_frequency(const Carrier &carrier, double frequency_khz) {
    return carrier.frequency_khz < frequency_khz;
}

// Power that `other` puts into the band of `wanted`, over the power of `wanted`.
double overlap(const Carrier &wanted, const Carrier &other) {
    const double low = std::max(wanted.frequency_khz - wanted.half_width_khz,
                                other.frequency_khz - other.half_width_khz);
    const double high = std::min(wanted.frequency_khz + wanted.half_width_khz,
                                 other.frequency_khz + other.half_width_khz);
    if (high <= low) {
        return 0;
    }
    return (high - low) / (2 * other.half_width_khz) *
           broadcast::from_db(other.level_dbm - wanted.level_dbm);
}

}  // namespace

Side side_of(broadcast::Polarisation polarisation) {
    return is_selected_by_18v(polarisation) ? Side::volts_18 : Side::volts_13;
}

double effective_cn_db(const Carrier &carrier, double fade_db) {
    const double noise = broadcast::from_db(fade_db - carrier.cn_db);
    return -broadcast::to_db(noise + carrier.interference);
}

Sky::Sky(const broadcast::Satellite &satellite, const Defaults &defaults)
    : noise_density_(broadcast::from_db(defaults.level_dbm - defaults.cn_db) /
                     (reference_symbol_rate / 1000)) {
    for (const broadcast::Transponder &row : satellite.transponders) {
        if (flaw_of(row).empty() && in_the_way_of(row) == nullptr) {
            place(row, defaults);
        }
    }
    add_interference();
}

void Sky::place(const broadcast::Transponder &row, const Defaults &defaults) {
    Carrier carrier;
    carrier.transponder = row;
    carrier.frequency_khz = row.frequency_khz;
    carrier.half_width_khz = row.symbol_rate / 2000.0;
    carrier.threshold_db = *threshold_db(row);
    carrier.cn_db = row.cn_db.value_or(defaults.cn_db);
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

void Sky::add_interference() {
    for (std::vector<Carrier> &side : sides_) {
        for (Carrier &carrier : side) {
            const double reach = carrier.half_width_khz + widest_khz_;
            double strongest = 0;
            for (auto other = std::lower_bound(side.begin(), side.end(),
                                               carrier.frequency_khz - reach, by_frequency);
                 other != side.end() && other->frequency_khz <= carrier.frequency_khz + reach;
                 ++other) {
                const double power = &*other == &carrier ? 0 : overlap(carrier, *other);
                carrier.interference += power;
                if (power > strongest) {
                    strongest = power;
                    carrier.neighbour = describe(other->transponder);
                }
            }
        }
    }
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
