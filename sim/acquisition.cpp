// SPDX-License-Identifier: MIT
#include "sim/acquisition.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <utility>

#include "board/chance.h"
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
constexpr double header_frames = 2;
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
constexpr std::uint64_t quarter_ns = 250'000'000;
constexpr std::uint64_t quarters_looked_at = 4'000;
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

double frame_symbols_of(const FoundCarrier &found) {
    return found.carrier == nullptr ? 0
                                    : frame_symbols(found.carrier->transponder.modulation,
                                                    found.carrier->transponder.pilots);
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
    came_to_rest_ = false;
    left_ = false;
}

void Acquisition::see(const FoundCarrier &found, std::uint64_t now_ns, std::uint64_t settled_ns,
                      std::uint64_t way_ns) {
    settle(now_ns);
    way_ns_ = way_ns;
    switch (phase_) {
        case Phase::idle:
            return;
        case Phase::searching:
            if (now_ns <= gain_ns_) {
                settled_ns_ = settled_ns;
            }
            came_to_rest_ = came_to_rest_ || (now_ns > timing_ns_ && found_.carrier != nullptr);
            take(found);
            plan_search(now_ns);
            return;
        case Phase::tracking:
            if (is_the_held(found) && next_ns(found, true, now_ns) == now_ns) {
                keep(found, now_ns);
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

void Acquisition::enter(Phase next) {
    switch (next) {
        case Phase::tracking:
            phase_ = next;
            settled_ns_ = 0;
            came_to_rest_ = false;
            left_ = false;
            track(lock_ns_);
            return;
        case Phase::holding:
            found_.reason = Reason::cn_below_threshold;
            found_.text = shortage_;
            hold(drop_ns_);
            return;
        default:
            phase_ = next;
            ended_on_carrier_ = found_.carrier != nullptr;
            return;
    }
}

// The carrier as the converters deliver it.
void Acquisition::take(const FoundCarrier &found) {
    found_ = found;
    const std::uint64_t last_ns = std::max(settled_ns_, way_ns_);
    if (found.locks_at_times() && search_.loops_astray) {
        found_.reason = Reason::capture_range;
        found_.wavers = false;
        found_.text = "the loops stand where the last search left them, and the core was not reset";
    } else if (found.locks_at_times() && last_ns > gain_ns_) {
        found_.reason = Reason::tuner_agc;
        found_.wavers = false;
        found_.text = fmt::format(
            "the gain was set {:.1f} ms before {}", static_cast<double>(last_ns - gain_ns_) * 1e-6,
            last_ns == way_ns_ ? "voltage, tone or switch led to another signal"
                               : "the tuner had settled");
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
        found_.locks_at_times() ? std::max(quiet_margin_db - found_.margin_db, 0.0) : 0;
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
    header_ns_ = carrier_ns_ + duration_of(header_frames * frame_symbols_of(found_), rate_ksps_);
    if (found_.locks() && carrier_ns_ <= last_sweep_ns) {
        lock_ns_ = carrier_ns_ + decoding_ns();
        end_ns_ = never;
        return;
    }
    lock_ns_ = never;
    end_ns_ = std::max(last_sweep_ns + decoding_ns(), now_ns);
    if (found_.wavers && carrier_ns_ <= last_sweep_ns) {
        lock_ns_ = next_ns(found_, true, carrier_ns_ + decoding_ns());
        lock_ns_ = lock_ns_ <= end_ns_ ? lock_ns_ : never;
        return;
    }
    carrier_ns_ = sees_headers() || found_.alias ? carrier_ns_ : last_sweep_ns;
}

bool Acquisition::is_the_held(const FoundCarrier &found) const {
    // A dish that was pointed elsewhere and brings the like of it is nothing new to the loops.
    const bool is_the_same = held_carrier_ == nullptr || found.carrier == held_carrier_;
    return found.locks_at_times() && is_the_same &&
           std::abs(found.measured_khz - held_khz_) <= pull_in_share * rate_ksps_;
}

// By the time alone, however often it is asked.
bool Acquisition::is_there_at(const FoundCarrier &found, std::uint64_t quarter) const {
    board::Chance draw(seed_ ^ (quarter << 20U));
    draw.uniform();
    draw.uniform();
    return draw.uniform() >= -found.margin_db / wavering_range_db;
}

// From a time on, the first moment at which a carrier is there or not.
std::uint64_t Acquisition::next_ns(const FoundCarrier &found, bool there,
                                   std::uint64_t from_ns) const {
    if (!found.wavers) {
        return there ? from_ns : never;
    }
    const std::uint64_t first = from_ns / quarter_ns;
    for (std::uint64_t quarter = first; quarter < first + quarters_looked_at; ++quarter) {
        if (is_there_at(found, quarter) == there) {
            return std::max(from_ns, quarter * quarter_ns);
        }
    }
    return never;
}

void Acquisition::keep(const FoundCarrier &found, std::uint64_t now_ns) {
    found_ = found;
    track(now_ns);
}

// Follow what was found, as long as it is there.
void Acquisition::track(std::uint64_t now_ns) {
    held_carrier_ = found_.carrier;
    held_khz_ = found_.measured_khz;
    drop_ns_ = next_ns(found_, false, now_ns);
    if (found_.wavers) {
        found_.reason = Reason::locked;
        shortage_ = std::exchange(
            found_.text, fmt::format("locked for a while on {}, C/N {:.1f} dB, below its threshold",
                                     describe(found_.carrier->transponder), found_.cn_db));
    }
}

void Acquisition::lose(const FoundCarrier &found, std::uint64_t now_ns) {
    found_ = found;
    hold(now_ns);
}

void Acquisition::hold(std::uint64_t now_ns) {
    phase_ = Phase::holding;
    left_ = now_ns >= lock_ns_ + settling_duration_ns;
    end_ns_ = now_ns + hold_duration_ns;
    plan_return(now_ns);
}

void Acquisition::plan_return(std::uint64_t now_ns) {
    lock_ns_ = is_the_held(found_) ? next_ns(found_, true, now_ns + decoding_ns()) : never;
    if (found_.wavers && lock_ns_ > end_ns_) {
        lock_ns_ = never;
    } else if (lock_ns_ != never) {
        end_ns_ = std::max(end_ns_, lock_ns_);
    }
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
            return has_read_header(now_ns) ? 0x21 : 0x1C;
        case Stage::locked:
            return 0x22;
        case Stage::given_up:
            break;
    }
    const bool on_carrier = phase_ == Phase::ended ? ended_on_carrier_ : found_.carrier != nullptr;
    if (on_carrier) {
        return reg::mcu_state_search_ended;
    }
    // A carrier that the timing had come to rest on, and that is gone: both.
    constexpr std::uint8_t ended_in_vain =
        reg::mcu_state_search_failed | reg::mcu_state_search_ended;
    return came_to_rest_ ? ended_in_vain : reg::mcu_state_search_failed;
}

}  // namespace sim
