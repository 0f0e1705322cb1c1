// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <deque>
#include <optional>
#include <string>

#include "host/monitor/reception_monitor.h"

namespace host {

// The highest value of late: it is held for some seconds, then falls towards what there is.
class PeakHold {
 public:
    static constexpr std::uint64_t hold_ms = 3'000;

    explicit PeakHold(double fall_per_s) : fall_per_s_(fall_per_s) {}

    // What is read now; nothing when nothing is known.
    void update(std::optional<double> value, std::uint64_t time_ms);

    // Absent when there was nothing, and when it has fallen away without a value to stop it.
    [[nodiscard]] std::optional<double> peak() const { return peak_; }

 private:
    double fall_per_s_;
    std::optional<double> peak_;
    std::uint64_t held_from_ms_ = 0;
    std::uint64_t updated_ms_ = 0;
};

// How good a reception is, for people, the worst first: red, yellow, green.
enum class Grade : std::uint8_t { no_lock, weak, fair, good };

// Without a margin the grade is fair: it is received, and nobody knows how safely.
Grade grade_of(const ReceptionReading &reading);

// What happened in a stretch of time: the worst of it, so that no loss is hidden.
struct HistoryMoment {
    std::optional<int> least_quality_db;
    std::optional<Grade> worst;  // absent without a reading
};

// The last minutes, in equal stretches.
class History {
 public:
    static constexpr std::uint64_t stretch_ms = 5'000;
    static constexpr std::size_t longest = 720;  // an hour

    void add(const ReceptionReading &reading, std::uint64_t time_ms);

    // The oldest first.
    [[nodiscard]] const std::deque<HistoryMoment> &moments() const { return moments_; }

 private:
    std::deque<HistoryMoment> moments_;
    std::uint64_t stretch_ = 0;  // of the last one, counted from the beginning
};

// The pause from one sound to the next, the shorter the better the reception; none without lock.
std::optional<std::uint64_t> beat_ms(const ReceptionReading &reading);

// What a meter for aligning a dish shows.
struct MeterFace {
    std::string title;
    MonitorReading reading;              // with the last errors that were counted in this lock
    std::optional<int> best_quality_db;  // since the watch began
    std::optional<double> quality_peak;
    std::optional<double> margin_peak;
    std::optional<double> strength_peak;
    std::deque<HistoryMoment> history;
    bool sounds = false;
};

// Makes the face out of the readings.
class Meter {
 public:
    // title: what is watched.
    Meter(std::string title, bool sounds);

    void add(const MonitorReading &reading);
    [[nodiscard]] const MeterFace &face() const { return face_; }

 private:
    MeterFace face_;
    PeakHold quality_{1.0};   // dB a second
    PeakHold margin_{1.0};    // dB a second
    PeakHold strength_{5.0};  // percent a second
    History history_;
};

}  // namespace host
