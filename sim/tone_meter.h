// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>

#include "sim/outdoor.h"

namespace sim {

// How the demodulator measures a carrier without modulation: registers 0x59 and 0x5A its amplitude
// in 256ths of a decibel over -60 dBm, 0x5B and 0x5C its place in steps of the carrier registers,
// decimated as bits 6..4 of 0xC9 say, with the carrier offset added to it; 0xB3 the state.
//
// The state is 38 while the program starts, 03 while it looks for a carrier, 04 when it has one and
// 10 when it has followed that for a while. It averages until the carrier stands out of the noise,
// the weaker the longer: 150 ms for -30 dBm and 1.5 ms more for each decibel less. Until then
// amplitude and place are 0. Reading a high byte holds the low one that belongs to it.
//
// The program shares registers with the driver. It decimates as far as the place still fits into
// sixteen bits, and sets a carrier offset of its own, so that the converters' zero is no carrier.
// It has the carrier registers tell the carrier measured when it begins, and within a millisecond
// after each look at amplitude or state; then the driver chooses.
class ToneMeter {
 public:
    struct Measurement {
        std::optional<Tone> tone = {};           // in the demodulator's terms
        std::uint64_t released_ns = 0;           // when the micro-controller was let go
        std::uint64_t undisturbed_since_ns = 0;  // when tuner and cable came to rest
        double loss_db = 0;  // by registers that hold what a measurement does not need
    };

    explicit ToneMeter(double start_ms) : start_ns_(static_cast<std::uint64_t>(start_ms * 1e6)) {}

    [[nodiscard]] static bool owns(std::uint8_t reg);
    std::uint8_t read(std::uint8_t reg, const Measurement &measured, std::uint64_t now_ns);

    // The driver has written to 0x5D what the carrier registers are to tell.
    void choose_carrier(std::uint8_t value, std::uint64_t now_ns);

 private:
    [[nodiscard]] std::uint8_t read_carrier(std::uint8_t reg, const Measurement &measured,
                                            std::uint64_t now_ns) const;
    std::uint8_t read_result(std::uint8_t reg, const Measurement &measured, const Tone &tone,
                             double since_s);
    [[nodiscard]] double amplitude_db(double level_dbm, const ToneHabit &habit,
                                      double since_s) const;
    std::uint8_t hold_low_byte(long value);

    std::uint64_t start_ns_;
    std::uint64_t released_ns_ = 0;
    std::uint64_t chosen_ns_ = 0;
    std::uint64_t looked_at_ns_ = 0;
    bool told_programmed_ = false;
    std::uint8_t held_low_byte_ = 0;
    unsigned readings_ = 0;  // of the amplitude since it was let go
};

}  // namespace sim
