// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "sim/calibration.h"
#include "sim/gain.h"
#include "sim/scenario.h"
#include "sim/tuner_regs.h"
#include "sim/verdict.h"
#include "sim/watch.h"

namespace sim {

// What the tuner makes of its registers.
struct TunerOutput {
    Reason reason = Reason::tuner_off;  // Reason::locked when the tuner works
    std::string text;
    double lo_khz = 0;
    double bandwidth_khz = 0;      // of the low-pass filter, from the oscillator to one edge
    std::uint64_t settled_ns = 0;  // when the last calibration is over
    [[nodiscard]] bool works() const { return reason == Reason::locked; }
};

// The silicon tuner, a direct-conversion receiver of type 1 or 2.
//
// Power: bit 0 of register 0x00 starts the supply; bit 1, taken only 1 ms or more after it (or
// together with it), the rest. Other registers keep their values but do nothing while the tuner is
// not wholly on.
// Synthesiser: oscillator = divider x 27000/28 kHz, halved with the low band bit (0x10 bit 4). It
// works for 930..2170 MHz, with the reference divider 0x03 = 0x06 and the start-up registers 0x62
// and 0x42 set, and a VCO calibrated since the divider was last written, then the synthesiser
// calibrated. Type 2 needs its second VCO core (0x10 bit 7 and 0x11 = 0x6F) where the first one's
// band number (0x14) lies below 64, and only there.
// Filter: cut-off K x K0 / (2 x fine) kHz, calibrated since 0x04 and 0x06 were last written; type 2
// must leave calibration with 0x25 bit 7 set, 0x27 = 0x30 and 0x08 = 0x09.
// Gain control: started since the VCO and the filter were calibrated; type 2 needs 0x22 = 0x30 and
// 0x12 = 0xA0 from its start-up.
class Tuner {
 public:
    Tuner(const Scenario &scenario, Watch &watch);

    void power_on();

    void write(std::uint8_t reg, std::uint8_t value, std::uint64_t now_ns);
    [[nodiscard]] std::uint8_t read(std::uint8_t reg, std::uint64_t now_ns) const;

    // Whether a register's value depends on the input's level, which is then set before the read.
    static bool reads_gain(std::uint8_t reg);
    void set_input_level(double level_dbm) { gain_ = gain_for(type_, level_dbm); }
    [[nodiscard]] const Gain &gain() const { return gain_; }

    [[nodiscard]] TunerOutput output() const;

    // Neither the supply nor the rest draws current.
    [[nodiscard]] bool asleep() const;

    // 1 or 2.
    [[nodiscard]] unsigned type() const { return type_; }

 private:
    [[nodiscard]] bool on() const;
    void write_power(std::uint8_t value, std::uint64_t now_ns);
    void start_calibrations(std::uint8_t old, std::uint8_t value, std::uint64_t now_ns);
    [[nodiscard]] std::uint32_t divider() const;
    [[nodiscard]] bool low_band() const;
    [[nodiscard]] double vco_khz() const;
    [[nodiscard]] unsigned first_core_band() const;
    [[nodiscard]] bool second_core() const;
    [[nodiscard]] std::uint8_t vco_band() const;
    [[nodiscard]] std::uint8_t filter_result() const;
    [[nodiscard]] std::string synthesiser_fault() const;
    [[nodiscard]] std::string filter_fault() const;
    [[nodiscard]] std::string agc_fault() const;

    Watch *watch_;
    std::uint8_t identity_;
    unsigned type_;
    std::uint8_t filter_centre_;  // what the filter calibration of this piece of silicon finds
    std::array<std::uint8_t, 256> regs_{};
    Gain gain_;
    std::uint64_t supply_on_ns_ = 0;
    std::uint64_t writes_ = 0;
    std::uint64_t divider_order_ = 0;
    std::uint64_t filter_order_ = 0;
    // Durations well under the 5, 5, 2 and 20 ms that a driver has to allow for.
    Calibration vco_{tuner_reg::vco_block, 3'000'000};
    Calibration lo_{tuner_reg::lo_block, 3'000'000};
    Calibration filter_{tuner_reg::filter_block, 1'000'000};
    Calibration agc_{tuner_reg::agc_block, 12'000'000};
};

}  // namespace sim
