// SPDX-License-Identifier: MIT
#include "sim/demodulator.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <utility>

#include "sim/demodulator_regs.h"

namespace sim {

namespace {

constexpr std::uint8_t tap_index = 0x70;  // selects what 0x71..0x73 reach
constexpr std::uint8_t first_tap = 0x71;
constexpr std::uint8_t last_tap = 0x73;
constexpr std::uint8_t restart_equaliser = 0x03;  // of 0xBD
constexpr std::uint64_t shortest_hold_ns = 800'000;
constexpr std::uint64_t threshold_move_ns = 800'000;
// What 0x22 and 0x24 hold in bits 5..0: the charge pump and the loop filter of the PLL.
constexpr std::uint8_t pll_trim = 0x3F;
constexpr std::uint8_t pll_trim_a = 0x1A;
constexpr std::uint8_t pll_trim_b = 0x0C;
constexpr std::uint64_t fuse_reading_ns = 80'000'000;

bool works_powered_down(std::uint8_t reg) {
    return reg <= reg::mode || reg == reg::reg_23 || reg == reg::mcu_control;
}

constexpr std::array status_list{reg::chip_id,
                                 reg::chip_id_high,
                                 reg::mcu_control,
                                 reg::lock_status,
                                 reg::agc_level,
                                 reg::carrier_amplitude,
                                 reg::carrier_amplitude_low,
                                 reg::cci_frequency_high,
                                 reg::cci_frequency_low,
                                 reg::search_control,
                                 reg::search_result,
                                 reg::search_occupied_high,
                                 reg::search_occupied_low,
                                 reg::carrier_low,
                                 reg::carrier_high,
                                 reg::measured_symbol_rate_low,
                                 reg::measured_symbol_rate_high,
                                 reg::energy_index,
                                 reg::energy_value,
                                 reg::modcod,
                                 reg::s2_inversion,
                                 reg::s2_noise_low,
                                 reg::s2_noise_high,
                                 reg::s2_signal,
                                 reg::mcu_state,
                                 reg::reg_c9,
                                 reg::fec_status,
                                 reg::s2_frames_low,
                                 reg::s2_frames_mid,
                                 reg::s2_frames_high,
                                 reg::s_inversion,
                                 reg::s_code_rate,
                                 reg::s2_roll_off,
                                 reg::s_errors_low,
                                 reg::errors_mid,
                                 reg::errors_high,
                                 reg::s_snr};

// Whether a register's value read comes from the chip's state.
constexpr auto status_registers = [] {
    std::array<bool, 256> table{};
    for (const std::uint8_t reg : status_list) {
        table[reg] = true;
    }
    return table;
}();

FoundCarrier nothing_found(const char *why) {
    FoundCarrier found;
    found.text = why;
    return found;
}

// Of a search that goes on or is over: what it has found and how it stands.
void tell_carrier(Verdict &verdict, const FoundCarrier &found) {
    verdict.reason = found.reason;
    verdict.text = found.text;
    if (found.carrier != nullptr) {
        verdict.carrier = found.carrier->transponder;
        verdict.cn_db = found.cn_db;
        verdict.cable_khz = found.cable_khz;
        verdict.inverted = found.inverted;
        verdict.wavers = found.wavers;
        verdict.offset_khz = static_cast<std::int32_t>(std::lround(found.offset_khz));
    }
}

}  // namespace

Demodulator::Demodulator(const Scenario &scenario, SignalSource &source, Outdoor &outdoor,
                         Watch &watch)
    : chip_(scenario.board.chip),
      seed_(scenario.seed),
      wired_ts_mode_(scenario.board.ts_mode),
      rate_tolerance_(scenario.board.rate_tolerance),
      reg30_bit4_(scenario.board.reg30_bit4),
      mcu_identity_(chip_ == Chip::ds3103 ? reg::mcu_identity_mask : 0),
      source_(&source),
      watch_(&watch),
      diseqc_(scenario, outdoor, watch),
      program_(chip_, watch, images_of(scenario.board)),
      noise_(scenario.seed, scenario.jitter_db),
      luck_(scenario.seed, 0),
      false_lock_chance_(scenario.seed ^ 0xA11A5, 0),
      impulses_per_s_(scenario.impulses_per_s),
      alias_share_(scenario.alias_share),
      spur_share_(scenario.spur_share),
      engine_(scenario.seed, scenario.spurious_share),
      tone_meter_(scenario.board.tone_meter_start_ms),
      acquisition_(scenario.seed) {
    for (const Fault &fault : scenario.faults) {
        if (fault.kind == Fault::Kind::wrong_identity) {
            identity_faults_.push_back(fault);
        }
        if (fault.kind == Fault::Kind::engine_stall) {
            engine_stalls_.push_back(fault);
        } else if (fault.kind == Fault::Kind::engine_late) {
            engine_late_ns_ = fault.late_ms * 1'000'000ULL;
        }
        divergence_fault_ = divergence_fault_ || fault.kind == Fault::Kind::equaliser_divergence;
        echo_ = echo_ || fault.kind == Fault::Kind::echo;
    }
    power_on();
}

void Demodulator::power_on() {
    regs_ = registers_at_power_on();
    regs_.plain[reg::chip_id] = chip_ == Chip::ds300x ? reg::chip_id_ds300x : reg::chip_id_ds310x;
    regs_.plain[reg::reg_04] = reg::reg_04_power_down;
    regs_.plain[reg::reg_23] = reg::reg_23_power_down;
    regs_.plain[reg::master_clock_a] = 0x80 | pll_trim_a;
    regs_.plain[reg::master_clock_b] = 0x40 | pll_trim_b;
    put_port_back();
    diseqc_.power_on();
    program_.power_on();
    repeater_open_ = false;
    mcu_written_ = false;
    was_powered_ = false;
    reset_ = false;
    core_held_ns_.reset();
    equaliser_mode_ = 0;
    controller_reset_ = chip_ == Chip::ds300x;
    controller_hangs_ = false;
    running_ = false;
    job_ = Job::reception;
    engine_.power_on();
    set_up_torn_ = false;
    took_set_up_ = false;
    centre_moved_ns_ = 0;
    stale_ = false;
    restart_ = false;
    window_started_ = false;
    frames_ = {};
    errors_ = {};
    searched_ = {};
    restarts_ = 0;
    acquisition_.stop();
    carrier_preset_ = false;
    forget_searches();
}

// What searches leave behind for the next ones.
void Demodulator::forget_searches() {
    loops_astray_ = false;
    engine_astray_ = false;
    despaired_of_.reset();
    found_nothing_ = false;
    core_was_reset_ = false;
    programmed_anew_ = false;
    begun_by_reset_ = false;
    sweep_at_end_ = false;
    jammed_ = false;
    narrow_failed_ = false;
    misled_ = false;
    thresholds_rest_ns_ = 0;
    last_lock_bits_ = 0;
    last_fec_bits_ = 0;
    last_modcod_ = 0;
}

bool Demodulator::asleep() const {
    return (regs_.plain[reg::mode] & reg::mode_enable) == 0 &&
           (regs_.plain[reg::reg_04] & reg::reg_04_power_down) != 0 &&
           (regs_.plain[reg::reg_23] & reg::reg_23_power_down) != 0;
}

bool Demodulator::powered() const {
    return (regs_.plain[reg::mode] & reg::mode_enable) != 0 &&
           (regs_.plain[reg::reg_04] & reg::reg_04_power_down) == 0 &&
           (regs_.plain[reg::reg_23] & reg::reg_23_power_down) == 0;
}

broadcast::System Demodulator::system() const {
    return (regs_.plain[reg::mode] & reg::mode_dvbs2) != 0 ? broadcast::System::dvbs2
                                                           : broadcast::System::dvbs;
}

// DS300X keeps the output port's mode and divider for each standard.
std::size_t Demodulator::ts_bank() const {
    return chip_ == Chip::ds300x && system() == broadcast::System::dvbs2 ? 1 : 0;
}

TsRegisters Demodulator::ts_registers() const {
    const auto &bank = regs_.ts.at(ts_bank());
    return {bank[0],
            bank[1],
            regs_.plain[reg::ts_divider_ds310x],
            regs_.plain[reg::master_clock_a],
            regs_.plain[reg::master_clock_b],
            regs_.plain[reg::ts_enable],
            regs_.plain[reg::ts_drivers],
            regs_.plain[reg::ts_polarity],
            regs_.plain[reg::clock_reset]};
}

bool Demodulator::clock_selected() const {
    return regs_.plain[reg::clock_reset] != 0 ||
           (master_clock_khz(chip_, system(), ts_registers()).has_value() && pll_is_trimmed());
}

bool Demodulator::pll_is_trimmed() const {
    return (regs_.plain[reg::master_clock_a] & pll_trim) == pll_trim_a &&
           (regs_.plain[reg::master_clock_b] & pll_trim) == pll_trim_b;
}

bool Demodulator::core_held() const {
    return chip_ == Chip::ds300x
               ? (regs_.plain[reg::core_reset_ds300x] & reg::core_hold_ds300x) != 0
               : (regs_.plain[reg::core_reset] & 1) != 0;
}

bool Demodulator::drives_gain_line() const {
    return powered() && !core_held() && (regs_.plain[reg::mcu_control] & reg::mcu_hold) == 0;
}

bool Demodulator::in_reset() const {
    return core_held() || regs_.plain[reg::global_reset] != 0 || !reset_;
}

std::string Demodulator::why_no_program() const {
    if (!program_.runs()) {
        return program_.fault();
    }
    if (!controller_reset_) {
        return "the micro-controller was not reset since power-on (0x07 = 0xE0)";
    }
    return controller_hangs_ ? "the micro-controller was let go while the core was in reset" : "";
}

Reason Demodulator::why_not_running(std::string &text) const {
    if (!powered()) {
        text = "demodulator powered down";
        return Reason::demodulator_off;
    }
    if ((regs_.plain[reg::mcu_control] & reg::mcu_hold) != 0) {
        text = "micro-controller held (0xB2 = 1)";
        return Reason::mcu_held;
    }
    if (const std::string fault = why_no_program(); !fault.empty()) {
        text = "firmware not running: " + fault;
        return Reason::firmware_not_running;
    }
    if (in_reset()) {
        text =
            fmt::format("demodulator core in reset (0x00 = {:02X}, 0x05 = {:02X}, 0x07 = {:02X}{})",
                        regs_.plain[reg::core_reset], regs_.plain[reg::core_reset_ds300x],
                        regs_.plain[reg::global_reset], reset_ ? "" : ", never reset");
        return Reason::core_in_reset;
    }
    text = fmt::format("0x22 = {:02X} and 0x24 = {:02X} {}", regs_.plain[reg::master_clock_a],
                       regs_.plain[reg::master_clock_b],
                       pll_is_trimmed() ? "select no master clock"
                                        : "have lost what the PLL of the master clock needs");
    return Reason::master_clock;
}

CarrierSearch Demodulator::search_from_registers() const {
    const auto &plain = regs_.plain;
    CarrierSearch search;
    search.system = system();
    search.expected_khz = programmed_carrier_khz();
    search.symbol_rate_ksps = programmed_rate_ksps();
    search.mirrored = mirrors();
    search.wide = plain[reg::reg_c7] != 0;
    search.rate_tolerance = search.wide ? rate_tolerance_ : symbol_rate_tolerance;
    search.near = (plain[reg::reg_0c] & 0x04) != 0;
    if (search.system == broadcast::System::dvbs2) {
        search.restarted = equaliser_mode_ == restart_equaliser;
        search.diverged = divergence_fault_ && !search.restarted;
    }
    search.table = table_cost(
        {chip_, search.system, search.wide, search.symbol_rate_ksps, reg30_bit4_}, regs_);
    search.loops = loop_gains(chip_, search.system, regs_);
    search.for_weak_carriers = for_weak_carriers();
    return search;
}

// The chip begins to search when the last thing that held it lets go.
void Demodulator::run_may_change(std::uint64_t now_ns) {
    const bool runs = powered() && program_.runs() && controller_reset_ && !controller_hangs_ &&
                      !in_reset() && clock_selected();
    if (runs == running_) {
        return;
    }
    running_ = runs;
    if (!runs) {
        stopped_ns_ = now_ns;
        note_what_is_left(now_ns);
    } else if (stopped_ns_ != 0 && now_ns < stopped_ns_ + shortest_hold_ns &&
               !was_reset_globally_) {
        return;
    } else {
        begin_search(now_ns);
    }
    stale_ = true;
    changed_ns_ = now_ns;
}

void Demodulator::begin_search(std::uint64_t now_ns) {
    restart_ = true;
    const bool insists = insists_on_a_lock();
    begun_by_reset_ = was_reset_globally_;
    mend_what_is_left();
    search_ = search_from_registers();
    trim_of_search_ = regs_.plain[reg::carrier_select];
    job_ = job_from_registers();
    search_.loops_astray = loops_astray_ || (despaired_of_ && *despaired_of_ != search_.system);
    search_.takes_aliases = draws_false_lock(alias_share_);
    search_.takes_spurs = draws_false_lock(spur_share_) || insists;
    ++receptions_;
    running_since_ns_ = now_ns;
    frames_.from_ns = now_ns;
    errors_.from_ns = now_ns;
}

// What a search leaves behind when it is stopped; nothing when it had hardly begun.
void Demodulator::note_what_is_left(std::uint64_t now_ns) {
    if (job_ != Job::reception || restart_) {
        return;
    }
    if (!was_reset_globally_) {
        note_header(now_ns);
    }
    found_nothing_ = (acquisition_.mcu_state(now_ns) & reg::mcu_state_search_failed) != 0;
    const bool led_away = acquisition_.is_left() && !(source_->way() == received_way_);
    if (chip_ == Chip::ds300x) {
        return;
    }
    if (led_away) {
        loops_astray_ = true;
        engine_astray_ = true;
    }
    // Where the micro-controller met one carrier all along and could not decode it, the loops stay
    // as it led them there.
    if (!begun_by_reset_ && changed_ns_ <= running_since_ns_ &&
        acquisition_.mcu_state(now_ns) == reg::mcu_state_search_ended) {
        despaired_of_ = search_.system;
    }
}

// The loops are a part of the core. Their common oscillator, by which the engine turns what it
// looks at, only the global reset puts back.
void Demodulator::mend_what_is_left() {
    loops_astray_ = loops_astray_ && !was_reset_globally_ && !core_was_reset_;
    engine_astray_ = engine_astray_ && !was_reset_globally_;
    if (was_reset_globally_) {
        despaired_of_.reset();
    }
    was_reset_globally_ = false;
    core_was_reset_ = false;
    programmed_anew_ = false;
    found_nothing_ = false;
}

// The micro-controller of a wide search that is let go once more for what it found nothing for
// lowers its thresholds.
bool Demodulator::insists_on_a_lock() const {
    return found_nothing_ && !programmed_anew_ && !was_reset_globally_ &&
           regs_.plain[reg::reg_c7] != 0;
}

// Decided once a search, and only in a world that has such searches.
bool Demodulator::draws_false_lock(double share) {
    return share > 0 && search_.wide && false_lock_chance_.uniform() < share;
}

void Demodulator::power_may_change(std::uint64_t now_ns) {
    if (powered() != was_powered_) {
        was_powered_ = powered();
        powered_since_ns_ = now_ns;
        diseqc_.set_powered(was_powered_, now_ns);
    }
    run_may_change(now_ns);
}

void Demodulator::signal_changed(std::uint64_t now_ns) {
    stale_ = true;
    changed_ns_ = now_ns;
    despaired_of_.reset();
}

// The driver adapts the loops and a bit to the carrier while the search goes on.
void Demodulator::adjust_search(std::uint8_t reg, std::uint64_t now_ns) {
    const bool adapts =
        reg == reg::loop_a || reg == reg::loop_b || reg == reg::loop_pilots || reg == reg::reg_56;
    if (!adapts || !running_) {
        return;
    }
    const LoopGains loops = loop_gains(chip_, search_.system, regs_);
    if (search_.for_weak_carriers != for_weak_carriers() || !(search_.loops == loops)) {
        if (search_.for_weak_carriers != for_weak_carriers()) {
            thresholds_rest_ns_ = now_ns + threshold_move_ns;
        }
        search_.loops = loops;
        search_.for_weak_carriers = for_weak_carriers();
        signal_changed(now_ns);
    }
}

// 0x5D holds the carrier loop's trim beside the choice of what is read of it. What was wrong when
// the search began is a matter of the table.
void Demodulator::follow_carrier_loop(std::uint64_t now_ns) {
    const bool lost =
        ((regs_.plain[reg::carrier_select] ^ trim_of_search_) & reg::carrier_loop_trim) != 0;
    if (running_ && job_ == Job::reception && lost != search_.loop_untrimmed) {
        search_.loop_untrimmed = lost;
        signal_changed(now_ns);
    }
}

bool Demodulator::for_weak_carriers() const { return (regs_.plain[reg::reg_56] & 1) != 0; }

void Demodulator::carriers_change(std::uint64_t now_ns) {
    signal_changed(now_ns);
    acquisition_.forget_carriers();
    searched_ = {};
}

void Demodulator::refresh() {
    if (!stale_) {
        return;
    }
    stale_ = false;
    if (!running_) {
        return;
    }
    if (job_ != Job::reception) {
        acquisition_.stop();
        return;
    }
    if (restart_) {
        restart_ = false;
        acquisition_.start(search_, running_since_ns_, luck_.uniform());
        count_restart();
    } else {
        note_header(changed_ns_);
    }
    acquisition_.see(receive(), changed_ns_, source_->settled_ns(), source_->way_ns());
    if (!acquisition_.is_left()) {
        received_way_ = source_->way();
    }
}

FoundCarrier Demodulator::receive() const {
    if (search_.wide && jammed_) {
        return nothing_found(
            "the sweep stands at its end since a scan's search failed and no reset followed");
    }
    if (!search_.wide && misled_) {
        return nothing_found(
            "the sweep was taken back twice: the core was reset behind a search that failed");
    }
    return source_->find(search_);
}

void Demodulator::count_restart() {
    const Channel channel{source_->way(), search_.expected_khz, search_.symbol_rate_ksps};
    restarts_ = channel == searched_ ? restarts_ + 1 : 0;
    searched_ = channel;
}

void Demodulator::note_powered_down_access(std::uint8_t reg, std::uint64_t now_ns) {
    if (!was_powered_ && !works_powered_down(reg)) {
        watch_->complain(
            Offence::powered_down_access, now_ns,
            fmt::format("demodulator register 0x{:02X} while it is powered down", reg));
    }
}

void Demodulator::write(std::uint8_t reg, std::span<const std::uint8_t> data,
                        std::uint64_t now_ns) {
    note_powered_down_access(reg, now_ns);
    if (reg == reg::mcu_port) {
        program_.block(data, now_ns);
        return;
    }
    for (const std::uint8_t value : data) {
        write_one(reg++, value, now_ns);
    }
}

// Where a register's value is kept; some are reached through an index.
std::uint8_t &Demodulator::place_of(std::uint8_t reg) {
    if (reg >= first_tap && reg <= last_tap) {
        return regs_.tap_groups.at(regs_.plain[tap_index] >> 5).at(reg - first_tap);
    }
    if (reg == reg::loop_a || reg == reg::loop_b) {
        return regs_.loops.at(regs_.plain[reg::loop_index] & 3).at(reg - reg::loop_a);
    }
    if (reg == reg::ts_mode || reg == reg::ts_divider) {
        return regs_.ts.at(ts_bank()).at(reg - reg::ts_mode);
    }
    return regs_.plain[reg];
}

void Demodulator::write_one(std::uint8_t reg, std::uint8_t value, std::uint64_t now_ns) {
    if (DiseqcMaster::owns(reg)) {
        diseqc_.write(reg, value, now_ns);
        return;
    }
    switch (reg) {
        case reg::chip_id:
        case reg::chip_id_high:
            break;  // read only
        case reg::repeater:
            repeater_open_ = value == reg::repeater_open;
            break;
        case reg::master_clock_a:
        case reg::master_clock_b:
            write_master_clock(reg, value, now_ns);
            break;
        case reg::search_control:
            write_search_control(value, now_ns);
            break;
        case reg::carrier_select:
            regs_.plain[reg] = value;
            tone_meter_.choose_carrier(value, now_ns);
            follow_carrier_loop(now_ns);
            break;
        default:
            follow_set_up(reg, value, now_ns);
            follow_carrier_preset(reg);
            place_of(reg) = value;
            obey(reg, value, now_ns);
            break;
    }
}

// In a hold the expected carrier goes straight into the carrier loop, which begins at 0 again with
// each gain it is given. When the micro-controller is let go it takes the carrier over, and later
// holds cannot harm it.
void Demodulator::follow_carrier_preset(std::uint8_t reg) {
    if (!program_.is_held()) {
        carrier_preset_ = false;
    } else if (reg == reg::carrier_low || reg == reg::carrier_high) {
        carrier_preset_ = true;
    } else if (carrier_preset_ && (reg == reg::carrier_gain_a || reg == reg::carrier_gain_b)) {
        regs_.plain[reg::carrier_low] = 0;
        regs_.plain[reg::carrier_high] = 0;
    }
}

// Do what a register that has just been written asks for.
void Demodulator::obey(std::uint8_t reg, std::uint8_t value, std::uint64_t now_ns) {
    switch (reg) {
        case reg::core_reset:
            reset_core(value, now_ns);
            run_may_change(now_ns);
            break;
        case reg::core_reset_ds300x:
        case reg::clock_reset:
            run_may_change(now_ns);
            break;
        case reg::global_reset:
            reset_globally(value);
            run_may_change(now_ns);
            break;
        case reg::reg_04:
        case reg::mode:
        case reg::reg_23:
            power_may_change(now_ns);
            break;
        case reg::mcu_control:
            control_mcu(value, now_ns);
            run_may_change(now_ns);
            break;
        case reg::errors_high:
            window_started_ = (value & reg::errors_running) != 0;
            window_from_ns_ = now_ns;
            break;
        case reg::errors_control:
            errors_.restart(value, now_ns);
            break;
        case reg::s2_counter_reset:
            frames_.restart(value, now_ns);
            break;
        default:
            adjust_search(reg, now_ns);
            break;
    }
}

void Demodulator::control_mcu(std::uint8_t value, std::uint64_t now_ns) {
    mcu_written_ = true;
    if ((value & reg::mcu_hold) != 0) {
        keep_lock_bits(now_ns);
        sweep_at_end_ = sweep_at_end_ || search_failed(true, now_ns);
        narrow_failed_ = narrow_failed_ || search_failed(false, now_ns);
        program_.hold();
        controller_hangs_ = false;
    } else {
        carrier_preset_ = false;
        jammed_ = jammed_ || sweep_at_end_;
        sweep_at_end_ = false;
        misled_ = !programmed_anew_ && (misled_ || (narrow_failed_ && core_was_reset_));
        narrow_failed_ = false;
        controller_hangs_ = controller_hangs_ || core_held();
        if (program_.release()) {
            put_port_back();
        }
    }
}

// A program that begins takes the port to what it is after power-on: its pins drive nothing.
void Demodulator::put_port_back() {
    for (auto &[mode, divider] : regs_.ts) {
        mode = 0;
        divider = chip_ == Chip::ds300x ? std::uint8_t{0} : ts_pin_strength;
    }
    regs_.plain[reg::ts_drivers] |= reg::ts_pins_high_impedance;
}

// Of one that the micro-controller began when it was let go.
bool Demodulator::search_failed(bool wide, std::uint64_t now_ns) const {
    return running_ && !restart_ && job_ == Job::reception && search_.wide == wide &&
           chip_ != Chip::ds300x && !begun_by_reset_ &&
           (acquisition_.mcu_state(now_ns) & reg::mcu_state_search_failed) != 0;
}

void Demodulator::keep_lock_bits(std::uint64_t now_ns) {
    if (program_.is_held()) {
        return;
    }
    const bool tells = !restart_ && job_ == Job::reception;
    if (tells) {
        refresh();
    }
    last_lock_bits_ = tells ? lock_bits(now_ns) : std::uint8_t{0};
    last_fec_bits_ = tells ? fec_bits(now_ns) : std::uint8_t{0};
}

// Held on a lock, the micro-controller does nothing more, but the core goes on to decode.
bool Demodulator::runs_on() const {
    return !core_held() && (last_lock_bits_ & reg::lock_status_dvbs) == reg::lock_status_dvbs;
}

// The equaliser is a part of the core and takes its mode over when that comes out of reset.
void Demodulator::reset_core(std::uint8_t value, std::uint64_t now_ns) {
    if ((value & 1) != 0) {
        core_held_ns_ = core_held_ns_.value_or(now_ns);
        return;
    }
    if (core_held_ns_ && now_ns >= *core_held_ns_ + shortest_hold_ns) {
        equaliser_mode_ = regs_.plain[reg::reg_bd];
        core_was_reset_ = true;
        sweep_at_end_ = false;
        jammed_ = false;
    }
    core_held_ns_.reset();
}

void Demodulator::reset_globally(std::uint8_t value) {
    if ((value & reg::global_reset_demodulator) != 0) {
        regs_.plain[reg::carrier_low] = 0;
        regs_.plain[reg::carrier_high] = 0;
        reset_ = true;
        was_reset_globally_ = true;
        sweep_at_end_ = false;
        narrow_failed_ = false;
        misled_ = false;
        last_lock_bits_ = 0;
        last_fec_bits_ = 0;
        last_modcod_ = 0;
    }
    controller_reset_ =
        controller_reset_ || (value & reg::global_reset_all) == reg::global_reset_all;
}

void Demodulator::write_master_clock(std::uint8_t reg, std::uint8_t value, std::uint64_t now_ns) {
    const bool changes = ((regs_.plain[reg] ^ value) & 0xC0) != 0;
    regs_.plain[reg] = value;
    if (changes && running_ && regs_.plain[reg::clock_reset] != reg::clock_reset_hold) {
        watch_->complain(Offence::clock_change_while_running, now_ns,
                         fmt::format("master clock register 0x{:02X} changed with 0x06 = 0x{:02X}",
                                     reg, regs_.plain[reg::clock_reset]));
    }
    run_may_change(now_ns);
}

std::uint8_t Demodulator::read(std::uint8_t reg, std::uint64_t now_ns) {
    note_powered_down_access(reg, now_ns);
    if (DiseqcMaster::owns(reg)) {
        return diseqc_.read(reg, now_ns);
    }
    return status_registers[reg] ? read_status(reg, now_ns) : place_of(reg);
}

std::uint8_t Demodulator::read_identity(std::uint8_t reg, std::uint64_t now_ns) const {
    const std::uint64_t now_ms = now_ns / 1'000'000;
    for (const Fault &fault : identity_faults_) {
        if (fault.reg == reg && now_ms >= fault.period.from_ms && now_ms < fault.period.to_ms) {
            return fault.value;
        }
    }
    if (was_powered_ && now_ns < powered_since_ns_ + fuse_reading_ns && reg != reg::mcu_control) {
        return 0;
    }
    const bool shows_identity = reg == reg::mcu_control && !mcu_written_;
    return static_cast<std::uint8_t>(regs_.plain[reg] | (shows_identity ? mcu_identity_ : 0));
}

// A carrier is there that would lock, and there is no lock.
void Demodulator::explain_wait(Verdict &verdict, std::uint64_t now_ns) const {
    if (acquisition_.will_lock()) {
        verdict.reason = Reason::searching;
        verdict.text = fmt::format("searching; lock on {} in {:.1f} ms", describe(*verdict.carrier),
                                   static_cast<double>(acquisition_.lock_ns() - now_ns) * 1e-6);
        return;
    }
    verdict.reason = Reason::search_over;
    verdict.text =
        fmt::format("{} came too late: the search is over at {:.1f} ms, and nothing began another",
                    describe(*verdict.carrier), static_cast<double>(acquisition_.end_ns()) * 1e-6);
}

Verdict Demodulator::verdict(std::uint64_t now_ns) {
    refresh();
    acquisition_.settle(now_ns);
    Verdict verdict;
    verdict.restarts = restarts_;
    if (!running_) {
        verdict.reason = why_not_running(verdict.text);
        verdict.gave_up = verdict.reason == Reason::mcu_held;
        verdict.runs_on = verdict.gave_up && runs_on();
        return verdict;
    }
    if (job_ != Job::reception) {
        verdict.reason = Reason::no_carrier;
        verdict.text = job_ == Job::spectrum ? "the spectrum engine runs, no reception"
                                             : "a tone is measured, no reception";
        return verdict;
    }
    verdict.gave_up = acquisition_.stage(now_ns) == Acquisition::Stage::given_up;
    verdict.searches = !verdict.gave_up && !acquisition_.locked(now_ns);
    const FoundCarrier &found = acquisition_.found();
    tell_carrier(verdict, found);
    if (!found.locks()) {
        return verdict;
    }
    if (!acquisition_.locked(now_ns)) {
        explain_wait(verdict, now_ns);
        return verdict;
    }
    verdict.error_share =
        search_.system == broadcast::System::dvbs ? bit_error_share() : packet_error_share();
    verdict.counters = error_counters(now_ns);
    verdict.ts = ts_output(chip_, system(), ts_registers(), *verdict.carrier, wired_ts_mode_);
    return verdict;
}

}  // namespace sim
