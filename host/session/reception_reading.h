// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/cable/plan.h"
#include "host/cable/signal_info.h"
#include "host/session/session.h"
#include "host/terminal/output.h"

namespace host {

// Less than this above the threshold, and a shower takes the picture.
inline constexpr double little_margin_db = 2;

// What a lock is worth.
struct QualityReading {
    int quality_db = 0;                  // C/N, whole dB
    std::optional<SignalInfo> signal;    // only the chip layer tells
    std::optional<double> threshold_db;  // of modulation and code rate, where the chip knows them

    [[nodiscard]] std::optional<double> margin_db() const;
};

// Ask the chip layer, which must hold a locked channel, when the figures have settled.
QualityReading measure_quality();

// A value as JSON has it that is no finer: rounded to hundredths.
double hundredths(double value);

// How far the LNB's oscillator is off when the carrier of a plan lies so far above its place: an
// oscillator above the band moves the carrier with it, one below it the other way.
std::int32_t drift_that_moves(const TunePlan &plan, std::int32_t above_khz);

// How far a locked carrier lies from where the request put it, and what that says of the LNB's
// oscillator; through a user band, of the unit's.
struct CarrierReading {
    std::int32_t above_khz = 0;
    std::int32_t drift_khz = 0;
};
CarrierReading measure_carrier(const TunePlan &plan);

// Errors among what was received since the reading before. DVB-S counts bits after the inner
// decoder, DVB-S2 packets after both.
struct ErrorCount {
    enum class Unit : std::uint8_t { bits, packets };

    std::uint32_t errors = 0;
    std::uint32_t of = 0;  // never 0
    Unit unit = Unit::bits;

    [[nodiscard]] double rate() const { return static_cast<double>(errors) / of; }
};
std::string to_string(ErrorCount::Unit unit);

// All that is known of a reception at one moment: absent what nobody can tell, and never 0 for it.
struct ReceptionReading {
    bool locked = false;
    std::optional<QualityReading> quality;     // with lock
    std::optional<CarrierReading> carrier;     // with lock
    std::optional<ErrorCount> errors;          // with lock, when a count has ended
    std::optional<unsigned> strength_percent;  // when the mean of sixteen readings is theirs alone
    std::uint32_t early_errors = 0;            // told of a count of DVB-S that goes on
};

// locked, quality_db, threshold_db, margin_db, carrier_offset_khz, lnb_drift_khz, signal, errors,
// strength_percent.
Json json_of(const ReceptionReading &reading);

// The same for people but for the lock: a name, and what is known of it.
std::vector<std::pair<std::string, std::string>> words_of(const ReceptionReading &reading);

// Whoever tells what is received, by the board's chips, directly or through a user band.
class ReceptionReader {
 public:
    ReceptionReader() = default;
    ReceptionReader(const ReceptionReader &) = delete;
    ReceptionReader &operator=(const ReceptionReader &) = delete;
    virtual ~ReceptionReader() = default;

    virtual ReceptionReading read() = 0;
};

// What the plug-in publishes: lock, quality and strength. Its strength is settled 1.2 s after a
// tune (Session::settle).
class PublishedReception final : public ReceptionReader {
 public:
    explicit PublishedReception(Session &session) : session_(session) {}
    ReceptionReading read() override;

 private:
    Session &session_;
};

// The driver's error counters, read from one reading to the next.
class ErrorCounter {
 public:
    // What was counted since the call before; nothing at the first one, and in DVB-S while the
    // count still runs.
    std::optional<ErrorCount> count();

    // Hold what DVB-S2 has counted for the next count(). The driver multiplies frames and bits in
    // 32 bits, which the fastest carrier outgrows in eleven seconds.
    void keep_up();

    // Errors that the driver told at the last call of a count of DVB-S that goes on, of which it
    // knows nothing.
    [[nodiscard]] std::uint32_t told_early() const { return told_early_; }

    // Forget the count that runs: the lock is gone.
    void forget();

 private:
    struct Stand {
        std::uint32_t errors = 0;
        std::uint32_t of = 0;
        bool operator==(const Stand &) const = default;
    };
    std::optional<ErrorCount> count_bits();
    std::optional<ErrorCount> count_packets();

    std::optional<Stand> from_;       // where the count that runs began
    std::optional<ErrorCount> held_;  // of DVB-S2, before that
    std::uint32_t told_early_ = 0;
};

// What became of a tune.
struct Reception {
    std::optional<std::uint64_t> lock_ms;  // from the set-up's end to lock
    std::uint64_t waited_ms = 0;           // when waiting ended
    ReceptionReading reading;
    std::string without_data;  // why none come behind the lock, where somebody knows

    [[nodiscard]] bool is_usable() const { return lock_ms && without_data.empty(); }
};

// Set the chip layer up for a plan's channel, on a cable that delivers it. Throws Failure
// (hardware_absent).
void set_up_channel(const TunePlan &plan);

// What the chips tell of a plan's channel, which the chip layer has been set up for.
class ChipReceptionReader final : public ReceptionReader {
 public:
    explicit ChipReceptionReader(TunePlan plan) : plan_(std::move(plan)) {}

    // Do what the plug-in's worker thread does at each of its turns. Returns whether there is lock;
    // one that went is looked for a second time.
    bool poll();

    // Whether the last poll found a search that came to its end without lock.
    [[nodiscard]] bool search_is_over() const { return search_is_over_; }

    // To be called every ten seconds between readings that are farther apart, so that no error
    // count is lost.
    void keep_counting();

    // Poll, and ask for all the rest. When the lock goes meanwhile, there is none in the reading.
    ReceptionReading read() override;

    // Wait for lock as that thread does, polling every 50 ms. With lock, sixteen more polls let the
    // figures become those of this channel. give_up is asked while there is none.
    Reception await_lock(const std::function<bool(std::uint64_t elapsed_ms)> &give_up);

 private:
    ReceptionReading look_closer();
    ReceptionReading ask_for_all();

    TunePlan plan_;
    ErrorCounter errors_;
    bool locked_ = false;
    bool search_is_over_ = false;
    int quality_db_ = 0;
    unsigned strength_percent_ = 0;
    unsigned polls_ = 0;
};

}  // namespace host
