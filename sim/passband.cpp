// SPDX-License-Identifier: MIT
#include "sim/passband.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <utility>

#include "broadcast/modcod.h"
#include "sim/budget.h"
#include "sim/false_lock.h"
#include "sim/gain.h"
#include "sim/spectral_shape.h"

namespace sim {

namespace {

// A carrier this far outside the filter's edge still reaches in: half of the widest one.
constexpr double outside_khz = 25'000;
// Loss of a DVB-S2 carrier without pilots whose equaliser has gone astray.
constexpr double divergence_loss_db = 1.5;
// Begun from its middle tap it takes shorter steps and follows the carrier less closely.
constexpr double restart_loss_db = 0.2;
// Without its bits in 0x5D the carrier loop goes on with the wide bandwidth that it searched with.
constexpr double untrimmed_loop_loss_db = 1.5;
// A carrier with so little to spare has a small amplitude, and needs so much until the driver has
// seen that and set bit 0 of 0x56.
constexpr double weak_margin_db = 1.5;
constexpr double weak_carrier_loss_db = 1;

// With so much isolation the other polarisation stays below every threshold.
constexpr double least_isolation_db = 40;

// One carrier in the passband, and how far a search gets with it.
struct Candidate {
    const Carrier *carrier = nullptr;
    double if_khz = 0;
    double measured_khz = 0;
    double offset_khz = 0;
    Budget budget;
    double cn_db = 0;
    bool inverted = false;
    bool weak = false;
    bool weighed = false;
    Reason reason = Reason::no_carrier;
};

// What all candidates of a search share.
struct Reach {
    const CarrierSearch &search;
    const TunerOutput &tuner;
    const FrontEnd &front_end;
    bool mirrored;
    Weather weather;
    double total_dbm;
    double leak_db = 0;  // of the other polarisation
};

// How far the programmed symbol rate is off, over what the timing loop pulls in.
double rate_error(const CarrierSearch &search, const Carrier &carrier) {
    const double actual_ksps = carrier.transponder.symbol_rate / 1000.0;
    return std::abs(search.symbol_rate_ksps - actual_ksps) / (search.rate_tolerance * actual_ksps);
}

double capture_of(const CarrierSearch &search) {
    return search.near ? std::min(capture_range_khz, search.symbol_rate_ksps / 2)
                       : capture_range_khz;
}

// Of DVB-S2's equaliser, which pilots keep in order.
double equaliser_loss_db(const CarrierSearch &search, const broadcast::Transponder &carrier) {
    if (carrier.pilots) {
        return 0;
    }
    if (search.diverged) {
        return divergence_loss_db;
    }
    return search.restarted ? restart_loss_db : 0;
}

Budget budget_of(const Candidate &candidate, const Reach &reach) {
    const Carrier &carrier = *candidate.carrier;
    const CarrierSearch &search = reach.search;
    Standing standing;
    standing.fade_db = reach.weather.fade_db + reach.leak_db;
    standing.noise_db = reach.weather.noise_db;
    standing.leaked = reach.leak_db > 0;
    standing.distance_khz = candidate.if_khz - reach.tuner.lo_khz;
    standing.bandwidth_khz = reach.tuner.bandwidth_khz;
    standing.total_dbm = reach.total_dbm;
    standing.carrier_error = candidate.offset_khz / capture_range_khz;
    // A wide search measures the rate before it is taken.
    standing.rate_error = search.wide ? 0 : rate_error(search, carrier);
    standing.loss_db = search.table.loss_db + loop_loss_db(search.loops, carrier.transponder) +
                       equaliser_loss_db(search, carrier.transponder) + reach.tuner.loss_db +
                       (search.loop_untrimmed ? untrimmed_loop_loss_db : 0);
    return budget_of(carrier, reach.front_end, standing);
}

bool ends_beyond_the_filter(const Candidate &candidate, const TunerOutput &tuner) {
    return std::abs(candidate.if_khz - tuner.lo_khz) + candidate.carrier->half_width_khz >
           tuner.bandwidth_khz;
}

// Little below its threshold a carrier can be followed for a while, unless it would not be there
// but for a setting: what that takes, it takes all the time.
bool wavers(const Candidate &candidate, const Reach &reach) {
    const Carrier &carrier = *candidate.carrier;
    const double lacking_db = carrier.threshold_db - candidate.cn_db;
    if (candidate.reason != Reason::cn_below_threshold || !reach.search.for_weak_carriers ||
        lacking_db <= 0 || lacking_db >= wavering_range_db) {
        return false;
    }
    Standing best = best_standing_of(carrier);
    best.fade_db = reach.weather.fade_db;
    best.noise_db = reach.weather.noise_db;
    return budget_of(carrier, reach.front_end, best).cn_db() < carrier.threshold_db;
}

// A weak carrier is not seen until the driver has noticed its small amplitude.
bool is_overlooked(const Candidate &candidate, const CarrierSearch &search) {
    return !search.for_weak_carriers &&
           candidate.cn_db < candidate.carrier->threshold_db + weak_carrier_loss_db;
}

// What leaves too little C/(N+I), if anything.
Reason shortage_of(const Candidate &candidate, const Reach &reach) {
    const double threshold_db = candidate.carrier->threshold_db;
    if (candidate.cn_db >= threshold_db) {
        return is_overlooked(candidate, reach.search) ? Reason::cn_below_threshold : Reason::locked;
    }
    if (candidate.cn_db + reach.search.table.loss_db >= threshold_db) {
        return Reason::table_byte;
    }
    return ends_beyond_the_filter(candidate, reach.tuner) &&
                   candidate.budget.without(Impairment::filter).cn_db() >= threshold_db
               ? Reason::filter_too_narrow
               : Reason::cn_below_threshold;
}

// What a carrier fails on before its C/(N+I) counts.
Reason obstacle_of(const Candidate &candidate, const Reach &reach) {
    const Carrier &carrier = *candidate.carrier;
    if (std::abs(candidate.offset_khz) > capture_of(reach.search)) {
        return Reason::capture_range;
    }
    if (std::abs(candidate.if_khz - reach.tuner.lo_khz) > reach.tuner.bandwidth_khz) {
        return Reason::filter_too_narrow;
    }
    if (rate_error(reach.search, carrier) > 1) {
        return Reason::symbol_rate;
    }
    if (carrier.transponder.system != reach.search.system) {
        return Reason::standard;
    }
    return reach.search.table.impossible ? Reason::table_byte : Reason::locked;
}

// What the budget leaves of a carrier, and whether it is enough.
void weigh(Candidate &candidate, const Reach &reach) {
    candidate.weighed = true;
    candidate.budget = budget_of(candidate, reach);
    candidate.cn_db = candidate.budget.cn_db();
    const double margin_db = candidate.cn_db - candidate.carrier->threshold_db;
    candidate.weak = margin_db < weak_margin_db;
    if (candidate.reason == Reason::locked) {
        candidate.reason = shortage_of(candidate, reach);
    }
}

Candidate candidate_of(const Carrier &carrier, double if_khz, bool inverted, const Reach &reach) {
    Candidate candidate;
    candidate.carrier = &carrier;
    candidate.if_khz = if_khz;
    candidate.measured_khz = (reach.tuner.lo_khz - if_khz) * (reach.mirrored ? -1 : 1);
    candidate.offset_khz = reach.search.expected_khz - candidate.measured_khz;
    candidate.inverted = (inverted != carrier.transponder.inverted) != reach.mirrored;
    candidate.reason = obstacle_of(candidate, reach);
    if (candidate.reason == Reason::locked) {
        weigh(candidate, reach);
    }
    return candidate;
}

int progress(Reason reason) {
    switch (reason) {
        case Reason::locked:
            return 7;
        case Reason::cn_below_threshold:
            return 6;
        case Reason::table_byte:
            return 5;
        case Reason::standard:
            return 4;
        case Reason::symbol_rate:
            return 3;
        case Reason::filter_too_narrow:
            return 2;
        case Reason::capture_range:
            return 1;
        default:
            return 0;
    }
}

bool better(const Candidate &a, const Candidate &b) {
    if (progress(a.reason) != progress(b.reason)) {
        return progress(a.reason) > progress(b.reason);
    }
    return std::abs(a.offset_khz) < std::abs(b.offset_khz);
}

std::string explain(const Candidate &candidate, const CarrierSearch &search,
                    const TunerOutput &tuner) {
    const Carrier &carrier = *candidate.carrier;
    const std::string name = describe(carrier.transponder);
    switch (candidate.reason) {
        case Reason::locked:
            return fmt::format("locked on {}, C/N {:.1f} dB", name, candidate.cn_db);
        case Reason::cn_below_threshold:
            return candidate.cn_db < carrier.threshold_db
                       ? shortage_text(candidate.budget, carrier) +
                             (tuner.flaw.empty() ? "" : ", for " + tuner.flaw)
                       : fmt::format(
                             "C/N {:.1f} dB above the threshold {:.1f} dB by less than a "
                             "carrier of little amplitude needs with 0x56 bit 0 clear",
                             candidate.cn_db, carrier.threshold_db);
        case Reason::table_byte:
            return describe(search.table, search.system);
        case Reason::standard:
            return fmt::format("{} carrier, {} programmed", to_string(carrier.transponder.system),
                               to_string(search.system));
        case Reason::symbol_rate:
            return fmt::format("symbol rate {:.0f} programmed, {} on the carrier {}",
                               search.symbol_rate_ksps, carrier.transponder.symbol_rate / 1000,
                               name);
        case Reason::filter_too_narrow:
            return fmt::format(
                "{} ends {:.1f} MHz from the oscillator, beyond the filter's {:.1f} MHz", name,
                (std::abs(candidate.if_khz - tuner.lo_khz) + carrier.half_width_khz) / 1000,
                tuner.bandwidth_khz / 1000);
        default:
            return fmt::format(
                "carrier offset {:+.0f} kHz of {} outside the capture range of {:.0f} kHz",
                candidate.offset_khz, name, capture_of(search));
    }
}

FoundCarrier nothing_found(Reason reason, std::string text) {
    FoundCarrier found;
    found.reason = reason;
    found.text = std::move(text);
    return found;
}

FoundCarrier found_of(const Candidate &candidate, const Reach &reach) {
    FoundCarrier found;
    found.reason = candidate.reason;
    found.text = explain(candidate, reach.search, reach.tuner);
    found.carrier = candidate.carrier;
    found.cn_db = candidate.cn_db;
    found.cn_ratio = broadcast::from_db(candidate.cn_db);
    found.margin_db = candidate.cn_db - candidate.carrier->threshold_db;
    found.cable_khz = candidate.if_khz;
    found.measured_khz = candidate.measured_khz;
    found.offset_khz = candidate.offset_khz;
    found.inverted = candidate.inverted;
    found.weak = candidate.weak;
    found.symbol_rate_ksps = candidate.carrier->transponder.symbol_rate / 1000.0;
    found.wavers = wavers(candidate, reach);
    return found;
}

void add_harmonics(Spectrum &spectrum, const TunerOutput &tuner, double direction) {
    constexpr double density = 5;
    const auto number_of = [](double khz) { return khz / tuner_reference_khz; };
    const auto first = std::lround(std::ceil(number_of(tuner.lo_khz - tuner.bandwidth_khz)));
    const auto last = std::lround(std::floor(number_of(tuner.lo_khz + tuner.bandwidth_khz)));
    for (long number = first; number <= last; ++number) {
        const double khz = static_cast<double>(number) * tuner_reference_khz;
        spectrum.tones.push_back({direction * (khz - tuner.lo_khz), density});
    }
}

}  // namespace

void add_images(Spectrum &spectrum, double rejection_db) {
    const std::size_t carriers = spectrum.lines.size();
    const double share = broadcast::from_db(-rejection_db);
    for (std::size_t i = 0; i < carriers; ++i) {
        SpectralLine image = spectrum.lines[i];
        image.offset_khz = -image.offset_khz;
        image.density *= share;
        spectrum.lines.push_back(image);
    }
}

double intermediate_khz(double carrier_khz, double lof_khz, bool &inverted) {
    inverted = lof_khz > carrier_khz;
    return std::abs(carrier_khz - lof_khz);
}

Passband::Passband(const Outdoor &outdoor, const TunerOutput &tuner, const FrontEnd &front_end,
                   bool iq_swap)
    : outdoor_(&outdoor),
      tuner_(&tuner),
      front_end_(&front_end),
      iq_swap_(iq_swap),
      legs_(outdoor.legs(reason_, text_)) {}

// Call use(carrier, if_khz, inverted) for every carrier whose edge the filter passes, of the
// polarisation received or of the other one.
template <typename Use>
void Passband::for_each_carrier(bool of_the_other_side, Use use) const {
    for (Leg leg : legs_) {
        leg.side = of_the_other_side ? other_side(leg.side) : leg.side;
        for_each_carrier_of(leg, [&](const Carrier &carrier, double if_khz, bool inverted) {
            if (has_its_edge_inside(carrier, if_khz)) {
                use(carrier, if_khz, inverted);
            }
        });
    }
}

// The same of one leg, and for the carriers of which the filter passes the skirt alone.
template <typename Use>
void Passband::for_each_carrier_of(const Leg &leg, Use use) const {
    const double reach = tuner_->bandwidth_khz + outside_khz;
    const auto &conversion = leg.conversion;
    // What lies in the middle of the passband, before the Unicable unit.
    const double middle = conversion ? conversion->converter_khz - tuner_->lo_khz : tuner_->lo_khz;
    // Above the oscillator and below it; no carrier is in both, however wide the passband.
    const double above = std::max(leg.lof_khz + middle - reach, leg.lof_khz);
    const double below = std::min(leg.lof_khz - middle + reach, std::nextafter(leg.lof_khz, 0));
    for (const auto &[low, high] : {std::pair{above, leg.lof_khz + middle + reach},
                                    std::pair{leg.lof_khz - middle - reach, below}}) {
        for (const Carrier &carrier : leg.sky->between(leg.side, low, high)) {
            bool inverted = false;
            double if_khz = intermediate_khz(carrier.frequency_khz, leg.lof_khz, inverted);
            if (conversion) {
                if_khz = conversion->converter_khz - if_khz;
                inverted = !inverted;
                if (std::abs(if_khz - conversion->centre_khz) > conversion->half_width_khz) {
                    continue;
                }
            }
            const double skirt = 1 + pulse_of(carrier.transponder).roll_off;
            if (std::abs(if_khz - tuner_->lo_khz) <
                tuner_->bandwidth_khz + skirt * carrier.half_width_khz) {
                use(carrier, if_khz, inverted);
            }
        }
    }
}

bool Passband::has_its_edge_inside(const Carrier &carrier, double if_khz) const {
    return std::abs(if_khz - tuner_->lo_khz) < tuner_->bandwidth_khz + carrier.half_width_khz;
}

// Call use(leg, loss_db) for every leg, and for the polarisation that leaks into it.
template <typename Use>
void Passband::for_each_leg_and_leakage(double cross_polarisation_db, Use use) const {
    for (const Leg &leg : legs_) {
        use(leg, 0);
        Leg other = leg;
        other.side = other_side(leg.side);
        use(other, cross_polarisation_db);
    }
}

Spectrum Passband::spectrum(bool mirrored, double cross_polarisation_db) const {
    Spectrum spectrum;
    if (legs_.empty() || !tuner_->works()) {
        return spectrum;
    }
    const double direction = iq_swap_ != mirrored ? -1 : 1;
    const double cn_loss_db = outdoor_->weather().fade_db + outdoor_->weather().noise_db;
    spectrum.half_span_khz = tuner_->bandwidth_khz;
    for_each_leg_and_leakage(cross_polarisation_db, [&](const Leg &leg, double loss_db) {
        for_each_carrier_of(leg, [&](const Carrier &carrier, double if_khz, bool) {
            if (!has_its_edge_inside(carrier, if_khz)) {
                return;
            }
            spectrum.lines.push_back({direction * (if_khz - tuner_->lo_khz),
                                      carrier.transponder.symbol_rate / 1000.0,
                                      pulse_of(carrier.transponder).roll_off,
                                      broadcast::from_db(carrier.cn_db - cn_loss_db - loss_db)});
        });
    });
    add_harmonics(spectrum, *tuner_, direction);
    return spectrum;
}

std::optional<Tone> Passband::tone(bool mirrored, double reach_khz) const {
    constexpr Tone reference_leak{9'000, -57};
    if (!tuner_->works()) {
        return std::nullopt;
    }
    const double sign = iq_swap_ != mirrored ? -1 : 1;
    Tone strongest = reference_leak;
    for (Tone tone : outdoor_->tones()) {
        tone.khz = (tuner_->lo_khz - tone.khz) * (1 - tone.habit.pulling) * sign;
        const bool stronger =
            tone.level_dbm > strongest.level_dbm ||
            (tone.level_dbm == strongest.level_dbm && std::abs(tone.khz) < std::abs(strongest.khz));
        if (stronger && std::abs(tone.khz) <= std::min(reach_khz, tuner_->bandwidth_khz)) {
            strongest = tone;
        }
    }
    return strongest;
}

// What the filter passes of the LNBs' noise. Each user band of a Unicable unit has its own; else
// where two oscillators are on the cable each has a part of it to itself.
double Passband::noise_power() const {
    double of_bands = 0;
    double of_cable = 0;
    for (const Leg &leg : legs_) {
        double low_khz = tuner_->lo_khz - tuner_->bandwidth_khz;
        double high_khz = tuner_->lo_khz + tuner_->bandwidth_khz;
        if (leg.conversion) {
            const double half_khz = leg.conversion->half_width_khz;
            low_khz = std::max(low_khz, leg.conversion->centre_khz - half_khz);
            high_khz = std::min(high_khz, leg.conversion->centre_khz + half_khz);
        }
        const double power = leg.sky->noise_density() * std::max(high_khz - low_khz, 0.0);
        if (leg.conversion) {
            of_bands += power;
        } else {
            of_cable = std::max(of_cable, power);
        }
    }
    return (of_bands + of_cable) * broadcast::from_db(outdoor_->weather().noise_db);
}

double Passband::level_dbm(double cross_polarisation_db) const {
    if (!level_dbm_) {
        level_dbm_ = power_dbm(cross_polarisation_db);
    }
    return *level_dbm_;
}

double Passband::power_dbm(double cross_polarisation_db) const {
    double power = broadcast::from_db(noise_floor_dbm);
    if (tuner_->lo_khz <= 0) {
        return broadcast::to_db(power);
    }
    const double fade_db = outdoor_->weather().fade_db;
    const double reach_khz = tuner_->bandwidth_khz;
    for_each_leg_and_leakage(cross_polarisation_db, [&](const Leg &leg, double loss_db) {
        for_each_carrier_of(leg, [&](const Carrier &carrier, double if_khz, bool) {
            const SpectralLine line{if_khz - tuner_->lo_khz,
                                    carrier.transponder.symbol_rate / 1000.0,
                                    pulse_of(carrier.transponder).roll_off};
            power += share_between(line, -reach_khz, reach_khz) *
                     broadcast::from_db(carrier.level_dbm - fade_db - loss_db);
        });
    });
    power += noise_power();
    for (const Tone &tone : outdoor_->tones()) {
        if (std::abs(tone.khz - tuner_->lo_khz) <= reach_khz) {
            power += broadcast::from_db(tone.level_dbm);
        }
    }
    return broadcast::to_db(power);
}

FoundCarrier Passband::find(const CarrierSearch &search, double cross_polarisation_db) const {
    if (legs_.empty()) {
        return nothing_found(reason_, text_);
    }
    if (!tuner_->works()) {
        return nothing_found(tuner_->reason, tuner_->text);
    }
    if (search.symbol_rate_ksps < smallest_symbol_rate_ksps - register_step_khz ||
        search.symbol_rate_ksps > largest_symbol_rate_ksps + register_step_khz) {
        return nothing_found(
            Reason::symbol_rate_range,
            fmt::format("symbol rate {:.0f} programmed, outside {:.0f}..{:.0f} ksym/s",
                        search.symbol_rate_ksps, smallest_symbol_rate_ksps,
                        largest_symbol_rate_ksps));
    }
    FoundCarrier found = find_among_carriers(search, cross_polarisation_db);
    if (search.wide && !found.locks()) {
        lock_falsely(found, search, *tuner_, iq_swap_ != search.mirrored);
    }
    return found;
}

FoundCarrier Passband::find_among_carriers(const CarrierSearch &search,
                                           double cross_polarisation_db) const {
    Reach reach{search,
                *tuner_,
                *front_end_,
                iq_swap_ != search.mirrored,
                outdoor_->weather(),
                level_dbm(cross_polarisation_db)};
    Candidate best;
    const auto choose = [&](const Carrier &carrier, double if_khz, bool inverted) {
        const Candidate candidate = candidate_of(carrier, if_khz, inverted, reach);
        const bool suits = reach.leak_db == 0 || candidate.reason == Reason::locked;
        if (suits && (best.carrier == nullptr || better(candidate, best))) {
            best = candidate;
        }
    };
    for_each_carrier(false, choose);
    reach.leak_db = cross_polarisation_db;
    if (best.reason != Reason::locked && cross_polarisation_db < least_isolation_db) {
        for_each_carrier(true, choose);
    }
    if (best.carrier == nullptr) {
        return nothing_found(Reason::no_carrier,
                             fmt::format("no carrier within {:.1f} MHz of the tuner's {:.1f} MHz",
                                         tuner_->bandwidth_khz / 1000, tuner_->lo_khz / 1000));
    }
    if (!best.weighed) {
        reach.leak_db = 0;
        weigh(best, reach);
    }
    return found_of(best, reach);
}

}  // namespace sim
