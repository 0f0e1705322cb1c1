// SPDX-License-Identifier: MIT
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <utility>

#include "sim/tuner.h"
#include "sim/tuner_regs.h"

// What the tuner makes of what its registers hold.
namespace sim {

namespace {

constexpr double highest_type_1_khz = 2'316'000;
constexpr double highest_type_2_khz = 2'208'000;
constexpr double starved_vco_db = 16;
constexpr double unlike_channels_db = 16;
constexpr double trim_step_db = 4;  // the LNA on the edge of oscillation, or starved
constexpr double worst_trim_db = 16;

constexpr std::array synthesiser_type_1{TunerRequirement{tuner_reg::reg_62, 0xFD},
                                        TunerRequirement{tuner_reg::reg_42, 0x63},
                                        TunerRequirement{tuner_reg::reg_03, 0x06}};
constexpr std::array synthesiser_type_2{TunerRequirement{tuner_reg::reg_62, 0xEC},
                                        TunerRequirement{tuner_reg::reg_42, 0x6C},
                                        TunerRequirement{tuner_reg::reg_03, 0x06}};
constexpr std::array filter_type_2{TunerRequirement{tuner_reg::reg_27, 0x30},
                                   TunerRequirement{tuner_reg::reg_08, 0x09}};
constexpr std::array agc_type_2{TunerRequirement{0x22, 0x30}, TunerRequirement{0x12, 0xA0}};

}  // namespace

std::string Tuner::divider_fault() const {
    const double highest_khz = type_ == 1 ? highest_type_1_khz : highest_type_2_khz;
    if (comes_up_low()) {
        return fmt::format("tuner VCO came up in the low band, {:.1f} MHz are in the high one",
                           vco_khz() / 1000);
    }
    if (vco_khz() < lowest_vco_khz_ || vco_khz() > highest_khz) {
        return fmt::format("tuner divider {} asks for {:.1f} MHz from a VCO at {:.1f} MHz",
                           divider(), vco_khz() / (low_band() ? 2 : 1) / 1000, vco_khz() / 1000);
    }
    return divider() % 2 != 0 ? fmt::format("tuner divider {} is odd", divider()) : std::string{};
}

std::string Tuner::core_fault() const {
    const std::uint8_t enabled =
        type_ == 1 ? tuner_reg::band_enabled_type_1 : tuner_reg::band_enabled_type_2;
    if ((regs_[tuner_reg::band] & enabled) != enabled) {
        return fmt::format("tuner synthesiser off: 0x10 holds 0x{:02X}", regs_[tuner_reg::band]);
    }
    const bool low = first_core_band() < 64;
    const std::uint8_t bias = low ? tuner_reg::second_core_bias : tuner_reg::first_core_bias;
    if (type_ == 2 && (second_core() != low || regs_[tuner_reg::reg_11] != bias)) {
        return fmt::format("tuner VCO band {} with the {} core and 0x11 = 0x{:02X}",
                           first_core_band(), second_core() ? "second" : "first",
                           regs_[tuner_reg::reg_11]);
    }
    return {};
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
    fault = divider_fault();
    if (fault.empty()) {
        fault = core_fault();
    }
    if (!fault.empty()) {
        return fault;
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

// The VCO's boost belongs to the lower bands of each 32.
void Tuner::add_vco_flaw(TunerFlaws &flaws) const {
    constexpr unsigned bands = 0x1F;
    constexpr unsigned boosted_bands = 20;
    const bool wanted = (vco_band() & bands) < boosted_bands;
    if (((regs_[tuner_reg::band] & tuner_reg::band_boost) != 0) != wanted) {
        flaws.add(starved_vco_db, fmt::format("phase noise of the tuner's VCO, {} in band {}",
                                              wanted ? "starved" : "driven too far", vco_band()));
    }
}

// Three steps below the reading, which is as far as the LNA's gain goes before it swings by itself.
// Where the reading found no room there is nothing to take back, but for an input so strong that it
// leaves the baseband next to nothing to do.
void Tuner::add_trim_flaw(TunerFlaws &flaws) const {
    constexpr int back_off = 3;
    constexpr int no_room = 15;
    constexpr int next_to_nothing = 3;
    const int trim = rf_trim_of(latched_trim_);
    int off = no_room - trim;
    if (!trim_reading_) {
        off = back_off;
    } else if (*trim_reading_ == no_room) {
        const bool needs_less = first_baseband_.value_or(next_to_nothing) < next_to_nothing;
        off = std::abs(off - (needs_less ? back_off : 0));
    } else {
        off = std::abs(trim - std::max(0, *trim_reading_ - back_off));
    }
    if (off != 0) {
        flaws.add(std::min(worst_trim_db, trim_step_db * off),
                  fmt::format("the tuner's RF gain, trimmed {} steps wrong (0x60)", off));
    }
}

TunerFlaws Tuner::flaws() const {
    TunerFlaws flaws = bias_flaws(type_, regs_);
    if (type_ == 1) {
        add_trim_flaw(flaws);
        return flaws;
    }
    add_vco_flaw(flaws);
    if (std::min(channel_order_[0], channel_order_[1]) < filter_order_) {
        flaws.add(unlike_channels_db, "a channel of the tuner's filter that is not calibrated");
    }
    return flaws;
}

// The cut-off that the filter has been told, as far as the stored result is the silicon's.
double Tuner::cut_off_khz() const {
    // K0 is 54 times the filter's unit capacitance of each type.
    const double k0 = type_ == 1 ? 149'364 : 172'800;
    const double told = regs_[tuner_reg::filter_coarse] * k0 /
                        (2.0 * std::max<std::uint8_t>(regs_[tuner_reg::filter_fine], 1));
    const std::uint8_t stored = regs_[tuner_reg::reg_25];
    if (type_ == 1 || (stored & tuner_reg::reg_25_stored) == 0) {
        return told;
    }
    // It sets both the resistors and the capacitors.
    const double error =
        (2.0 * (stored & 0x3F) + filter_offset) / (2.0 * (filter_centre_ + 1) + filter_offset);
    return told * error * error;
}

TunerOutput Tuner::output() const {
    TunerOutput output;
    if (!on()) {
        output.text =
            stuck_ ? "tuner does not start: its supply came back too early" : "tuner powered down";
        return output;
    }
    output.reason = Reason::tuner_pll;
    output.text = synthesiser_fault();
    if (!output.text.empty()) {
        return output;
    }
    output.lo_khz = vco_khz() / (low_band() ? 2 : 1);
    output.bandwidth_khz = cut_off_khz();
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
    TunerFlaws found = flaws();
    output.loss_db = found.loss_db;
    output.flaw = std::move(found.worst);
    for (const Calibration *calibration : {&vco_, &lo_, &filter_, &agc_}) {
        output.calibrated_ns = std::max(output.calibrated_ns, calibration->done_ns());
    }
    // With another trim the gain settles anew.
    const std::uint64_t gain_set_ns = lo_.order() > agc_.order() ? lo_.start_ns() : agc_.start_ns();
    output.settled_ns = std::max(output.calibrated_ns, gain_set_ns + gain_settling_ns);
    return output;
}

}  // namespace sim
