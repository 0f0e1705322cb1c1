// SPDX-License-Identifier: MIT
#include "sim/tuner.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "sim/tuner_regs.h"

namespace sim {

namespace {

constexpr std::uint64_t supply_settling_ns = 1'000'000;
constexpr double reference_khz = 27'000;
constexpr double lowest_lo_khz = 930'000;
constexpr double highest_lo_khz = 2'170'000;
// The first VCO core's bands 0..127 lie evenly over its range.
constexpr double lowest_vco_khz = 1'080'000;
constexpr double highest_vco_khz = 2'320'000;

// A register that has to hold one value.
struct Required {
    std::uint8_t reg;
    std::uint8_t value;
};

constexpr std::array synthesiser_type_1{Required{tuner_reg::reg_62, 0xFD},
                                        Required{tuner_reg::reg_42, 0x63},
                                        Required{tuner_reg::reg_03, 0x06}};
constexpr std::array synthesiser_type_2{Required{tuner_reg::reg_62, 0xEC},
                                        Required{tuner_reg::reg_42, 0x6C},
                                        Required{tuner_reg::reg_03, 0x06}};
constexpr std::array filter_type_2{Required{tuner_reg::reg_27, 0x30},
                                   Required{tuner_reg::reg_08, 0x09}};
constexpr std::array agc_type_2{Required{0x22, 0x30}, Required{0x12, 0xA0}};

template <std::size_t count>
std::string wrong_one(const std::array<std::uint8_t, 256> &regs,
                      const std::array<Required, count> &required) {
    for (const Required &row : required) {
        if (regs[row.reg] != row.value) {
            return fmt::format("tuner register 0x{:02X} holds 0x{:02X}, it needs 0x{:02X}", row.reg,
                               regs[row.reg], row.value);
        }
    }
    return {};
}

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
      filter_centre_(static_cast<std::uint8_t>(21 + scenario.seed % 5)) {
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
}

bool Tuner::on() const {
    return (regs_[tuner_reg::power] & tuner_reg::power_all) == tuner_reg::power_all;
}

bool Tuner::asleep() const { return (regs_[tuner_reg::power] & tuner_reg::power_all) == 0; }

void Tuner::write_power(std::uint8_t value, std::uint64_t now_ns) {
    const std::uint8_t old = regs_[tuner_reg::power];
    const bool supply_was_on = (old & tuner_reg::power_supply) != 0;
    if (!supply_was_on && (value & tuner_reg::power_supply) != 0) {
        supply_on_ns_ = now_ns;
    }
    const bool starts_the_rest =
        (value & ~old & tuner_reg::power_all & ~tuner_reg::power_supply) != 0;
    if (starts_the_rest && supply_was_on && now_ns < supply_on_ns_ + supply_settling_ns) {
        value = tuner_reg::power_supply;
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
    const std::uint8_t old = regs_[reg];
    regs_[reg] = value;
    switch (reg) {
        case tuner_reg::divider_high:
        case tuner_reg::divider_low:
            divider_order_ = writes_;
            break;
        case tuner_reg::band:
            if (((old ^ value) & tuner_reg::band_divide_by_2) != 0) {
                divider_order_ = writes_;
            }
            break;
        case tuner_reg::filter_fine:
        case tuner_reg::filter_coarse:
            filter_order_ = writes_;
            break;
        case tuner_reg::calibration_select:
            for (Calibration *calibration : {&vco_, &lo_, &filter_, &agc_}) {
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
    for (Calibration *calibration : {&vco_, &lo_, &filter_, &agc_}) {
        calibration->write_start(old, value, now_ns, writes_);
    }
}

bool Tuner::reads_gain(std::uint8_t reg) {
    return reg == tuner_reg::agc_state || reg == tuner_reg::rf_gain || reg == tuner_reg::band_state;
}

std::uint8_t Tuner::read(std::uint8_t reg, std::uint64_t now_ns) const {
    switch (reg) {
        case tuner_reg::power:
            // The revision, and those power bits that this type shows.
            return static_cast<std::uint8_t>((identity_ & ~tuner_reg::power_all) |
                                             (identity_ & regs_[tuner_reg::power]));
        case tuner_reg::vco_band:
            return vco_band();
        case tuner_reg::vco_status:
            return vco_.done(now_ns) ? tuner_reg::vco_calibrated : std::uint8_t{0};
        case tuner_reg::lo_state:
            return lo_.done(now_ns) ? 0x2A : 0;
        case tuner_reg::filter_state:
            return filter_.done(now_ns) ? filter_result() : std::uint8_t{0};
        case tuner_reg::agc_state:
            // Bit 6 tells a gain of 0 from a gain control that has not been started.
            return agc_.done(now_ns) ? tuner_reg::agc_started | gain_.baseband : 0;
        case tuner_reg::rf_gain:
            return gain_.lna;
        case tuner_reg::band_state:
            return static_cast<std::uint8_t>((low_band() ? tuner_reg::band_state_low : 0) |
                                             (gain_.rf << tuner_reg::band_state_gain_shift));
        default:
            return regs_[reg];
    }
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

bool Tuner::low_band() const { return (regs_[tuner_reg::band] & tuner_reg::band_divide_by_2) != 0; }

double Tuner::vco_khz() const { return divider() * reference_khz / 28; }

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

std::string Tuner::synthesiser_fault() const {
    std::string fault =
        type_ == 1 ? wrong_one(regs_, synthesiser_type_1) : wrong_one(regs_, synthesiser_type_2);
    if (!fault.empty()) {
        return fault;
    }
    if (divider_order_ == 0) {
        return "tuner synthesiser not programmed";
    }
    const double lo_khz = vco_khz() / (low_band() ? 2 : 1);
    if (lo_khz < lowest_lo_khz || lo_khz > highest_lo_khz || vco_khz() < lowest_vco_khz ||
        vco_khz() > highest_vco_khz) {
        return fmt::format("tuner divider {} asks for {:.1f} MHz from a VCO at {:.1f} MHz",
                           divider(), lo_khz / 1000, vco_khz() / 1000);
    }
    if (type_ == 2 && second_core() != (first_core_band() < 64)) {
        return fmt::format("tuner VCO band {} with the {} core", first_core_band(),
                           second_core() ? "second" : "first");
    }
    if (!vco_.succeeds()) {
        return "tuner VCO not calibrated";
    }
    if (vco_.order() < divider_order_) {
        return "tuner VCO calibrated before the divider was written";
    }
    if (!lo_.succeeds()) {
        return "tuner synthesiser not calibrated";
    }
    return lo_.order() < vco_.order() ? "tuner synthesiser calibrated before the VCO" : "";
}

std::string Tuner::filter_fault() const {
    if (!filter_.succeeds()) {
        return "tuner filter not calibrated";
    }
    if (filter_.order() < filter_order_) {
        return "tuner filter not calibrated since 0x04 and 0x06 were written";
    }
    if (regs_[tuner_reg::filter_fine] == 0 || regs_[tuner_reg::filter_coarse] == 0) {
        return "tuner filter without coefficients";
    }
    if (type_ == 1) {
        return {};
    }
    if ((regs_[tuner_reg::reg_25] & tuner_reg::reg_25_stored) == 0) {
        return "tuner filter result not stored: 0x25 bit 7 is clear";
    }
    return wrong_one(regs_, filter_type_2);
}

std::string Tuner::agc_fault() const {
    if (!agc_.succeeds()) {
        return "tuner gain control not started";
    }
    if (agc_.order() < vco_.order() || agc_.order() < filter_.order()) {
        return "tuner gain control started before the other calibrations";
    }
    return type_ == 2 ? wrong_one(regs_, agc_type_2) : std::string{};
}

TunerOutput Tuner::output() const {
    TunerOutput output;
    if (!on()) {
        output.text = "tuner powered down";
        return output;
    }
    output.reason = Reason::tuner_pll;
    output.text = synthesiser_fault();
    if (!output.text.empty()) {
        return output;
    }
    output.lo_khz = vco_khz() / (low_band() ? 2 : 1);
    // K0 is 54 times the filter's unit capacitance of each type.
    const double k0 = type_ == 1 ? 149'364 : 172'800;
    output.bandwidth_khz = regs_[tuner_reg::filter_coarse] * k0 /
                           (2.0 * std::max<std::uint8_t>(regs_[tuner_reg::filter_fine], 1));
    output.reason = Reason::tuner_filter;
    output.text = filter_fault();
    if (!output.text.empty()) {
        return output;
    }
    output.reason = Reason::tuner_agc;
    output.text = agc_fault();
    if (!output.text.empty()) {
        return output;
    }
    output.reason = Reason::locked;
    for (const Calibration *calibration : {&vco_, &lo_, &filter_, &agc_}) {
        output.settled_ns = std::max(output.settled_ns, calibration->done_ns());
    }
    return output;
}

}  // namespace sim
