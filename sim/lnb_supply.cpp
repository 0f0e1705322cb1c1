// SPDX-License-Identifier: MIT
#include "sim/lnb_supply.h"

#include <fmt/format.h>

#include <algorithm>

#include "sim/demodulator_regs.h"
#include "sim/wiring.h"

namespace sim {

namespace {

constexpr std::uint8_t controller_bits =
    wiring::lnbh23_enable | wiring::lnbh23_18v | wiring::lnbh23_tone;

constexpr std::uint64_t rise_ns = 5'000'000;
constexpr std::uint64_t fall_ns = 5'000'000;

double ms_of(std::uint64_t ns) { return static_cast<double>(ns) * 1e-6; }

unsigned volts_if(bool high) { return high ? 18 : 13; }

// 0 for what stands for no supply.
unsigned volts_of_master(std::uint8_t output) {
    const unsigned bits = output & unsigned{reg::diseqc_voltage_mask};
    return bits == 0 ? 18 : bits == 1 ? 13 : 0;
}

}  // namespace

LnbSupply::LnbSupply(const Scenario &scenario, Watch &watch)
    : watch_(&watch), has_lnbh23_(scenario.board.lnbh23) {
    dead_ = std::any_of(scenario.faults.begin(), scenario.faults.end(),
                        [](const Fault &fault) { return fault.kind == Fault::Kind::dead_supply; });
}

void LnbSupply::changed() { tripped_ = asked_volts() != 0 && (tripped_ || shorted_); }

void LnbSupply::judge_voltage_order(unsigned volts_before, std::uint64_t now_ns) {
    const unsigned volts_now = asked_volts();
    if (volts_before != 0 && volts_now != 0 && volts_now != volts_before &&
        now_ns - enabled_ns_ < rise_ns) {
        watch_->complain(Offence::supply_order, now_ns,
                         fmt::format("{} V chosen {:.3f} ms after {} V was switched on", volts_now,
                                     ms_of(now_ns - enabled_ns_), volts_before));
    }
}

void LnbSupply::set_enable(bool on, std::uint64_t now_ns) {
    if (on && !enabled_) {
        enabled_ns_ = now_ns;
        if (has_lnbh23_ && (lnbh23_ & wiring::lnbh23_enable) == 0) {
            watch_->complain(
                Offence::supply_order, now_ns,
                fmt::format("line 6 raised while the LNBH23 holds {:02X}, off", lnbh23_));
        }
    }
    if (!on && enabled_) {
        disabled_ns_ = now_ns;
    }
    enabled_ = on;
    changed();
}

void LnbSupply::set_18v(bool on, std::uint64_t now_ns) {
    const unsigned before = asked_volts();
    if (on != line_18v_ && !enabled_ && disabled_ns_ && now_ns - *disabled_ns_ < fall_ns) {
        watch_->complain(Offence::supply_order, now_ns,
                         fmt::format("{} V chosen {:.3f} ms after the supply was switched off",
                                     volts_if(on), ms_of(now_ns - *disabled_ns_)));
    }
    line_18v_ = on;
    judge_voltage_order(before, now_ns);
    changed();
}

void LnbSupply::set_lnbh23(std::uint8_t control, std::uint64_t now_ns) {
    const unsigned before = asked_volts();
    lnbh23_ = control;
    judge_voltage_order(before, now_ns);
    if (before != 0 && (control & wiring::lnbh23_enable) == 0) {
        watch_->complain(Offence::supply_order, now_ns,
                         fmt::format("LNBH23 switched off, {:02X}, before line 6", control));
    }
    judge_control(now_ns);
    changed();
}

void LnbSupply::judge_control(std::uint64_t now_ns) {
    const unsigned rail_volts = volts_if(line_18v_);
    const bool on = (lnbh23_ & wiring::lnbh23_enable) != 0;
    if (on && volts_if((lnbh23_ & wiring::lnbh23_18v) != 0) != rail_volts) {
        watch_->complain(
            Offence::supply_order, now_ns,
            fmt::format("LNBH23 told {:02X} while line 7 says {} V", lnbh23_, rail_volts));
    }
    if ((lnbh23_ & ~controller_bits) != 0) {
        watch_->complain(
            Offence::supply_disagreement, now_ns,
            fmt::format("LNBH23 told {:02X}: bits that this board has no use for", lnbh23_));
    }
}

void LnbSupply::set_shorted(bool shorted) {
    shorted_ = shorted;
    changed();
}

void LnbSupply::compare_with_master(std::uint8_t output, std::uint64_t now_ns) {
    const unsigned volts = asked_volts();
    const unsigned line_volts = enabled_ ? volts_if(line_18v_) : 0;
    const unsigned master_volts = volts_of_master(output);
    if (volts != line_volts || volts != master_volts) {
        watch_->complain(
            Offence::supply_disagreement, now_ns,
            fmt::format("{}{}, register A2 = {:02X} {}",
                        has_lnbh23_ ? fmt::format("the LNBH23 holds {:02X}, ", lnbh23_) : "",
                        enabled_ ? fmt::format("line 7 says {} V", line_volts) : "line 6 is off",
                        output, master_volts == 0 ? "off" : fmt::format("{} V", master_volts)));
    }
}

unsigned LnbSupply::asked_volts() const {
    if (!enabled_ || (has_lnbh23_ && (lnbh23_ & wiring::lnbh23_enable) == 0)) {
        return 0;
    }
    return volts_if(has_lnbh23_ ? (lnbh23_ & wiring::lnbh23_18v) != 0 : line_18v_);
}

unsigned LnbSupply::volts() const { return dead_ || tripped_ ? 0 : asked_volts(); }

bool LnbSupply::passes_tone() const { return !has_lnbh23_ || (lnbh23_ & wiring::lnbh23_tone) != 0; }

}  // namespace sim
