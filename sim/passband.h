// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "sim/carrier_search.h"
#include "sim/outdoor.h"
#include "sim/sky.h"
#include "sim/spectrum_engine.h"
#include "sim/tuner.h"
#include "sim/verdict.h"

namespace sim {

// The carriers that pass the tuner's filter, and what a demodulator makes of them.
class Passband {
 public:
    Passband(const Outdoor &outdoor, const TunerOutput &tuner, const FrontEnd &front_end,
             bool iq_swap);

    // Power of everything that the filter passes: of each carrier its share, the other polarisation
    // so many decibels lower, tones, the LNBs' noise and the tuner's own.
    [[nodiscard]] double level_dbm(double cross_polarisation_db) const;

    // Of all carriers in the passband the search takes the one that gets furthest towards lock;
    // among equals the nearest to where it is expected. Where none locks, one that leaks from the
    // other polarisation and does is taken for it; then, with a wide search, what is none.
    [[nodiscard]] FoundCarrier find(const CarrierSearch &search,
                                    double cross_polarisation_db) const;

    // The base band's spectrum; `mirrored` when the demodulator exchanges I and Q. The other
    // polarisation is in it, so many decibels lower.
    [[nodiscard]] Spectrum spectrum(bool mirrored, double cross_polarisation_db) const;

    // The strongest tone so near to the oscillator, in the demodulator's terms; where there is no
    // other, the tuner's own: its reference leaks in 9 MHz from wherever it is tuned to.
    [[nodiscard]] std::optional<Tone> tone(bool mirrored, double reach_khz) const;

 private:
    [[nodiscard]] FoundCarrier find_among_carriers(const CarrierSearch &search,
                                                   double cross_polarisation_db) const;
    template <typename Use>
    void for_each_carrier(bool of_the_other_side, Use use) const;
    template <typename Use>
    void for_each_carrier_of(const Leg &leg, Use use) const;
    template <typename Use>
    void for_each_leg_and_leakage(double cross_polarisation_db, Use use) const;
    [[nodiscard]] bool has_its_edge_inside(const Carrier &carrier, double if_khz) const;
    [[nodiscard]] double noise_power() const;
    [[nodiscard]] double power_dbm(double cross_polarisation_db) const;

    const Outdoor *outdoor_;
    const TunerOutput *tuner_;
    const FrontEnd *front_end_;
    bool iq_swap_;
    // Why there are no legs; filled in by the initialisation of legs_.
    Reason reason_ = Reason::locked;
    std::string text_;
    std::vector<Leg> legs_;
    mutable std::optional<double> level_dbm_;  // asked for several times, and long to add up
};

// What I and Q leave of each carrier on the other side of the oscillator, as they are never quite
// alike.
void add_images(Spectrum &spectrum, double rejection_db);

// Frequency of a carrier behind an LNB; `inverted` when the oscillator lies above it.
double intermediate_khz(double carrier_khz, double lof_khz, bool &inverted);

}  // namespace sim
