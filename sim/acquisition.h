// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <limits>
#include <string>

#include "sim/passband.h"

namespace sim {

// The micro-controller's search for a carrier, as it goes on in time, and what becomes of its lock.
//
// A search begins when the micro-controller is let go, and at no other time. After 3 ms of start-up
// it sets the gain (2 ms), once for the whole search: a tuner that has not settled by then, or
// another voltage, tone or dish after it, leaves the converters driven wrongly to its end. It
// recovers the timing (20000 symbols; a wide search tries as many at each hundredth of the symbol
// rate, on either side in turn, until it is near), sweeps the carrier frequency outwards from the
// expected one in steps of a quarter of the symbol rate, 4000 symbols each, and decodes: ten
// super-frames of eight packets for DVB-S, five frames for DVB-S2, of which it takes two to read
// the first header.
// Sweeps follow each other until one passes over a carrier that locks, for 150 ms at least, or
// 300 ms once frame headers of DVB-S2 are seen. A carrier of which no frame is ever understood, as
// of the other standard, ends the search with its first sweep. Then the micro-controller waits to
// be let go again, whatever comes.
//
// With less than 2 dB above the threshold a part of the frames is spoilt and decoding takes more of
// them, as chance will have it: at the threshold twice to five times as many.
//
// A carrier that lacks less than a decibel to its threshold is followed for a while and lost again:
// in each quarter of a second it is there or not, by the seed, the more often the less it lacks. It
// locks if it is there when the search has come to decode it.
//
// Lock that goes leaves the loops where they are: for a second they hold carrier and timing, and
// the decoder finds the same carrier again by itself when it is back within an eighth of the symbol
// rate, what such a loop pulls in. After that the crystals have run too far apart, the
// micro-controller gives up as after a search.
class Acquisition {
 public:
    enum class Stage {
        idle,
        boot,
        gain,
        timing,
        carrier,
        decoding,
        locked,
        holding,  // lock is gone, the loops stand where they were
        given_up
    };

    explicit Acquisition(std::uint64_t seed) : seed_(seed) {}

    void stop() { phase_ = Phase::idle; }
    // Begin to search; see() tells for what. `luck`, 0 to 1, is the one of this search with frames
    // that little margin spoils.
    void start(const CarrierSearch &search, std::uint64_t now_ns, double luck);
    // What the chip receives from a time on, which is the latest it has been told. The tuner behind
    // it is settled from `settled_ns` on; voltage, tone and switch are as they are since `way_ns`.
    void see(const FoundCarrier &found, std::uint64_t now_ns, std::uint64_t settled_ns,
             std::uint64_t way_ns);
    // Let everything have happened that comes with time, before it is asked what there is.
    void settle(std::uint64_t now_ns) {
        for (Phase next = phase_at(now_ns); next != phase_; next = phase_at(now_ns)) {
            enter(next);
        }
    }
    // The carriers' records are about to go.
    void forget_carriers();

    [[nodiscard]] Stage stage(std::uint64_t now_ns) const;
    [[nodiscard]] bool locked(std::uint64_t now_ns) const { return stage(now_ns) == Stage::locked; }
    // Whether lock comes by itself if nothing changes, and when.
    [[nodiscard]] bool will_lock() const { return lock_ns_ != never; }
    [[nodiscard]] std::uint64_t lock_ns() const { return lock_ns_; }
    // When the micro-controller gave up, or will.
    [[nodiscard]] std::uint64_t end_ns() const { return end_ns_; }
    [[nodiscard]] const FoundCarrier &found() const { return found_; }
    // The loops have lost a carrier that they had come to rest on, and it is not back.
    [[nodiscard]] bool is_left() const { return left_ && !will_lock(); }
    // Frame headers of DVB-S2 are understood, their payload not yet or not at all.
    [[nodiscard]] bool sees_headers() const;
    // The first of them has been read.
    [[nodiscard]] bool has_read_header(std::uint64_t now_ns) const {
        return phase_ != Phase::idle && sees_headers() && now_ns >= header_ns_;
    }

    // Register 0xB3: 0x38 during start-up, then growing with the stages. Bit 6 tells that the
    // search ended without lock, so that the other standard may be tried, bit 7 that it failed.
    // This one ends where a carrier was there but could not be locked, and fails where there was
    // none.
    [[nodiscard]] std::uint8_t mcu_state(std::uint64_t now_ns) const;

 private:
    // What the micro-controller is at. Times within a phase follow from the members below.
    enum class Phase { idle, searching, tracking, holding, ended };
    static constexpr std::uint64_t never = std::numeric_limits<std::uint64_t>::max();

    void enter(Phase next);
    // The next phase, if its time has come.
    [[nodiscard]] Phase phase_at(std::uint64_t now_ns) const {
        if (phase_ == Phase::tracking) {
            return now_ns >= drop_ns_ ? Phase::holding : phase_;
        }
        if (phase_ != Phase::searching && phase_ != Phase::holding) {
            return phase_;
        }
        if (now_ns >= lock_ns_) {
            return Phase::tracking;
        }
        return now_ns >= end_ns_ ? Phase::ended : phase_;
    }
    void take(const FoundCarrier &found);
    void plan_search(std::uint64_t now_ns);
    void hold(std::uint64_t now_ns);
    void keep(const FoundCarrier &found, std::uint64_t now_ns);
    void lose(const FoundCarrier &found, std::uint64_t now_ns);
    void track(std::uint64_t now_ns);
    void plan_return(std::uint64_t now_ns);
    [[nodiscard]] std::uint64_t timing_duration_ns() const;
    [[nodiscard]] std::uint64_t decoding_ns() const;
    [[nodiscard]] bool is_the_held(const FoundCarrier &found) const;
    [[nodiscard]] bool is_there_at(const FoundCarrier &found, std::uint64_t quarter) const;
    [[nodiscard]] std::uint64_t next_ns(const FoundCarrier &found, bool there,
                                        std::uint64_t from_ns) const;
    [[nodiscard]] std::uint64_t patience_ns() const;

    std::uint64_t seed_;
    Phase phase_ = Phase::idle;
    CarrierSearch search_;
    double luck_ = 0;
    double rate_ksps_ = 0;  // that paces the search
    FoundCarrier found_;
    std::string shortage_;  // what is said of a carrier that wavers when it is not there
    std::uint64_t boot_ns_ = 0;
    std::uint64_t gain_ns_ = 0;
    std::uint64_t timing_ns_ = 0;
    std::uint64_t carrier_ns_ = 0;
    std::uint64_t header_ns_ = 0;
    std::uint64_t lock_ns_ = never;
    std::uint64_t end_ns_ = never;
    std::uint64_t drop_ns_ = never;  // when a lock ends by itself
    std::uint64_t way_ns_ = 0;
    std::uint64_t settled_ns_ = 0;           // the tuner, when the gain was set
    const Carrier *held_carrier_ = nullptr;  // the one that the loops follow
    double held_khz_ = 0;
    bool came_to_rest_ = false;  // the timing, on a carrier that was there in this search
    bool ended_on_carrier_ = false;
    bool left_ = false;
};

}  // namespace sim
