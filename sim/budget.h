// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstddef>
#include <string>

#include "sim/scenario.h"
#include "sim/sky.h"

namespace sim {

// What disturbs a carrier on its way from the dish to the decoder.
enum class Impairment {
    lnb_noise,       // C/N of the scenario, less the fade
    tuner_noise,     // thermal, with the tuner's noise figure, against the carrier's level
    neighbours,      // what they and the other polarisation leak into the receive filter
    filter,          // what is missing of each symbol after the tuner's low-pass filter
    passband,        // what else that filter passes, down by the receive filter's stop band
    aliases,         // what it passes from beyond half the converters' sampling rate
    saturation,      // products of third order of all that it passes
    offset_voltage,  // of a tuner without an intermediate frequency, in the middle of its passband
    phase_noise      // of the oscillators, faster than the carrier loop follows
};

std::string to_string(Impairment impairment);

// How a carrier stands before the demodulator.
struct Standing {
    double fade_db = 0;
    double noise_db = 0;       // how much more there is of the LNB's
    bool leaked = false;       // it is of the other polarisation, whose loss is in the fade
    double distance_khz = 0;   // from the tuner's oscillator
    double bandwidth_khz = 1;  // of the tuner's filter, from the oscillator to one edge
    double total_dbm = -300;   // of everything that the filter passes
    double carrier_error = 0;  // from where it is expected, over what the carrier loop pulls in
    double rate_error = 0;     // of the programmed symbol rate, over what the timing loop pulls in
    double loss_db = 0;        // by what the demodulator's registers hold
};

// The C/(N+I) with which a carrier reaches the decoder, and what it is made of. docs/scenarios.md
// gives the formulas.
struct Budget {
    static constexpr std::size_t impairments = 9;
    std::array<double, impairments> powers{};  // by Impairment, over the carrier's
    double filter_loss_db = 0;                 // carrier power that the tuner's filter takes
    double loss_db = 0;                        // other losses

    [[nodiscard]] double power(Impairment impairment) const {
        return powers.at(static_cast<std::size_t>(impairment));
    }
    [[nodiscard]] double cn_db() const;
    [[nodiscard]] Impairment greatest() const;
    // As it would be without one of them.
    [[nodiscard]] Budget without(Impairment impairment) const;
};

// How a perfect driver places it in fair weather.
Standing best_standing_of(const Carrier &carrier);

Budget budget_of(const Carrier &carrier, const FrontEnd &front_end, const Standing &standing);

// "C/N 5.5 dB below the threshold 6.9 dB of QPSK 3/4", and what takes most of it unless that is the
// LNB's noise.
std::string shortage_text(const Budget &budget, const Carrier &carrier);

}  // namespace sim
