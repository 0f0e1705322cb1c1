// SPDX-License-Identifier: MIT
#include "sim/tuner.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "sim/tuner_regs.h"

namespace sim {

namespace {

constexpr std::uint64_t supply_settling_ns = 1'000'000;
constexpr std::uint64_t discharge_ns = 40'000'000;
constexpr std::uint64_t rest_falling_ns = 120'000'000;
constexpr std::uint8_t power_rest = tuner_reg::power_all ^ tuner_reg::power_supply;
constexpr std::uint64_t register_settling_ns = 1'500'000;
constexpr std::uint64_t reference_settling_ns = 45'000'000;
// The first VCO core's bands 0..127 lie evenly over its range.
constexpr double lowest_vco_khz = 1'080'000;
constexpr double highest_vco_khz = 2'320'000;
// What of it a piece of type 2 reaches, and where the piece of type 1 that reaches furthest ends.
constexpr double lowest_type_2_khz = 1'102'000;
constexpr double lowest_type_1_khz = 1'144'000;
// Between these shares of the fine value that the silicon's speed asks for the filter's calibration
// finds its centre.
constexpr double least_fine_share = 0.82;
constexpr double greatest_fine_share = 1.22;
constexpr std::uint8_t full_trim = 15;
// What type 1's gain control takes for the stages before the baseband, which stands still so long.
constexpr std::uint64_t first_stages_ns = 30'000'000;
constexpr std::array calibrating_type_2{TunerRequirement{tuner_reg::reg_27, 0x70},
                                        TunerRequirement{tuner_reg::reg_08, 0x0B}};
std::uint64_t failures(const Scenario &scenario, Fault::Kind kind) {
    std::uint64_t count = 0;
    for (const Fault &fault : scenario.faults) {
        count += fault.kind == kind ? fault.count : 0;
    }
    return count;
}

}  // namespace

Tuner::Tuner(const Scenario &scenario, Watch &watch)
    : watch_(&watch),
      identity_(scenario.board.tuner_identity),
      type_((identity_ & tuner_reg::power_all) == tuner_reg::power_supply ? 1 : 2),
      filter_centre_(static_cast<std::uint8_t>(21 + scenario.seed % 5)),
      lowest_vco_khz_(type_ == 1
                          ? lowest_type_1_khz + 4'000 * static_cast<double>(scenario.seed % 4)
                          : lowest_type_2_khz) {
    vco_.fail_first(failures(scenario, Fault::Kind::vco_calibration));
    lo_.fail_first(failures(scenario, Fault::Kind::lo_calibration));
    filter_.fail_first(failures(scenario, Fault::Kind::filter_calibration));
    agc_.fail_first(failures(scenario, Fault::Kind::agc_start));
    set_input_level(0);
    power_on();
}

void Tuner::power_on() {
    regs_.fill(0);
    vco_.reset();
    lo_.reset();
    filter_.reset();
    agc_.reset();
    discharged_ns_ = 0;
    rest_fallen_ns_ = 0;
    regulated_ns_ = 0;
    stuck_ = false;
    halved_ = false;
    trim_reading_.reset();
    first_baseband_.reset();
}

bool Tuner::on() const {
    return (regs_[tuner_reg::power] & tuner_reg::power_all) == tuner_reg::power_all && !stuck_;
}

bool Tuner::takes_registers(std::uint64_t now_ns) const {
    return !on() || now_ns >= std::max(rest_on_ns_ + register_settling_ns, regulated_ns_);
}

bool Tuner::asleep() const { return (regs_[tuner_reg::power] & tuner_reg::power_all) == 0; }

void Tuner::write_power(std::uint8_t value, std::uint64_t now_ns) {
    const std::uint8_t old = regs_[tuner_reg::power];
    const bool supply_was_on = (old & tuner_reg::power_supply) != 0;
    const bool supply_goes_on = (value & tuner_reg::power_supply) != 0;
    if (!supply_was_on && supply_goes_on) {
        supply_on_ns_ = now_ns;
        stuck_ = now_ns < discharged_ns_;
    }
    if (supply_was_on && !supply_goes_on) {
        discharged_ns_ = now_ns + discharge_ns;
    }
    if ((old & ~value & power_rest) != 0) {
        rest_fallen_ns_ = now_ns + rest_falling_ns;
    }
    const bool starts_the_rest = (value & ~old & power_rest) != 0;
    if (starts_the_rest && now_ns < supply_on_ns_ + supply_settling_ns) {
        value = tuner_reg::power_supply;
    } else if (starts_the_rest) {
        rest_on_ns_ = now_ns;
    }
    regs_[tuner_reg::power] = value & tuner_reg::power_all;
}

void Tuner::write(std::uint8_t reg, std::uint8_t value, std::uint64_t now_ns) {
    ++writes_;
    if (reg == tuner_reg::power) {
        write_power(value, now_ns);
        return;
    }
    if (!on()) {
        watch_->complain(Offence::powered_down_access, now_ns,
                         fmt::format("tuner register 0x{:02X} written while it is off", reg));
    }
    if (!takes_registers(now_ns)) {
        return;
    }
    const std::uint8_t old = regs_[reg];
    regs_[reg] = value;
    obey(reg, old, now_ns);
}

// Do what a register that has just been written asks for.
void Tuner::obey(std::uint8_t reg, std::uint8_t old, std::uint64_t now_ns) {
    const std::uint8_t value = regs_[reg];
    switch (reg) {
        case tuner_reg::reg_62:
            regulated_ns_ = now_ns + register_settling_ns;
            break;
        case tuner_reg::reg_42:
            regulated_ns_ = type_ == 2 ? now_ns + register_settling_ns : regulated_ns_;
            break;
        case tuner_reg::divider_high:
        case tuner_reg::divider_low:
            divider_order_ = writes_;
            break;
        case tuner_reg::band:
            switch_band(old);
            if (((old ^ value) & tuner_reg::band_divide_by_2) != 0) {
                divider_order_ = writes_;
            }
            break;
        case tuner_reg::filter_fine:
        case tuner_reg::filter_coarse:
            filter_order_ = writes_;
            break;
        case tuner_reg::calibration_select:
            for (Calibration *calibration : calibrations()) {
                calibration->write_reset(value);
            }
            break;
        case tuner_reg::calibration_start:
            start_calibrations(old, value, now_ns);
            break;
        default:
            break;
    }
}

void Tuner::start_calibrations(std::uint8_t old, std::uint8_t value, std::uint64_t now_ns) {
    if (!on()) {
        return;
    }
    for (Calibration *calibration : calibrations()) {
        if (calibration->would_start(old, value)) {
            start(*calibration, now_ns);
        }
    }
}

void Tuner::start(Calibration &calibration, std::uint64_t now_ns) {
    if (filter_.running(now_ns)) {
        channel_order_ = {};
    }
    for (Calibration *other : calibrations()) {
        other->break_off(now_ns);
    }
    calibration.start(now_ns, writes_, can_run(calibration, now_ns));
    if (&calibration == &filter_ && filter_.succeeds()) {
        note_filter_run();
    } else if (&calibration == &vco_) {
        trim_reading_.reset();
        first_baseband_.reset();
    } else if (&calibration == &lo_) {
        latched_trim_ = regs_[tuner_reg::reg_60];
    }
}

// What a calibration needs from the chip and from those that it builds on.
bool Tuner::can_run(const Calibration &calibration, std::uint64_t now_ns) const {
    if (now_ns < rest_on_ns_ + reference_settling_ns) {
        return false;
    }
    if (&calibration == &filter_) {
        return filter_can_calibrate();
    }
    if (&calibration == &lo_) {
        return vco_.done(now_ns);
    }
    if (&calibration == &agc_) {
        return gain_line_is_driven_ && vco_.done(now_ns) && lo_.done(now_ns) &&
               filter_.done(now_ns);
    }
    return true;
}

void Tuner::note_filter_run() {
    channel_order_.at(regs_[tuner_reg::reg_41] == tuner_reg::reg_41_second_channel ? 1 : 0) =
        writes_;
}

bool Tuner::filter_can_calibrate() const {
    const double speed = filter_speed / (2.0 * filter_result() + filter_offset);
    const double share = regs_[tuner_reg::filter_fine] / speed;
    if (share < least_fine_share || share > greatest_fine_share) {
        return false;
    }
    const std::uint8_t channel = regs_[tuner_reg::reg_41];
    return type_ == 1 || ((regs_[tuner_reg::reg_25] & tuner_reg::reg_25_stored) == 0 &&
                          wrong_one(regs_, calibrating_type_2).empty() &&
                          (channel == tuner_reg::reg_41_first_channel ||
                           channel == tuner_reg::reg_41_second_channel));
}

bool Tuner::reads_gain(std::uint8_t reg) {
    return reg == tuner_reg::agc_state || reg == tuner_reg::rf_gain || reg == tuner_reg::band_state;
}

// The revision, and those power bits that this type shows: the rest's while its rail is up.
std::uint8_t Tuner::read_power(std::uint64_t now_ns) const {
    std::uint8_t power = regs_[tuner_reg::power];
    if (now_ns < rest_on_ns_ + register_settling_ns || stuck_) {
        power &= tuner_reg::power_supply;
    }
    if (now_ns < rest_fallen_ns_) {
        power |= power_rest;
    }
    return static_cast<std::uint8_t>((identity_ & ~tuner_reg::power_all) | (identity_ & power));
}

std::uint8_t Tuner::read(std::uint8_t reg, std::uint64_t now_ns) {
    switch (reg) {
        case tuner_reg::power:
            return read_power(now_ns);
        case tuner_reg::vco_band:
            return vco_band();
        case tuner_reg::vco_status:
            return static_cast<std::uint8_t>((vco_.done(now_ns) ? tuner_reg::vco_calibrated : 0) |
                                             (vco_.over(now_ns) ? tuner_reg::vco_over : 0));
        case tuner_reg::lo_state:
            return lo_.done(now_ns) ? 0x2A : 0;
        case tuner_reg::filter_state:
            return filter_.done(now_ns) ? filter_result() : std::uint8_t{0};
        case tuner_reg::agc_state:
            return read_agc(now_ns);
        case tuner_reg::rf_gain:
            return trim_reading();
        case tuner_reg::band_state:
            return band_state(now_ns);
        default:
            return regs_[reg];
    }
}

std::uint8_t Tuner::band_state(std::uint64_t now_ns) const {
    const bool low = vco_.done(now_ns) && (low_band() || comes_up_low());
    return static_cast<std::uint8_t>((low ? tuner_reg::band_state_low : 0U) |
                                     unsigned{gain_.rf} << tuner_reg::band_state_gain_shift);
}

// Bit 6 tells a gain of 0 from a gain control that has not been started.
std::uint8_t Tuner::read_agc(std::uint64_t now_ns) {
    if (!agc_.done(now_ns)) {
        return 0;
    }
    if (!first_baseband_ || now_ns < agc_.start_ns() + gain_settling_ns) {
        first_baseband_ = gain_.baseband;
    }
    const bool stands = type_ == 1 && now_ns < agc_.start_ns() + first_stages_ns;
    return tuner_reg::agc_started | (stands ? std::uint8_t{0} : gain_.baseband);
}

// Until the gain control works, type 1 shows no more than the trim leaves it.
std::uint8_t Tuner::trim_reading() {
    if (type_ != 1 || agc_.order() > vco_.order()) {
        return gain_.lna;
    }
    trim_reading_ = std::min(gain_.lna, full_trim);
    return std::min(gain_.lna, rf_trim_of(latched_trim_));
}

// Type 1 has twelve bits of divider less 1024. Type 2 has fourteen, in three stretches.
std::uint32_t Tuner::divider() const {
    const std::uint32_t high = regs_[tuner_reg::divider_high];
    const std::uint32_t low = regs_[tuner_reg::divider_low];
    if (type_ == 1) {
        return ((high & 0x0F) << 8 | low) + 1024;
    }
    const std::uint32_t programmed = (high & 0x3F) << 8 | low;
    if (programmed < 4096) {
        return programmed + 1024;
    }
    return programmed < 8192 ? programmed - 1024 : programmed - 3072;
}

// Type 1 takes its band over when the synthesiser is switched on. Later it confirms at most that
// the VCO came up in the low one.
void Tuner::switch_band(std::uint8_t old) {
    const std::uint8_t value = regs_[tuner_reg::band];
    const bool asks_for_low = (value & tuner_reg::band_divide_by_2) != 0;
    if (type_ == 2 || (value & ~old & tuner_reg::band_enabled_type_1) != 0 ||
        (asks_for_low && comes_up_low())) {
        halved_ = asks_for_low;
    }
}

bool Tuner::low_band() const { return halved_; }

// Type 1: the VCO does not swing so low, and the chip takes the other band by itself.
bool Tuner::comes_up_low() const {
    return type_ == 1 && !low_band() && vco_khz() >= lowest_type_1_khz &&
           vco_khz() < lowest_vco_khz_;
}

double Tuner::vco_khz() const { return divider() * tuner_reference_khz / 28; }

unsigned Tuner::first_core_band() const {
    const double place = (vco_khz() - lowest_vco_khz) / (highest_vco_khz - lowest_vco_khz);
    return static_cast<unsigned>(std::lround(127 * std::clamp(place, 0.0, 1.0)));
}

bool Tuner::second_core() const {
    return (regs_[tuner_reg::band] & tuner_reg::band_second_core) != 0 &&
           regs_[tuner_reg::reg_11] == tuner_reg::second_core_bias;
}

std::uint8_t Tuner::vco_band() const {
    const unsigned band = first_core_band();
    return static_cast<std::uint8_t>(second_core() ? 64 + band / 2 : band);
}

// Type 2 calibrates its two channels one after the other (0x41); they differ a little.
std::uint8_t Tuner::filter_result() const {
    return static_cast<std::uint8_t>(
        filter_centre_ + (regs_[tuner_reg::reg_41] == tuner_reg::reg_41_second_channel ? 2 : 0));
}

}  // namespace sim
