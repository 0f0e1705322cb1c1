// SPDX-License-Identifier: MIT
#include "sim/budget.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "broadcast/modcod.h"
#include "sim/spectral_shape.h"

namespace sim {

namespace {

constexpr double thermal_dbm_hz = -174;  // kT at 290 K
// EN 300 421 states its thresholds for a modem that loses so much; EN 302 307 for an ideal one.
constexpr double loss_in_dvbs_thresholds_db = 0.8;
// A receive filter of some thirty taps stops no more of what lies beside its passband.
constexpr double stop_band_db = -36;
constexpr double sampling_khz = 96'000;
// The offset canceller of a direct-conversion tuner takes away a band about its oscillator, and
// leaves a line there.
constexpr double canceller_khz = 30;
constexpr double line_db = -36;
// The carrier loop's bandwidth is the symbol rate over this.
constexpr double symbols_per_loop = 500;
constexpr double phase_noise_at_hz = 10'000;
constexpr double loss_at_capture_edge_db = 3;
constexpr double loss_at_rate_edge_db = 2;

// Places over which a carrier's power is summed, and its density there, for each roll-off.
constexpr std::size_t places = 24;

double place_khz(const Pulse &pulse, std::size_t i) {
    const double step = (static_cast<double>(i) + 0.5) / places;
    return (2 * step - 1) * pulse.half_span_khz();
}

std::array<double, places> densities_of(broadcast::RollOff roll_off) {
    broadcast::Transponder unit;
    unit.symbol_rate = 1'000'000;
    unit.roll_off = roll_off;
    const Pulse pulse = pulse_of(unit);
    std::array<double, places> densities{};
    double sum = 0;
    for (std::size_t i = 0; i < places; ++i) {
        densities.at(i) = density_at(pulse, std::abs(place_khz(pulse, i)));
        sum += densities.at(i);
    }
    for (double &density : densities) {
        density /= sum;
    }
    return densities;
}

const std::array<double, places> &power_shares(broadcast::RollOff roll_off) {
    static const std::array<std::array<double, places>, 3> all{
        densities_of(broadcast::RollOff::r35), densities_of(broadcast::RollOff::r25),
        densities_of(broadcast::RollOff::r20)};
    return all.at(static_cast<std::size_t>(roll_off));
}

// Power response of the tuner's low-pass filter, of fifth order: half at its edge.
double low_pass(double distance_khz, double bandwidth_khz) {
    const double x2 = (distance_khz / bandwidth_khz) * (distance_khz / bandwidth_khz);
    return 1 / (1 + x2 * x2 * x2 * x2 * x2);
}

// What the filter takes of the carrier is lost; how it bends each symbol's spectrum is an error.
void add_filter(const Carrier &carrier, const Standing &standing, Budget &budget) {
    const Pulse pulse = pulse_of(carrier.transponder);
    const auto &shares = power_shares(carrier.transponder.roll_off);
    double passed = 0;
    double error = 0;
    for (std::size_t i = 0; i < places; ++i) {
        const double response =
            low_pass(standing.distance_khz + place_khz(pulse, i), standing.bandwidth_khz);
        const double missing = 1 - std::sqrt(response);
        passed += shares[i] * response;
        error += shares[i] * missing * missing;
    }
    budget.powers[static_cast<std::size_t>(Impairment::filter)] = error / passed;
    budget.filter_loss_db = -broadcast::to_db(passed);
    // Beyond half the sampling rate the spectrum is as full as here.
    budget.powers[static_cast<std::size_t>(Impairment::aliases)] =
        low_pass(sampling_khz - std::abs(standing.distance_khz), standing.bandwidth_khz);
}

// The band that the canceller takes counts as far as the carrier has power there, the line wherever
// the carrier covers it.
double offset_voltage(const Pulse &pulse, double distance_khz, double others) {
    if (distance_khz >= pulse.half_span_khz()) {
        return 0;
    }
    return density_at(pulse, distance_khz) * canceller_khz / pulse.symbol_rate_khz +
           (1 + others) * broadcast::from_db(line_db);
}

// Points of higher order lie closer together, and the outer ones turn further.
double phase_sensitivity(broadcast::Modulation modulation) {
    switch (modulation) {
        case broadcast::Modulation::psk8:
            return 2;
        case broadcast::Modulation::apsk16:
            return 3;
        case broadcast::Modulation::apsk32:
            return 5;
        default:
            return 1;
    }
}

// Both sidebands beyond the loop's bandwidth of an oscillator whose noise falls by 20 dB a decade.
double phase_noise(const broadcast::Transponder &carrier, double dbc_hz) {
    const double loop_hz = carrier.symbol_rate / symbols_per_loop;
    return phase_sensitivity(carrier.modulation) * 2 * broadcast::from_db(dbc_hz) *
           phase_noise_at_hz * phase_noise_at_hz / loop_hz;
}

double implementation_loss_db(broadcast::System system, const FrontEnd &front_end) {
    return front_end.implementation_loss_db -
           (system == broadcast::System::dvbs ? loss_in_dvbs_thresholds_db : 0);
}

// Towards the ends of what they pull in, carrier and timing loop stand under stress.
double stress_db(const Standing &standing) {
    const double offset2 = standing.carrier_error * standing.carrier_error;
    return loss_at_capture_edge_db * offset2 * offset2 +
           loss_at_rate_edge_db * standing.rate_error * standing.rate_error;
}

}  // namespace

double Budget::cn_db() const {
    double sum = 0;
    for (const double power : powers) {
        sum += power;
    }
    return -broadcast::to_db(sum) - filter_loss_db - loss_db;
}

Impairment Budget::greatest() const {
    return static_cast<Impairment>(
        std::distance(powers.begin(), std::max_element(powers.begin(), powers.end())));
}

Budget Budget::without(Impairment impairment) const {
    Budget rest = *this;
    rest.powers.at(static_cast<std::size_t>(impairment)) = 0;
    if (impairment == Impairment::filter) {
        rest.filter_loss_db = 0;
    }
    return rest;
}

// In the middle of a filter with some room, but for a carrier so narrow that the offset voltage
// disturbs it: that one beside the middle.
Standing best_standing_of(const Carrier &carrier) {
    constexpr double narrow_khz = 5'000;
    constexpr double shift_khz = 3'000;
    constexpr double room_khz = 2'000;
    constexpr double company_db = 0.1;  // what others in the passband take at the very least
    const Pulse pulse = pulse_of(carrier.transponder);
    Standing standing;
    standing.distance_khz = pulse.symbol_rate_khz < narrow_khz ? shift_khz : 0;
    standing.bandwidth_khz = pulse.half_span_khz() + standing.distance_khz + room_khz;
    standing.loss_db = company_db;
    return standing;
}

Budget budget_of(const Carrier &carrier, const FrontEnd &front_end, const Standing &standing) {
    Budget budget;
    const auto set = [&budget](Impairment impairment, double power) {
        budget.powers[static_cast<std::size_t>(impairment)] = power;
    };
    const broadcast::Transponder &transponder = carrier.transponder;
    const double level_dbm = carrier.level_dbm - standing.fade_db;
    const double total_dbm = std::max(standing.total_dbm, level_dbm);
    const double others = broadcast::from_db(total_dbm - level_dbm) - 1;
    set(Impairment::lnb_noise,
        broadcast::from_db(standing.fade_db + standing.noise_db - carrier.cn_db));
    set(Impairment::tuner_noise,
        broadcast::from_db(thermal_dbm_hz + front_end.noise_figure_db - level_dbm) *
            transponder.symbol_rate);
    set(Impairment::neighbours,
        standing.leaked ? carrier.leaked_interference : carrier.interference);
    set(Impairment::passband, others * broadcast::from_db(stop_band_db));
    set(Impairment::saturation, broadcast::from_db(2 * (total_dbm - front_end.intercept_dbm)));
    set(Impairment::phase_noise, phase_noise(transponder, front_end.phase_noise_dbc_hz));
    set(Impairment::offset_voltage,
        offset_voltage(pulse_of(transponder), std::abs(standing.distance_khz), others));
    add_filter(carrier, standing, budget);
    budget.loss_db = implementation_loss_db(transponder.system, front_end) + stress_db(standing) +
                     standing.loss_db;
    return budget;
}

std::string shortage_text(const Budget &budget, const Carrier &carrier) {
    const Impairment greatest = budget.greatest();
    return fmt::format("C/N {:.1f} dB below the threshold {:.1f} dB of {}{}", budget.cn_db(),
                       carrier.threshold_db, modcod_on_air(carrier.transponder),
                       greatest == Impairment::lnb_noise ? "" : ", for " + to_string(greatest));
}

std::string to_string(Impairment impairment) {
    switch (impairment) {
        case Impairment::lnb_noise:
            return "the LNB's noise";
        case Impairment::tuner_noise:
            return "the tuner's noise";
        case Impairment::neighbours:
            return "its neighbours";
        case Impairment::filter:
            return "the tuner's filter";
        case Impairment::passband:
            return "what else the tuner's filter passes";
        case Impairment::aliases:
            return "aliases of what the tuner's filter passes";
        case Impairment::saturation:
            return "a saturated tuner";
        case Impairment::offset_voltage:
            return "the tuner's offset voltage";
        case Impairment::phase_noise:
            break;
    }
    return "phase noise";
}

}  // namespace sim
