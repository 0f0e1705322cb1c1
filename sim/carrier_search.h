// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "broadcast/transponder.h"
#include "sim/required_registers.h"
#include "sim/sky.h"
#include "sim/verdict.h"

namespace sim {

// What the demodulator can do (its data sheet's limits) and how far it looks for a carrier.
inline constexpr double smallest_symbol_rate_ksps = 1000;
inline constexpr double largest_symbol_rate_ksps = 45000;
inline constexpr double capture_range_khz = 5000;
inline constexpr double symbol_rate_tolerance = 0.01;
// Below the threshold: within so much locks come and go.
inline constexpr double wavering_range_db = 1;
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
    bool takes_aliases = false;      // what looks like lock at a false rate is taken for it
    bool takes_spurs = false;        // likewise a line that is no carrier
    bool loops_astray = false;       // they begin from where a lost lock left them
    bool near = false;               // take a carrier within half a symbol rate only
    bool diverged = false;           // the equaliser of a carrier without pilots has gone astray
    bool restarted = false;          // or works from its middle tap, as the driver restarted it
    bool for_weak_carriers = false;  // bit 0 of 0x56
    bool loop_untrimmed = false;     // 0x5D has lost the carrier loop's bits since
    TableCost table;                 // what wrong registers cost
    LoopGains loops;                 // as the driver sets them for the carrier that it sees
};

// The carrier that a search comes to, if any, and whether it locks.
struct FoundCarrier {
    Reason reason = Reason::no_carrier;
    std::string text;
    const Carrier *carrier = nullptr;  // the one locked, or the nearest
    double cn_db = 0;
    double cn_ratio = 1;          // the same as a ratio of powers
    double margin_db = 0;         // what it has over the carrier's threshold
    double cable_khz = 0;         // where the carrier lies on the cable
    double measured_khz = 0;      // oscillator minus carrier, as the demodulator sees it
    double offset_khz = 0;        // how far the carrier is above where it is expected
    double symbol_rate_ksps = 0;  // that the timing loop runs at
    bool alias = false;           // which is a simple fraction or multiple of the carrier's
    bool inverted = false;
    bool weak = false;  // of little amplitude
    // Just below its threshold, by what the sky leaves of it: locks come and go.
    bool wavers = false;
    [[nodiscard]] bool locks() const { return reason == Reason::locked; }
    [[nodiscard]] bool locks_at_times() const { return locks() || wavers; }
};

}  // namespace sim
