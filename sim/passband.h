// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "sim/budget.h"
#include "sim/outdoor.h"
#include "sim/required_registers.h"
#include "sim/sky.h"
#include "sim/spectrum_engine.h"
#include "sim/tuner.h"
#include "sim/verdict.h"

namespace sim {

// What the demodulator can do (its data sheet's limits) and how far it looks for a carrier.
inline constexpr double smallest_symbol_rate_ksps = 1000;
inline constexpr double largest_symbol_rate_ksps = 45000;
inline constexpr double capture_range_khz = 5000;
inline constexpr double symbol_rate_tolerance = 0.01;
// A step of the carrier and symbol-rate registers.
inline constexpr double register_step_khz = 96000.0 / 65536;

// What the demodulator was told before its micro-controller was let go.
struct CarrierSearch {
    broadcast::System system = broadcast::System::dvbs;
    double expected_khz = 0;  // oscillator minus carrier
    double symbol_rate_ksps = 0;
    bool mirrored = false;  // the demodulator exchanges I and Q
    bool wide = false;      // the symbol rate is known roughly only
    double rate_tolerance = symbol_rate_tolerance;
    bool near = false;               // take a carrier within half a symbol rate only
    bool diverged = false;           // the equaliser of a carrier without pilots has gone astray
    bool restarted = false;          // or works from its middle tap, as the driver restarted it
    bool for_weak_carriers = false;  // bit 0 of 0x56
    TableCost table;                 // what wrong registers cost
    LoopGains loops;                 // as the driver sets them for the carrier that it sees
};

// The carrier that a search comes to, if any, and whether it locks.
struct FoundCarrier {
    Reason reason = Reason::no_carrier;
    std::string text;
    const Carrier *carrier = nullptr;  // the one locked, or the nearest
    double cn_db = 0;
    double cn_ratio = 1;      // the same as a ratio of powers
    double margin_db = 0;     // what it has over the carrier's threshold
    double cable_khz = 0;     // where the carrier lies on the cable
    double measured_khz = 0;  // oscillator minus carrier, as the demodulator sees it
    double offset_khz = 0;    // how far the carrier is above where it is expected
    bool inverted = false;
    bool weak = false;  // of little amplitude
    [[nodiscard]] bool locks() const { return reason == Reason::locked; }
};

// The carriers that pass the tuner's filter, and what a demodulator makes of them.
class Passband {
 public:
    Passband(const Outdoor &outdoor, const TunerOutput &tuner, const FrontEnd &front_end,
             bool iq_swap);

    // Power of everything that the filter passes: of each carrier its share, the other polarisation
    // so many decibels lower, tones, the LNBs' noise and the tuner's own.
    [[nodiscard]] double level_dbm(double cross_polarisation_db) const;

    // Of all carriers in the passband the search takes the one that gets furthest towards lock;
    // among equals the nearest to where it is expected.
    [[nodiscard]] FoundCarrier find(const CarrierSearch &search,
                                    double cross_polarisation_db) const;

    // The base band's spectrum; `mirrored` when the demodulator exchanges I and Q. The other
    // polarisation is in it, so many decibels lower.
    [[nodiscard]] Spectrum spectrum(bool mirrored, double cross_polarisation_db) const;

    // The strongest tone so near to the oscillator, in the demodulator's terms; where there is no
    // other, the tuner's own: its reference leaks in 9 MHz from wherever it is tuned to.
    [[nodiscard]] std::optional<Tone> tone(bool mirrored, double reach_khz) const;

 private:
    template <typename Use>
    void for_each_carrier(Use use) const;
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
