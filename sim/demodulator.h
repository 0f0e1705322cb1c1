// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "sim/acquisition.h"
#include "sim/diseqc_master.h"
#include "sim/mcu_program.h"
#include "sim/noise.h"
#include "sim/required_registers.h"
#include "sim/scenario.h"
#include "sim/spectrum_engine.h"
#include "sim/tone_meter.h"
#include "sim/ts_port.h"
#include "sim/verdict.h"
#include "sim/watch.h"

namespace sim {

// How a carrier gets to the demodulator.
struct SignalWay {
    double oscillator_khz = 0;  // of the tuner
    unsigned volts = 0;
    bool tone = false;
    unsigned port = 0;
    bool operator==(const SignalWay &) const = default;
};

// What reaches the demodulator's converters at this moment.
class SignalSource {
 public:
    virtual FoundCarrier find(const CarrierSearch &search) = 0;
    virtual Spectrum spectrum(bool mirrored) = 0;
    virtual std::optional<Tone> tone(bool mirrored, double reach_khz) = 0;
    virtual std::uint8_t agc() = 0;             // the demodulator's part of the gain
    virtual std::uint64_t calibrated_ns() = 0;  // when the tuner's last calibration is over
    virtual std::uint64_t settled_ns() = 0;     // when its gain has settled after that
    virtual std::uint64_t way_ns() = 0;         // when the way from the sky last changed
    virtual SignalWay way() = 0;

 protected:
    ~SignalSource() = default;
};

// The demodulator in one of its three variants.
//
// Power-on: everything 0 except the identity (0x01, and bits 7..6 of 0xB2 until that register is
// first written), the master clock at 96 MHz (0x22 = 0x80, 0x24 = 0x40), the transport stream's
// pins not driven (0x29 bit 5 set), some registers that the tables clear, and the chip powered down
// (0x08 bit 0 clear, 0x04 bit 0 set, 0x23 bit 4 set); each of the three alone powers it down. Then
// only 0x00..0x08, 0x23, identity and micro-controller control are worth a transfer.
// The identity is read from its fuses during 80 ms from power-up, in which it reads as 0.
// Reset: after power-on nothing runs before a pulse of bit 7 of 0x07, the micro-controller of
// DS3002B and DS3103 not before one of bits 7 to 5: it starts from the core's reset. Holding the
// micro-controller or the core for less than 0.8 ms goes unnoticed. A micro-controller let go while
// the core is in reset hangs until it is held again. Bit 1 of 0x08 switches the decoder on. A
// program that begins puts the output port's mode, clock and drivers back to power-on.
// Search: begins when nothing holds the chip any more - power-down, 0xB2, 0x00 (DS300X: 0x05),
// 0x07 - with what the registers hold at that moment. Later writes of them wait for the next
// search; what the tuner, the LNB and the weather do is seen at once by the one that goes on, and
// begins none. 0x07 also puts the expected carrier back to 0.
// Tuned elsewhere, or the LNB switched, under a lock that does not come back, the loops of DS3002B
// and DS3103 run away after what comes instead. Reception begins from where they stand, in vain,
// until the core is reset, by 0x00 or 0x07; the spectrum engine is never ready until it is by 0x07.
// A search that met one carrier all along and ended in vain leaves them there for the other
// standard, until a pulse of 0x07 or another signal.
// A wide search that found nothing and is let go once more with nothing new to look for takes the
// tuner's lines for lock.
// What it does then is one of three jobs: the spectrum engine (0x08 bit 7 and 0x90 = 0x73 set), the
// measurement of a tone (0x0C = 0x06, 0xC4 = 0x01, 0xC7 = 0xFF), else reception.
// On DS3002B and DS3103 a wide search that failed leaves its sweep at the end: a micro-controller
// let go again after nothing but its own hold jams there, and its wide searches find nothing until
// the core is reset. The sweep of a connect's search it takes back by itself, and twice where the
// core was reset behind a failed one: such a search finds nothing until the symbol rate is written.
// The expected carrier is written after the carrier loop's gains (0x68, 0x69), which in a hold put
// it back to 0. 0x5D has bits of that loop (7..3) beside the choice of what reads: a lock that
// loses them goes on with 1.5 dB less.
// Lock: 0x0D and 0xD1 are the micro-controller's to tell, and keep while it is held what it told
// last; a global reset clears them. For 0.8 ms after bit 0 of 0x56 has changed, which moves the
// detectors' thresholds, they tell everything.
// A wide search (0xC7 not 0) finds symbol rates up to 10 % off the programmed one. The carrier it
// locks, when within a symbol rate of where it was expected, replaces the programmed offset and is
// tracked; one further off leaves it, so that programmed less measured tells how far. With bit 2 of
// 0x0C only carriers within half a symbol rate count.
// Many registers mean other things read than written; those keep both.
class Demodulator {
 public:
    Demodulator(const Scenario &scenario, SignalSource &source, Outdoor &outdoor, Watch &watch);

    void power_on();

    // A transfer's bytes for the register at `reg` and those after it.
    void write(std::uint8_t reg, std::span<const std::uint8_t> data, std::uint64_t now_ns);
    std::uint8_t read(std::uint8_t reg, std::uint64_t now_ns);

    // Let what was received so far have its effect, before it changes again. What lasts less than a
    // millisecond has none: nothing locks in that time.
    void catch_up_to(std::uint64_t now_ns) {
        if (stale_ && now_ns >= changed_ns_ + shortest_look_ns) {
            refresh();
        }
    }
    // Tuner, outdoor unit or weather changed, or the carriers themselves are about to go.
    void signal_changed(std::uint64_t now_ns);
    void carriers_change(std::uint64_t now_ns);

    [[nodiscard]] bool powered() const;
    // All three power-downs are in force: each of them is for another part of the chip.
    [[nodiscard]] bool asleep() const;
    // The micro-controller and the core together control the tuner's gain.
    [[nodiscard]] bool drives_gain_line() const;
    // When a read of the lock status last told a lock; 0 for never.
    [[nodiscard]] std::uint64_t told_lock_ns() const { return told_lock_ns_; }
    [[nodiscard]] std::uint64_t told_none_ns() const { return told_none_ns_; }  // and last none
    // The repeater was opened for the next transfer; asking closes it.
    bool take_repeater() { return std::exchange(repeater_open_, false) && powered(); }
    void reopen_repeater() { repeater_open_ = true; }

    [[nodiscard]] DiseqcMaster &diseqc() { return diseqc_; }
    [[nodiscard]] const DiseqcMaster &diseqc() const { return diseqc_; }
    [[nodiscard]] const McuProgram &program() const { return program_; }
    [[nodiscard]] Verdict verdict(std::uint64_t now_ns);

 private:
    enum class Job { reception, spectrum, tone };
    // What a search is for, in whichever standard.
    struct Channel {
        SignalWay way;
        double expected_khz = 0;
        double symbol_rate_ksps = 0;
        bool operator==(const Channel &) const = default;
    };
    // A counter of DVB-S2: bit 0 of its control keeps it at 0.
    struct Counter {
        std::uint64_t from_ns = 0;
        bool held = false;
        void restart(std::uint8_t control, std::uint64_t now_ns) {
            const bool was_held = std::exchange(held, (control & 1) != 0);
            from_ns = was_held && !held ? now_ns : from_ns;
        }
    };
    static constexpr std::uint64_t shortest_look_ns = 1'000'000;

    void write_one(std::uint8_t reg, std::uint8_t value, std::uint64_t now_ns);
    [[nodiscard]] std::uint8_t &place_of(std::uint8_t reg);
    void obey(std::uint8_t reg, std::uint8_t value, std::uint64_t now_ns);
    void control_mcu(std::uint8_t value, std::uint64_t now_ns);
    void put_port_back();
    void keep_lock_bits(std::uint64_t now_ns);
    [[nodiscard]] bool runs_on() const;
    [[nodiscard]] bool search_failed(bool wide, std::uint64_t now_ns) const;
    void reset_core(std::uint8_t value, std::uint64_t now_ns);
    void reset_globally(std::uint8_t value);
    void begin_search(std::uint64_t now_ns);
    void forget_searches();
    void note_what_is_left(std::uint64_t now_ns);
    void mend_what_is_left();
    [[nodiscard]] bool insists_on_a_lock() const;
    [[nodiscard]] bool in_reset() const;
    [[nodiscard]] std::string why_no_program() const;
    void write_master_clock(std::uint8_t reg, std::uint8_t value, std::uint64_t now_ns);
    void note_powered_down_access(std::uint8_t reg, std::uint64_t now_ns);
    void power_may_change(std::uint64_t now_ns);
    void run_may_change(std::uint64_t now_ns);
    [[nodiscard]] bool core_held() const;
    [[nodiscard]] Reason why_not_running(std::string &text) const;
    void explain_wait(Verdict &verdict, std::uint64_t now_ns) const;
    [[nodiscard]] CarrierSearch search_from_registers() const;
    [[nodiscard]] bool for_weak_carriers() const;
    void adjust_search(std::uint8_t reg, std::uint64_t now_ns);
    void follow_carrier_loop(std::uint64_t now_ns);
    void follow_carrier_preset(std::uint8_t reg);
    void refresh();
    [[nodiscard]] FoundCarrier receive() const;
    void count_restart();

    [[nodiscard]] Job job_from_registers() const;
    [[nodiscard]] bool engine_is_set_up() const;
    [[nodiscard]] bool mirrors() const;
    [[nodiscard]] double programmed_carrier_khz() const;
    [[nodiscard]] double programmed_rate_ksps() const;
    [[nodiscard]] double measuring_loss_db() const;
    [[nodiscard]] ToneMeter::Measurement measurement();
    void follow_set_up(std::uint8_t reg, std::uint8_t value, std::uint64_t now_ns);
    bool draws_false_lock(double share);
    [[nodiscard]] bool search_hangs() const;
    std::uint64_t averaging_since_ns();
    std::uint64_t engine_ready_ns();
    void write_search_control(std::uint8_t value, std::uint64_t now_ns);
    std::uint8_t read_search(std::uint8_t reg, std::uint64_t now_ns);
    std::uint8_t engine_status(std::uint64_t now_ns);
    std::uint8_t read_tone(std::uint8_t reg, std::uint64_t now_ns);

    [[nodiscard]] broadcast::System system() const;
    [[nodiscard]] std::size_t ts_bank() const;
    [[nodiscard]] TsRegisters ts_registers() const;
    [[nodiscard]] bool clock_selected() const;
    [[nodiscard]] bool pll_is_trimmed() const;
    std::uint8_t read_status(std::uint8_t reg, std::uint64_t now_ns);
    std::uint8_t read_carrier(std::uint8_t reg, std::uint64_t now_ns);
    [[nodiscard]] bool sees_frames_only(std::uint64_t now_ns) const;
    [[nodiscard]] std::uint8_t fec_bits(std::uint64_t now_ns) const;
    [[nodiscard]] std::uint8_t as_told(std::uint8_t bits, std::uint8_t last, std::uint8_t all,
                                       std::uint64_t now_ns) const;
    std::uint8_t read_dvbs_status(std::uint8_t reg, std::uint64_t now_ns);
    std::uint8_t read_dvbs2_status(std::uint8_t reg, std::uint64_t now_ns);
    [[nodiscard]] std::uint8_t read_identity(std::uint8_t reg, std::uint64_t now_ns) const;
    [[nodiscard]] bool locked(std::uint64_t now_ns) const;
    [[nodiscard]] std::uint8_t lock_bits(std::uint64_t now_ns) const;
    std::uint8_t tell_lock(std::uint64_t now_ns);
    std::uint8_t amplitude();
    [[nodiscard]] std::uint8_t modcod() const;
    void note_header(std::uint64_t now_ns);
    [[nodiscard]] double loop_error(std::uint64_t which) const;
    [[nodiscard]] std::uint16_t carrier_reading(std::uint64_t now_ns) const;
    [[nodiscard]] std::uint16_t symbol_rate_reading(std::uint64_t now_ns) const;
    [[nodiscard]] std::uint16_t equaliser_tap() const;
    std::uint8_t dvbs_snr();
    void measure_dvbs2_noise();
    [[nodiscard]] std::uint32_t dvbs2_frames(const Counter &counter, std::uint64_t now_ns) const;
    [[nodiscard]] std::uint16_t dvbs2_errors(std::uint64_t now_ns) const;
    [[nodiscard]] std::uint16_t dvbs_errors() const;
    [[nodiscard]] double bit_error_share() const;
    [[nodiscard]] double packet_error_share() const;
    [[nodiscard]] ErrorCounters error_counters(std::uint64_t now_ns) const;
    [[nodiscard]] double dvbs_window_s() const;
    [[nodiscard]] bool dvbs_window_over(std::uint64_t now_ns) const;
    [[nodiscard]] double dvbs_window_bits() const;

    Chip chip_;
    std::uint64_t seed_;
    unsigned wired_ts_mode_;
    double rate_tolerance_;
    bool reg30_bit4_;  // the board needs it
    std::uint8_t mcu_identity_;
    std::vector<Fault> identity_faults_;
    SignalSource *source_;
    Watch *watch_;
    DiseqcMaster diseqc_;
    McuProgram program_;
    Noise noise_;
    Noise luck_;  // of each search
    Noise false_lock_chance_;
    double impulses_per_s_;
    double alias_share_;
    double spur_share_;
    RegisterFile regs_;
    bool divergence_fault_ = false;
    bool echo_ = false;
    bool repeater_open_ = false;
    bool mcu_written_ = false;
    bool was_powered_ = false;
    bool reset_ = false;             // since power-on, by 0x07
    bool controller_reset_ = false;  // the same of the micro-controller
    bool controller_hangs_ = false;
    std::optional<std::uint64_t> core_held_ns_;  // since when, while it is
    std::uint8_t equaliser_mode_ = 0;            // 0xBD, as the core has it
    bool was_reset_globally_ = false;            // since the last search began
    bool core_was_reset_ = false;                // likewise
    bool programmed_anew_ = false;               // likewise, the symbol rate
    bool found_nothing_ = false;                 // the last search
    bool loops_astray_ = false;
    bool engine_astray_ = false;
    std::optional<broadcast::System> despaired_of_;  // on the carrier that is there, until a reset
    bool running_ = false;
    bool stale_ = false;
    bool restart_ = false;
    bool window_started_ = false;
    bool set_up_torn_ = false;
    bool took_set_up_ = false;
    std::uint16_t dvbs2_noise_ = 0;
    Job job_ = Job::reception;
    unsigned restarts_ = 0;
    std::uint64_t powered_since_ns_ = 0;
    std::uint64_t running_since_ns_ = 0;
    std::uint64_t receptions_ = 0;  // begun since power-up
    std::uint64_t stopped_ns_ = 0;
    CarrierSearch search_;
    Channel searched_;
    SignalWay received_way_;  // of the last lock, while it is lost
    SpectrumEngine engine_;
    ToneMeter tone_meter_;
    std::uint64_t centre_moved_ns_ = 0;
    std::uint64_t searches_ = 0;
    std::uint64_t engine_late_ns_ = 0;
    std::vector<Fault> engine_stalls_;
    Acquisition acquisition_;
    std::uint64_t changed_ns_ = 0;
    Counter frames_;
    Counter errors_;
    std::uint64_t window_from_ns_ = 0;
    std::uint64_t told_lock_ns_ = 0;
    std::uint64_t told_none_ns_ = 0;
    std::uint64_t thresholds_rest_ns_ = 0;  // when those of the lock's detectors have moved
    std::uint8_t trim_of_search_ = 0;       // 0x5D when the search began
    bool carrier_preset_ = false;           // 0x5E or 0x5F was written in the present hold
    bool begun_by_reset_ = false;           // the present search, by 0x07
    bool sweep_at_end_ = false;             // of a failed wide search, before the present hold
    bool jammed_ = false;                   // let go like that
    bool narrow_failed_ = false;            // the connect's search before the present hold
    bool misled_ = false;                   // the core was reset in that hold
    std::uint8_t last_lock_bits_ = 0;       // when the micro-controller was held
    std::uint8_t last_fec_bits_ = 0;
    std::uint8_t last_modcod_ = 0;
    std::uint64_t amplitude_readings_ = 0;  // of a small one
};

}  // namespace sim
