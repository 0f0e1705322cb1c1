// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "sim/passband.h"

namespace sim {

// The micro-controller's search for a carrier, as it goes on in time.
//
// After 3 ms of start-up it sets the gain (2 ms), recovers the timing (20000 symbols), sweeps the
// carrier frequency outwards from the expected one in steps of a quarter of the symbol rate, 4000
// symbols each, and decodes: ten super-frames of eight packets for DVB-S, five frames for DVB-S2.
// A search that finds nothing sweeps the whole capture range before it gives up.
class Acquisition {
 public:
    enum class Stage { idle, boot, gain, timing, carrier, decoding, locked, given_up };

    void stop() { running_ = false; }
    void start(const CarrierSearch &search, const FoundCarrier &found, std::uint64_t now_ns,
               std::uint64_t settled_ns);
    // The same carrier under other conditions.
    void update(const FoundCarrier &found) { found_ = found; }
    // The carrier's record is about to go.
    void forget_carrier() { found_.carrier = nullptr; }

    [[nodiscard]] Stage stage(std::uint64_t now_ns) const;
    [[nodiscard]] bool locked(std::uint64_t now_ns) const { return stage(now_ns) == Stage::locked; }
    [[nodiscard]] const FoundCarrier &found() const { return found_; }
    [[nodiscard]] std::uint64_t lock_ns() const { return lock_ns_; }

    // Register 0xB3: 0x38 during start-up, then growing with the stages. Bit 6 tells that the
    // search ended without lock, so that the other standard may be tried, bit 7 that it failed.
    // This one ends where a carrier was there but could not be locked, and fails where there was
    // none.
    [[nodiscard]] std::uint8_t mcu_state(std::uint64_t now_ns) const;

 private:
    bool running_ = false;
    FoundCarrier found_;
    std::uint64_t boot_ns_ = 0;
    std::uint64_t gain_ns_ = 0;
    std::uint64_t timing_ns_ = 0;
    std::uint64_t carrier_ns_ = 0;
    std::uint64_t lock_ns_ = 0;
};

}  // namespace sim
