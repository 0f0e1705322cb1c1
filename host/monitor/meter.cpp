// SPDX-License-Identifier: MIT
#include "host/monitor/meter.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace host {

namespace {

// From here on a shower passes unnoticed.
constexpr double safe_margin_db = 4;

// Where the sounds come as fast as they can, by margin and, where nobody knows it, by C/N.
constexpr double fastest_margin_db = 10;
constexpr double fastest_quality_db = 20;
constexpr double slowest_beat_ms = 1'500;
constexpr double fastest_beat_ms = 150;

std::optional<double> strength_of(const ReceptionReading &reading) {
    return reading.strength_percent ? std::optional<double>(*reading.strength_percent)
                                    : std::nullopt;
}

std::optional<double> quality_of(const ReceptionReading &reading) {
    return reading.quality ? std::optional<double>(reading.quality->quality_db) : std::nullopt;
}

std::optional<double> margin_of(const ReceptionReading &reading) {
    return reading.quality ? reading.quality->margin_db() : std::nullopt;
}

}  // namespace

void PeakHold::update(std::optional<double> value, std::uint64_t time_ms) {
    const std::uint64_t falls_from_ms = std::max(updated_ms_, held_from_ms_ + hold_ms);
    updated_ms_ = time_ms;
    if (peak_ && time_ms > falls_from_ms) {
        *peak_ -= fall_per_s_ * static_cast<double>(time_ms - falls_from_ms) / 1e3;
    }
    if (value && (!peak_ || *value >= *peak_)) {
        peak_ = value;
        held_from_ms_ = time_ms;
    } else if (peak_ && *peak_ <= 0) {
        peak_.reset();
    }
}

void History::add(const ReceptionReading &reading, std::uint64_t time_ms) {
    const std::uint64_t stretch = time_ms / stretch_ms;
    const std::uint64_t missing = moments_.empty() ? 1 : stretch - stretch_;
    stretch_ = stretch;
    for (std::uint64_t i = 0; i < std::min<std::uint64_t>(missing, longest); ++i) {
        moments_.emplace_back();
    }
    while (moments_.size() > longest) {
        moments_.pop_front();
    }
    HistoryMoment &moment = moments_.back();
    if (reading.quality) {
        const int quality_db = reading.quality->quality_db;
        moment.least_quality_db =
            std::min(moment.least_quality_db.value_or(quality_db), quality_db);
    }
    moment.worst = std::min(moment.worst.value_or(Grade::good), grade_of(reading));
}

Grade grade_of(const ReceptionReading &reading) {
    if (!reading.locked) {
        return Grade::no_lock;
    }
    const auto margin_db = margin_of(reading);
    if (!margin_db) {
        return Grade::fair;
    }
    if (*margin_db < little_margin_db) {
        return Grade::weak;
    }
    return *margin_db < safe_margin_db ? Grade::fair : Grade::good;
}

std::optional<std::uint64_t> beat_ms(const ReceptionReading &reading) {
    const auto quality_db = quality_of(reading);
    if (!quality_db) {
        return std::nullopt;
    }
    const auto margin_db = margin_of(reading);
    const double share = std::clamp(
        margin_db ? *margin_db / fastest_margin_db : *quality_db / fastest_quality_db, 0.0, 1.0);
    return static_cast<std::uint64_t>(
        std::llround(slowest_beat_ms + share * (fastest_beat_ms - slowest_beat_ms)));
}

Meter::Meter(std::string title, bool sounds) {
    face_.title = std::move(title);
    face_.sounds = sounds;
}

void Meter::add(const MonitorReading &reading) {
    const ReceptionReading &reception = reading.reception;
    quality_.update(quality_of(reception), reading.time_ms);
    margin_.update(margin_of(reception), reading.time_ms);
    strength_.update(strength_of(reception), reading.time_ms);
    history_.add(reception, reading.time_ms);
    const auto errors_before = face_.reading.reception.errors;
    face_.reading = reading;
    if (reception.locked && !reception.errors) {
        face_.reading.reception.errors = errors_before;
    }
    if (reception.quality) {
        face_.best_quality_db =
            std::max(face_.best_quality_db.value_or(reception.quality->quality_db),
                     reception.quality->quality_db);
    }
    face_.quality_peak = quality_.peak();
    face_.margin_peak = margin_.peak();
    face_.strength_peak = strength_.peak();
    face_.history = history_.moments();
}

}  // namespace host
