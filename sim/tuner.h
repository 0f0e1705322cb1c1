// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>

#include "sim/calibration.h"
#include "sim/gain.h"
#include "sim/scenario.h"
#include "sim/tuner_bias.h"
#include "sim/tuner_regs.h"
#include "sim/verdict.h"
#include "sim/watch.h"

namespace sim {

// At each multiple of its reference the tuner puts a line into its own input.
inline constexpr double tuner_reference_khz = 27'000;

// What the tuner makes of its registers.
struct TunerOutput {
    Reason reason = Reason::tuner_off;  // Reason::locked when the tuner works
    std::string text;
    double lo_khz = 0;
    double bandwidth_khz = 0;         // of the low-pass filter, from the oscillator to one edge
    double loss_db = 0;               // of C/N, by stages that do not work as they should
    std::string flaw;                 // the first of them, in words
    std::uint64_t calibrated_ns = 0;  // when the last calibration is over
    std::uint64_t settled_ns = 0;     // when the gain has settled after it
    [[nodiscard]] bool works() const { return reason == Reason::locked; }
};

// The silicon tuner, a direct-conversion receiver of type 1 or 2.
//
// Power: bit 0 of register 0x00 starts the supply; bit 1, taken only 1 ms or more after it, the
// rest, and shows it for the 120 ms too in which its rail falls. A supply taken up again within
// 40 ms finds its start-up circuit charged and does not start.
// The other registers take values from 1.5 ms after the rest has come on, and show the type from
// then; they keep them asleep, but do nothing. Those written within 1.5 ms after the regulators are
// set (0x62; type 2: 0x42 too) are lost. The crystal and the references are steady after 45 ms:
// earlier calibrations fail.
// Calibrations: one sequencer runs them all, so that a start breaks off what still runs. The
// synthesiser's builds on the VCO's, the gain control's on all others.
// Synthesiser: oscillator = divider x 27000/28 kHz, halved with the low band bit (0x10 bit 4). The
// divider's prescaler by two knows even ones only. The VCO reaches what the two bands need and a
// few MHz more; type 1 comes up in the low band by itself where its high band ends a few MHz above
// the limit, as each piece of silicon does somewhere else, and changes its band only where its
// synthesiser is switched on (0x10 bit 0) or the VCO did so. It works with the reference divider
// 0x03 = 0x06 and the start-up registers 0x62 and 0x42 set, and a VCO calibrated since the divider
// was last written, then the synthesiser calibrated. Type 2 needs its second VCO core (0x10 bit 7
// and 0x11 = 0x6F) where the first one's band number (0x14) lies below 64, and only there (0x11 =
// 0x40); the boost of the VCO (0x10 bit 1) in the lower twenty of 32 bands and only there.
// Filter: cut-off K x K0 / (2 x fine) kHz, calibrated since 0x04 and 0x06 were last written. The
// calibration reaches fine values some 20 % about the one that the silicon's speed asks for. Type 2
// calibrates with 0x25 bit 7 clear, 0x27 = 0x70 and 0x08 = 0x0B each of the two channels that 0x41
// chooses, and must leave calibration with 0x25 bit 7 set, 0x27 = 0x30 and 0x08 = 0x09; the result
// stored in 0x25 then stands for both.
// Gain control: started since the VCO and the filter were calibrated, while the demodulator drives
// the line by which it controls the gain; type 2 needs 0x22 = 0x30 and
// 0x12 = 0xA0 from its start-up. Type 1 has its RF gain trimmed in 0x60, three steps below what
// 0x3D shows, and the synthesiser calibrated again with it; where that shows the full range and the
// baseband then uses less than three steps, to 12. The gain settles 65 ms after its start, or after
// the last calibration that took a trim.
class Tuner {
 public:
    Tuner(const Scenario &scenario, Watch &watch);

    void power_on();

    void write(std::uint8_t reg, std::uint8_t value, std::uint64_t now_ns);
    std::uint8_t read(std::uint8_t reg, std::uint64_t now_ns);

    // Whether a register's value depends on the input's level, which is then set before the read.
    static bool reads_gain(std::uint8_t reg);
    void set_input_level(double level_dbm) { gain_ = gain_for(type_, level_dbm); }
    [[nodiscard]] const Gain &gain() const { return gain_; }

    // Whether the demodulator drives the line by which it controls the gain.
    void set_gain_line(bool is_driven) { gain_line_is_driven_ = is_driven; }

    [[nodiscard]] TunerOutput output() const;

    // Neither the supply nor the rest draws current.
    [[nodiscard]] bool asleep() const;

    // 1 or 2.
    [[nodiscard]] unsigned type() const { return type_; }

 private:
    [[nodiscard]] bool on() const;
    [[nodiscard]] bool takes_registers(std::uint64_t now_ns) const;
    void write_power(std::uint8_t value, std::uint64_t now_ns);
    void obey(std::uint8_t reg, std::uint8_t old, std::uint64_t now_ns);
    void start_calibrations(std::uint8_t old, std::uint8_t value, std::uint64_t now_ns);
    void start(Calibration &calibration, std::uint64_t now_ns);
    [[nodiscard]] bool can_run(const Calibration &calibration, std::uint64_t now_ns) const;
    void note_filter_run();
    [[nodiscard]] std::array<Calibration *, 4> calibrations() {
        return {&vco_, &lo_, &filter_, &agc_};
    }
    [[nodiscard]] std::uint8_t read_power(std::uint64_t now_ns) const;
    [[nodiscard]] std::uint32_t divider() const;
    void switch_band(std::uint8_t old);
    [[nodiscard]] bool low_band() const;
    [[nodiscard]] bool comes_up_low() const;
    [[nodiscard]] double vco_khz() const;
    [[nodiscard]] unsigned first_core_band() const;
    [[nodiscard]] bool second_core() const;
    [[nodiscard]] std::uint8_t vco_band() const;
    [[nodiscard]] std::uint8_t band_state(std::uint64_t now_ns) const;
    [[nodiscard]] std::uint8_t filter_result() const;
    [[nodiscard]] bool filter_can_calibrate() const;
    [[nodiscard]] double cut_off_khz() const;
    [[nodiscard]] std::string divider_fault() const;
    [[nodiscard]] std::string core_fault() const;
    [[nodiscard]] std::string synthesiser_fault() const;
    [[nodiscard]] std::string filter_fault() const;
    [[nodiscard]] std::string agc_fault() const;
    [[nodiscard]] TunerFlaws flaws() const;
    void add_vco_flaw(TunerFlaws &flaws) const;
    void add_trim_flaw(TunerFlaws &flaws) const;
    [[nodiscard]] std::uint8_t trim_reading();
    [[nodiscard]] std::uint8_t read_agc(std::uint64_t now_ns);

    static constexpr std::uint64_t gain_settling_ns = 65'000'000;

    Watch *watch_;
    std::uint8_t identity_;
    unsigned type_;
    std::uint8_t filter_centre_;  // what the filter calibration of this piece of silicon finds
    double lowest_vco_khz_;       // where it still swings
    TunerRegisters regs_{};
    Gain gain_;
    bool gain_line_is_driven_ = true;
    std::uint64_t supply_on_ns_ = 0;
    std::uint64_t rest_on_ns_ = 0;
    std::uint64_t rest_fallen_ns_ = 0;
    std::uint64_t discharged_ns_ = 0;  // when the supply may be taken up again
    std::uint64_t regulated_ns_ = 0;   // when registers are taken again
    bool stuck_ = false;               // the supply was taken up too early
    bool halved_ = false;              // the oscillator, by the band in force
    std::uint64_t writes_ = 0;
    std::uint64_t divider_order_ = 0;
    std::uint64_t filter_order_ = 0;
    std::array<std::uint64_t, 2> channel_order_{};  // when each of the filter's was calibrated
    std::optional<std::uint8_t> trim_reading_;      // what 0x3D would tell without a trim
    std::optional<std::uint8_t> first_baseband_;    // its gain's steps, read before they settled
    std::uint8_t latched_trim_ = 0;
    // Durations somewhat under the 5, 5, 2 and 20 ms that a driver has to allow for.
    Calibration vco_{tuner_reg::vco_block, 4'000'000};
    Calibration lo_{tuner_reg::lo_block, 4'000'000};
    Calibration filter_{tuner_reg::filter_block, 1'600'000};
    Calibration agc_{tuner_reg::agc_block, 16'000'000};
};

}  // namespace sim
