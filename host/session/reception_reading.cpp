// SPDX-License-Identifier: MIT
#include "host/session/reception_reading.h"

#include <fmt/format.h>
#include <unistd.h>

#include <cmath>
#include <utility>

#include "broadcast/modcod.h"
#include "ds3000/chip/ds3000_context.h"
#include "ds3000/chip/ds3000_regs.h"
#include "ds3000/demod/carrier.h"
#include "ds3000/demod/connect.h"
#include "ds3000/demod/signal_quality.h"
#include "ds3000/demod/signal_strength.h"
#include "ds3000/hw/register_access.h"
#include "host/session/lock_wait.h"
#include "host/session/pace.h"
#include "host/terminal/failure.h"

namespace host {

namespace {

// The strength is the mean of this many readings.
constexpr unsigned settling_polls = 16;

// The C/N that the received modulation and code rate need; absent while the chip does not know.
std::optional<double> needed_db(const SignalInfo &info) {
    return info.modulation && info.code_rate
               ? broadcast::threshold_db(info.system, *info.modulation, *info.code_rate)
               : std::nullopt;
}

// One transfer may fail on any bus: a lock is gone when two polls say so.
bool has_lock_still() {
    const bool seen = poll_lock();
    return seen || poll_lock();
}

QualityReading judged(int quality_db, const SignalInfo &signal) {
    return {quality_db, signal, needed_db(signal)};
}

}  // namespace

std::optional<double> QualityReading::margin_db() const {
    return threshold_db ? std::optional(quality_db - *threshold_db) : std::nullopt;
}

QualityReading measure_quality() {
    constexpr std::uint64_t settling_ms = 300;
    pause_ms(settling_ms);
    // In this order on every target; arguments are evaluated in the compiler's.
    const SignalInfo signal = read_signal_info();
    return judged(measure_quality_db(), signal);
}

double hundredths(double value) { return std::round(value * 100) / 100; }

std::int32_t drift_that_moves(const TunePlan &plan, std::int32_t above_khz) {
    return plan.inverted ? above_khz : -above_khz;
}

namespace {

// A Unicable unit's converter lies above the band, so a user band is the spectrum upside down:
// where the tuner stands beside its own place counts the other way there than the driver has it.
std::int32_t turned_tuner_offset_khz() {
    return ds3000_context.unicable_enabled == 1 ? 2 * ds3000_context.tuner_ops.tuner_get_offset()
                                                : 0;
}

}  // namespace

// The driver tunes whole MHz, so part of what the demodulator found is the rest of the request.
CarrierReading measure_carrier(const TunePlan &plan) {
    std::int32_t delta_khz = 0;
    ds3000_get_carrier_offset_delta(&delta_khz);
    if (ds3000_sees_inverted_spectrum() != 0) {
        delta_khz = -delta_khz;
    }
    const std::int32_t above_khz =
        delta_khz - static_cast<std::int32_t>(plan.residual_khz) - turned_tuner_offset_khz();
    return {above_khz, drift_that_moves(plan, above_khz)};
}

std::string to_string(ErrorCount::Unit unit) {
    return unit == ErrorCount::Unit::bits ? "bits" : "packets";
}

Json json_of(const ReceptionReading &reading) {
    Json json{{"locked", reading.locked}};
    if (reading.quality) {
        json["quality_db"] = reading.quality->quality_db;
        if (const auto margin_db = reading.quality->margin_db()) {
            json["threshold_db"] = *reading.quality->threshold_db;
            json["margin_db"] = hundredths(*margin_db);
        }
    }
    if (reading.carrier) {
        json["carrier_offset_khz"] = reading.carrier->above_khz;
        json["lnb_drift_khz"] = reading.carrier->drift_khz;
    }
    if (reading.quality && reading.quality->signal) {
        json["signal"] = json_of(*reading.quality->signal);
    }
    if (reading.errors) {
        json["errors"] = {{"count", reading.errors->errors},
                          {"of", reading.errors->of},
                          {"unit", to_string(reading.errors->unit)}};
    }
    if (reading.strength_percent) {
        json["strength_percent"] = *reading.strength_percent;
    }
    return json;
}

std::vector<std::pair<std::string, std::string>> words_of(const ReceptionReading &reading) {
    std::vector<std::pair<std::string, std::string>> words;
    const auto add = [&words](const char *what, std::string value) {
        words.emplace_back(what, std::move(value));
    };
    if (reading.quality) {
        add("quality", fmt::format("{} dB", reading.quality->quality_db));
        if (reading.quality->signal) {
            add("signal", summary(*reading.quality->signal));
        }
        if (const auto margin_db = reading.quality->margin_db()) {
            add("margin", fmt::format("{:.1f} dB over the {:.1f} dB that this needs", *margin_db,
                                      *reading.quality->threshold_db));
        }
    }
    if (reading.carrier) {
        add("carrier", fmt::format("{:+} kHz from its place: the oscillator is off by {:+} kHz",
                                   reading.carrier->above_khz, reading.carrier->drift_khz));
    }
    if (reading.errors) {
        add("errors", fmt::format("{} of {} {}", reading.errors->errors, reading.errors->of,
                                  to_string(reading.errors->unit)));
    }
    if (reading.strength_percent) {
        add("strength", fmt::format("{} %", *reading.strength_percent));
    }
    return words;
}

ReceptionReading PublishedReception::read() {
    ReceptionReading reading{.locked = session_.locked(),
                             .quality = {},
                             .carrier = {},
                             .errors = {},
                             .strength_percent = {}};
    const Signal signal = session_.signal();
    if (reading.locked) {
        reading.quality = {signal.quality_db, std::nullopt, std::nullopt};
    }
    reading.strength_percent = signal.strength_percent;
    return reading;
}

std::optional<ErrorCount> ErrorCounter::count() {
    told_early_ = 0;
    if (ds3000_context.standard != STANDARD_DVBS2) {
        return count_bits();
    }
    keep_up();
    return std::exchange(held_, std::nullopt);
}

void ErrorCounter::keep_up() {
    if (ds3000_context.standard != STANDARD_DVBS2) {
        return;
    }
    const std::optional<ErrorCount> counted = count_packets();
    if (held_ && counted) {
        held_->errors += counted->errors;
        held_->of += counted->of;
    } else if (counted) {
        held_ = counted;
    }
}

void ErrorCounter::forget() {
    from_.reset();
    held_.reset();
}

// A window that has ended is told once, and the next one begun. The first to end began before
// anybody asked, perhaps before the lock.
std::optional<ErrorCount> ErrorCounter::count_bits() {
    std::uint8_t state = 0;
    const bool known = demod_read(ds3000::reg::errors_high, &state) == DS3000_OK;
    Stand told;
    ds3000_get_ber(&told.of, &told.errors);
    const bool goes_on = known && (state & ds3000::reg::errors_running) != 0;
    told_early_ = goes_on ? told.errors : 0;
    if (!known || goes_on) {
        return std::nullopt;
    }
    const bool began_here = from_.has_value();
    from_ = Stand{};
    return began_here ? std::optional(ErrorCount{told.errors, told.of, ErrorCount::Unit::bits})
                      : std::nullopt;
}

// The driver restarts the counters when they hold enough for it, and only then tells what they hold
// now; its context always has that.
std::optional<ErrorCount> ErrorCounter::count_packets() {
    const Stand before{ds3000_context.ber_errors, ds3000_context.ber_denominator};
    Stand told;
    ds3000_get_ber(&told.of, &told.errors);
    const Stand now{ds3000_context.ber_errors, ds3000_context.ber_denominator};
    std::optional<ErrorCount> count;
    if (from_ && now.of > from_->of && now.errors >= from_->errors) {
        count = {now.errors - from_->errors, now.of - from_->of, ErrorCount::Unit::packets};
    }
    const bool has_moved = now != before || (from_ && *from_ == Stand{});
    const bool restarted = told == now && has_moved;
    from_ = restarted ? Stand{} : now;
    return count;
}

void set_up_channel(const TunePlan &plan) {
    if (ds3000_connect(plan.freq_mhz, static_cast<std::int32_t>(plan.symbol_rate_ksps),
                       plan.standard) != DS3000_OK) {
        throw Failure(ExitStatus::hardware_absent,
                      "the demodulator could not be set up for this channel");
    }
}

bool ChipReceptionReader::poll() {
    if (locked_) {
        locked_ = has_lock_still();
    } else {
        const std::uint32_t state = poll_lock_state();
        locked_ = state == LOCK_LOCKED;
        search_is_over_ = state == LOCK_FAILED;
    }
    std::uint8_t percent = 0;
    quality_db_ = measure_quality_db();
    signal_strength(&percent);
    strength_percent_ = percent;
    ++polls_;
    if (!locked_) {
        errors_.forget();
    }
    return locked_;
}

void ChipReceptionReader::keep_counting() {
    if (locked_) {
        errors_.keep_up();
    }
}

ReceptionReading ChipReceptionReader::read() {
    poll();
    return look_closer();
}

// While the lock goes, the registers are on their way to those of no channel.
ReceptionReading ChipReceptionReader::look_closer() {
    const ReceptionReading reading = ask_for_all();
    if (!locked_ || has_lock_still()) {
        return reading;
    }
    locked_ = false;
    errors_.forget();
    return ask_for_all();
}

ReceptionReading ChipReceptionReader::ask_for_all() {
    ReceptionReading reading;
    reading.locked = locked_;
    if (locked_) {
        reading.quality = judged(quality_db_, read_signal_info());
        reading.carrier = measure_carrier(plan_);
        reading.errors = errors_.count();
        reading.early_errors = errors_.told_early();
    }
    if (polls_ >= settling_polls) {
        reading.strength_percent = strength_percent_;
    }
    return reading;
}

Reception ChipReceptionReader::await_lock(
    const std::function<bool(std::uint64_t elapsed_ms)> &give_up) {
    unsigned locked_polls = 0;
    const LockOutcome outcome = wait_for_lock(
        {.look =
             [&](std::uint64_t) {
                 locked_polls = poll() ? locked_polls + 1 : 0;
                 if (locked_polls == 0) {
                     return Sight::nothing;
                 }
                 return locked_polls > settling_polls ? Sight::certain : Sight::passing;
             },
         .give_up =
             [&](std::uint64_t elapsed_ms) { return locked_polls == 0 && give_up(elapsed_ms); },
         .pause = [] { usleep(polling_period_ms * 1'000); }});
    return {outcome.since_ms, outcome.waited_ms, look_closer(), {}};
}

}  // namespace host
