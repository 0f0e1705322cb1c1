// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "broadcast/transponder.h"

namespace sim {

// Why there is lock or not, in the order in which the signal meets the obstacles.
enum class Reason {
    locked,
    searching,        // lock will come unless something changes
    demodulator_off,  // absent or powered down
    firmware_not_running,
    mcu_held,
    core_in_reset,
    master_clock,  // the clock registers select no clock
    no_supply,     // LNB supply off
    cable_pulled,
    no_dish,  // nothing is connected to the switch port
    tuner_off,
    tuner_pll,     // synthesiser not programmed, out of range or not calibrated
    tuner_filter,  // filter not calibrated or left in calibration
    tuner_agc,
    no_carrier,  // nothing within the tuner's passband
    filter_too_narrow,
    symbol_rate_range,  // outside what the demodulator can do
    capture_range,      // carrier too far from where it is expected
    symbol_rate,        // another one programmed than the carrier has
    standard,           // DVB-S programmed for a DVB-S2 carrier or the other way round
    table_byte,         // a register of the standard's table holds another value than it needs
    cn_below_threshold,
    search_over  // the carrier came when the demodulator had given up
};

std::string to_string(Reason reason);

// How the transport-stream port stands; valid with lock.
struct TsOutput {
    // Why the demultiplexer behind the port gets no transport stream.
    enum class Fault : std::uint8_t {
        none,
        drivers_off,
        wrong_mode,
        decoder,  // too slow for what is received
        too_slow,
        too_fast
    };

    double clock_khz = 0;     // byte clock (modes 2, 3) or bit clock (mode 1)
    double needed_khz = 0;    // to carry the payload
    double bearable_khz = 0;  // more is too fast for the demultiplexer
    double master_khz = 0;    // the master clock, and what the decoder needs of it
    double decoding_khz = 0;
    unsigned mode = 0;        // 1, 2, 3
    unsigned wired_mode = 0;  // the one that the board is made for
    Fault fault = Fault::none;
    [[nodiscard]] bool carries_payload() const { return fault == Fault::none; }
};

// Why nothing comes out of the port, with the numbers; empty when the payload does.
std::string describe_fault(const TsOutput &output);

// How far the error counters are; valid with lock.
struct ErrorCounters {
    double window_bits = 0;    // DVB-S: of a count
    double window_s = 0;       // DVB-S: what it takes
    std::uint32_t frames = 0;  // DVB-S2: since the counter was restarted
};

// The present state, from the board's side.
struct Verdict {
    Reason reason = Reason::demodulator_off;
    std::string text;  // one line, with the numbers
    std::optional<broadcast::Transponder>
        carrier;                  // the one locked, or the nearest to where it is expected
    double cn_db = 0;             // of that carrier, fade and interference included
    double cable_khz = 0;         // where that carrier lies on the cable
    std::int32_t offset_khz = 0;  // carrier minus where the driver expects it
    bool inverted = false;        // the spectrum, as the demodulator meets it
    bool searches = false;        // the micro-controller looks for a carrier
    bool gave_up = false;         // it looked in vain, or is held
    bool runs_on = false;         // held on a lock, and the core still puts out what it decodes
    // With lock: of DVB-S's bits behind the Viterbi decoder, of packets else.
    double error_share = 0;
    ErrorCounters counters;
    bool wavers = false;  // just below its threshold: locks come and go by themselves
    TsOutput ts;
    unsigned restarts = 0;  // of the search, by the driver, since the channel was first searched
    [[nodiscard]] bool locked() const { return reason == Reason::locked; }
};

// Whether a transponder can be received at all, whatever the driver does.
struct Reception {
    enum class Obstacle {
        none,
        invalid,         // not a carrier that the standard knows
        not_on_the_air,  // another row of the table is
        no_dish,         // or none that the Unicable unit can choose
        lnb_range,       // intermediate frequency outside 950..2150 MHz
        user_band,       // no user band of the Unicable unit can carry it
        symbol_rate,     // outside 1000..45000 ksym/s
        overlapped,      // neighbours leave too little C/(N+I)
        cn,              // C/N below the threshold
        lnb_drift        // beyond the capture range
    };
    Obstacle obstacle = Obstacle::none;
    std::string text;
    double cn_db = 0;  // interference included
    double threshold_db = 0;
    std::uint32_t if_khz = 0;  // on the cable; out of range: behind the LNB
    [[nodiscard]] bool receivable() const { return obstacle == Obstacle::none; }
};

}  // namespace sim
