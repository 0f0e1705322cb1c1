// SPDX-License-Identifier: MIT
#include "sim/acquisition.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "broadcast/modcod.h"
#include "sim/demodulator_regs.h"

namespace sim {

namespace {

constexpr std::uint64_t boot_duration_ns = 3'000'000;
constexpr std::uint64_t gain_duration_ns = 2'000'000;
constexpr double timing_symbols = 20'000;
// It takes the loops so long to come to rest after lock.
constexpr std::uint64_t settling_duration_ns = 20'000'000;
constexpr double step_symbols = 4'000;
constexpr double superframes = 10;
constexpr double superframe_bits = 8 * 204 * 8;
constexpr double frames = 5;
constexpr std::uint64_t patience_duration_ns = 150'000'000;
constexpr std::uint64_t header_patience_duration_ns = 300'000'000;
// Loops that came to rest at a false rate keep the micro-controller waiting for a frame.
constexpr std::uint64_t alias_patience_duration_ns = 3'000'000'000;
constexpr std::uint64_t hold_duration_ns = 1'000'000'000;
// Of the symbol rate: how far a held loop pulls a carrier in.
constexpr double pull_in_share = 1.0 / 8;
// Above the threshold: with more of it no frame is spoilt.
constexpr double quiet_margin_db = 2;
// Times as long for each decibel that lacks to it, with the best of luck and the worst.
constexpr double least_delay_per_db = 0.5;
constexpr double most_delay_per_db = 2;
// The header of a frame is coded for this C/N.
constexpr double lowest_header_cn_db = -3;

std::uint64_t duration_of(double symbols, double symbol_rate_ksps) {
    return static_cast<std::uint64_t>(symbols / symbol_rate_ksps * 1e6);
}

// Steps to an offset and back on the other side.
double sweep_symbols(double offset_khz, double symbol_rate_ksps) {
    return step_symbols * (1 + 2 * std::floor(std::abs(offset_khz) / (symbol_rate_ksps / 4)));
}

double decoding_symbols(const FoundCarrier &found, broadcast::System system) {
    if (found.carrier == nullptr) {
        return 0;
    }
    const broadcast::Transponder &carrier = found.carrier->transponder;
    if (system == broadcast::System::dvbs) {
        return superframes * superframe_bits / (2 * value_of(code_rate_of(carrier)));
    }
    return frames * frame_symbols(carrier.modulation, carrier.pilots);
}

}  // namespace

void Acquisition::start(const CarrierSearch &search, std::uint64_t now_ns, double luck) {
    phase_ = Phase::searching;
    search_ = search;
    luck_ = luck;
    found_ = {};
    // Whatever the symbol-rate registers say, the sweep is paced by a rate the chip can do.
    rate_ksps_ =
        std::clamp(search.symbol_rate_ksps, smallest_symbol_rate_ksps, largest_symbol_rate_ksps);
    boot_ns_ = now_ns + boot_duration_ns;
    gain_ns_ = boot_ns_ + gain_duration_ns;
    timing_ns_ = gain_ns_ + duration_of(timing_symbols, rate_ksps_);
    lock_ns_ = never;
    end_ns_ = never;
    left_ = false;
}

void Acquisition::see(const FoundCarrier &found, std::uint64_t now_ns, std::uint64_t settled_ns) {
    settle(now_ns);
    switch (phase_) {
        case Phase::idle:
            return;
        case Phase::searching:
            if (now_ns <= gain_ns_) {
                settled_ns_ = settled_ns;
            }
            take(found);
            plan_search(now_ns);
            return;
        case Phase::tracking:
            if (follows(found)) {
                found_ = found;
                held_carrier_ = found.carrier;
                held_khz_ = found.measured_khz;
            } else {
                lose(found, now_ns);
            }
            return;
        case Phase::holding:
            found_ = found;
            plan_return(now_ns);
            return;
        case Phase::ended:
            take(found);
            return;
    }
}

// Go on to the phase that a time belongs to.
void Acquisition::settle(std::uint64_t now_ns) {
    const Phase next = phase_at(now_ns);
    if (next == phase_) {
        return;
    }
    if (next == Phase::tracking) {
        held_carrier_ = found_.carrier;
        held_khz_ = found_.measured_khz;
        settled_ns_ = 0;
        left_ = false;
    } else {
        ended_on_carrier_ = found_.carrier != nullptr;
    }
    phase_ = next;
}

Acquisition::Phase Acquisition::phase_at(std::uint64_t now_ns) const {
    if (phase_ != Phase::searching && phase_ != Phase::holding) {
        return phase_;
    }
    if (now_ns >= lock_ns_) {
        return Phase::tracking;
    }
    return now_ns >= end_ns_ ? Phase::ended : phase_;
}

// The carrier as the converters deliver it.
void Acquisition::take(const FoundCarrier &found) {
    found_ = found;
    if (found.locks() && search_.loops_astray) {
        found_.reason = Reason::capture_range;
        found_.text = "the loops ran away from the last lock, and the core was not reset";
    } else if (found.locks() && settled_ns_ > gain_ns_) {
        found_.reason = Reason::tuner_agc;
        found_.text = fmt::format("the gain was set {:.1f} ms before the tuner had settled",
                                  static_cast<double>(settled_ns_ - gain_ns_) * 1e-6);
    }
}

bool Acquisition::sees_headers() const {
    return search_.system == broadcast::System::dvbs2 && found_.carrier != nullptr &&
           (found_.locks() ||
            (found_.reason == Reason::cn_below_threshold && found_.cn_db >= lowest_header_cn_db));
}

std::uint64_t Acquisition::patience_ns() const {
    if (found_.alias) {
        return alias_patience_duration_ns;
    }
    if (found_.reason == Reason::standard || found_.reason == Reason::table_byte) {
        return 0;
    }
    return sees_headers() ? header_patience_duration_ns : patience_duration_ns;
}

// A wide search tries symbol rates outwards from the programmed one until the timing comes to rest.
std::uint64_t Acquisition::timing_duration_ns() const {
    double off = search_.wide ? search_.rate_tolerance : 0;
    if (search_.wide && found_.symbol_rate_ksps > 0) {
        off = std::min(off, std::abs(found_.symbol_rate_ksps - rate_ksps_) / rate_ksps_);
    }
    const double trials = 1 + 2 * std::floor(off / symbol_rate_tolerance);
    return duration_of(trials * timing_symbols, rate_ksps_);
}

std::uint64_t Acquisition::decoding_ns() const {
    const double lacking_db =
        found_.locks() ? std::clamp(quiet_margin_db - found_.margin_db, 0.0, quiet_margin_db) : 0;
    const double delay_per_db = std::lerp(least_delay_per_db, most_delay_per_db, luck_);
    return duration_of((1 + lacking_db * delay_per_db) * decoding_symbols(found_, search_.system),
                       rate_ksps_);
}

// Let the sweeps go on for what is received from now on.
void Acquisition::plan_search(std::uint64_t now_ns) {
    timing_ns_ = gain_ns_ + timing_duration_ns();
    const std::uint64_t sweep_ns =
        duration_of(sweep_symbols(capture_range_khz, rate_ksps_), rate_ksps_);
    const std::uint64_t last_sweep_ns = timing_ns_ + std::max(sweep_ns, patience_ns());
    carrier_ns_ =
        timing_ns_ + duration_of(sweep_symbols(found_.offset_khz, rate_ksps_), rate_ksps_);
    if (now_ns > carrier_ns_) {
        carrier_ns_ += (now_ns - carrier_ns_ + sweep_ns - 1) / sweep_ns * sweep_ns;
    }
    if (found_.locks() && carrier_ns_ <= last_sweep_ns) {
        lock_ns_ = carrier_ns_ + decoding_ns();
        end_ns_ = never;
        return;
    }
    lock_ns_ = never;
    end_ns_ = std::max(last_sweep_ns + decoding_ns(), now_ns);
    carrier_ns_ = sees_headers() || found_.alias ? carrier_ns_ : last_sweep_ns;
}

bool Acquisition::follows(const FoundCarrier &found) const {
    // A dish that was pointed elsewhere and brings the like of it is nothing new to the loops.
    const bool is_the_same = held_carrier_ == nullptr || found.carrier == held_carrier_;
    return found.locks() && is_the_same &&
           std::abs(found.measured_khz - held_khz_) <= pull_in_share * rate_ksps_;
}

void Acquisition::lose(const FoundCarrier &found, std::uint64_t now_ns) {
    phase_ = Phase::holding;
    left_ = now_ns >= lock_ns_ + settling_duration_ns;
    end_ns_ = now_ns + hold_duration_ns;
    found_ = found;
    plan_return(now_ns);
}

void Acquisition::plan_return(std::uint64_t now_ns) {
    lock_ns_ = follows(found_) ? now_ns + decoding_ns() : never;
}

void Acquisition::forget_carriers() {
    found_ = {};
    held_carrier_ = nullptr;
}

Acquisition::Stage Acquisition::stage(std::uint64_t now_ns) const {
    switch (phase_at(now_ns)) {
        case Phase::idle:
            return Stage::idle;
        case Phase::tracking:
            return Stage::locked;
        case Phase::holding:
            return Stage::holding;
        case Phase::ended:
            return Stage::given_up;
        case Phase::searching:
            break;
    }
    if (now_ns < boot_ns_) {
        return Stage::boot;
    }
    if (now_ns < gain_ns_) {
        return Stage::gain;
    }
    if (now_ns < timing_ns_) {
        return Stage::timing;
    }
    return now_ns < carrier_ns_ ? Stage::carrier : Stage::decoding;
}

std::uint8_t Acquisition::mcu_state(std::uint64_t now_ns) const {
    switch (stage(now_ns)) {
        case Stage::idle:
        case Stage::boot:
            return reg::mcu_state_boot;
        case Stage::gain:
            return 0x04;
        case Stage::timing:
            return 0x08;
        case Stage::carrier:
        case Stage::holding:
            return 0x10;
        case Stage::decoding:
            // From 0x21 on the equaliser works.
            return sees_headers() ? 0x21 : 0x1C;
        case Stage::locked:
            return 0x22;
        case Stage::given_up:
            break;
    }
    const bool on_carrier = phase_ == Phase::ended ? ended_on_carrier_ : found_.carrier != nullptr;
    return on_carrier ? reg::mcu_state_search_ended : reg::mcu_state_search_failed;
}

}  // namespace sim
