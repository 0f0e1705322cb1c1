// SPDX-License-Identifier: MIT
#include "sim/outdoor.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "sim/wiring.h"

namespace sim {

namespace {

constexpr std::uint8_t write_committed = 0x38;
constexpr std::uint8_t read_committed = 0x14;
constexpr std::uint8_t reply_ok = 0xE4;
constexpr std::uint8_t reply_unknown_command = 0xE5;

bool is_master_frame(std::uint8_t framing) { return framing >= 0xE0 && framing <= 0xE3; }
bool wants_reply(std::uint8_t framing) { return (framing & 0x02) != 0; }

// Addresses that a committed switch answers to: any device, any switch, and two kinds of switch.
bool addresses_switch(std::uint8_t address) {
    return address == 0x00 || address == 0x10 || address == 0x14 || address == 0x15;
}

}  // namespace

Outdoor::Outdoor(const Scenario &scenario)
    : defaults_{scenario.cn_db, scenario.level_dbm, scenario.cross_polarisation_db},
      has_lnbh23_(scenario.board.lnbh23),
      switch_replies_(scenario.diseqc_switch && scenario.diseqc_switch->replies),
      has_switch_(scenario.diseqc_switch.has_value()),
      lnb_(scenario.lnb) {
    if (!has_switch_) {
        if (!scenario.satellites.empty()) {
            dishes_[0].emplace(scenario.satellites.front(), defaults_);
        }
    } else {
        const auto &ports = scenario.diseqc_switch->ports;
        for (std::size_t i = 0; i < std::min(ports.size(), dishes_.size()); ++i) {
            if (ports[i]) {
                dishes_.at(i).emplace(scenario.satellites.at(*ports[i]), defaults_);
            }
        }
    }
    if (scenario.unicable) {
        unicable_.emplace(*scenario.unicable);
    }
    for (const Fault &fault : scenario.faults) {
        if (fault.kind == Fault::Kind::lost_diseqc) {
            message_faults_.push_back(fault);
        }
        supply_is_dead_ = supply_is_dead_ || fault.kind == Fault::Kind::dead_supply;
    }
}

void Outdoor::supply_changed() {
    ++changes_;
    if (!powered()) {
        switch_lines_ = 0;
        if (unicable_) {
            unicable_->power_off();
        }
    }
}

void Outdoor::set_supply_enable(bool on) {
    enabled_ = on;
    supply_changed();
}

void Outdoor::set_supply_18v(bool on) {
    line_18v_ = on;
    supply_changed();
}

void Outdoor::set_tone(bool on) {
    changes_ += on != tone_ ? 1 : 0;
    tone_ = on;
}

void Outdoor::set_lnbh23(std::uint8_t control) {
    lnbh23_ = control;
    supply_changed();
}

void Outdoor::set_weather(const Weather &weather) {
    weather_ = weather;
    supply_changed();
}

void Outdoor::brown_out() {
    set_tone(false);
    set_lnbh23(0);
}

bool Outdoor::message_is_lost() const {
    const std::uint64_t number = messages_.size();
    return std::any_of(message_faults_.begin(), message_faults_.end(),
                       [number](const Fault &fault) {
                           return number >= fault.nth && number < fault.nth + fault.count;
                       });
}

std::vector<std::uint8_t> Outdoor::message(std::span<const std::uint8_t> bytes) {
    messages_.emplace_back(bytes.begin(), bytes.end());
    return powered() && !message_is_lost() ? obey(bytes) : std::vector<std::uint8_t>{};
}

void Outdoor::foreign_message(std::span<const std::uint8_t> bytes) {
    if (powered()) {
        obey(bytes);
    }
}

std::vector<std::uint8_t> Outdoor::obey(std::span<const std::uint8_t> bytes) {
    if (unicable_) {
        unicable_message(bytes);
        return {};
    }
    const bool heard =
        has_switch_ && bytes.size() >= 3 && is_master_frame(bytes[0]) && addresses_switch(bytes[1]);
    if (!heard) {
        return {};
    }
    std::vector<std::uint8_t> reply{reply_ok};
    if (bytes[2] == write_committed && bytes.size() == 4) {
        const auto cleared = switch_lines_ & ~(bytes[3] >> 4);
        switch_lines_ = static_cast<std::uint8_t>(cleared | (bytes[3] & 0x0F));
        ++changes_;
    } else if (bytes[2] == read_committed) {
        reply.push_back(static_cast<std::uint8_t>(0xF0 | switch_lines_));
    } else {
        reply = {reply_unknown_command};
    }
    return switch_replies_ && wants_reply(bytes[0]) ? reply : std::vector<std::uint8_t>{};
}

bool Outdoor::has_bank(const UserBandChannel &channel) const {
    return dishes_.at(channel.position()).has_value() &&
           (!channel.high_band() || lnb_.high_khz != 0);
}

void Outdoor::unicable_message(std::span<const std::uint8_t> bytes) {
    if (UnicableUnit::asks_for_tones(bytes)) {
        unicable_->start_tones();
        ++changes_;
        return;
    }
    const auto request = unicable_->request_of(bytes);
    if (request && has_bank(request->channel)) {
        unicable_->follow(*request);
        ++changes_;
    }
}

void Outdoor::point_at(const broadcast::Satellite &satellite, unsigned port) {
    dishes_.at(port == 0 ? 0 : port - 1).emplace(satellite, defaults_);
    ++changes_;
}

void Outdoor::set_lnb(const broadcast::Lnb &lnb) {
    lnb_ = lnb;
    ++changes_;
}

std::uint32_t Outdoor::lnb_if_of(const broadcast::Transponder &transponder) const {
    const bool high = stacked() ? side_of(transponder.polarisation) == Side::volts_18
                                : has_high_band() && transponder.frequency_khz >= lnb_.switch_khz;
    const std::uint32_t lof_khz = high ? lnb_.high_khz : lnb_.low_khz;
    return transponder.frequency_khz > lof_khz ? transponder.frequency_khz - lof_khz
                                               : lof_khz - transponder.frequency_khz;
}

std::optional<std::uint32_t> Outdoor::if_of(const broadcast::Transponder &transponder) const {
    const std::uint32_t lnb_if_khz = lnb_if_of(transponder);
    if (!unicable_) {
        return lnb_if_khz;
    }
    const std::optional<double> output_khz = unicable_->best_output_khz(lnb_if_khz);
    return output_khz ? std::optional(static_cast<std::uint32_t>(std::lround(*output_khz)))
                      : std::nullopt;
}

const Sky *Outdoor::sky_at(unsigned port) const {
    constexpr unsigned unicable_positions = 2;
    const auto &dish = dishes_.at(port == 0 ? 0 : port - 1);
    return dish && !(unicable_ && port > unicable_positions) ? &*dish : nullptr;
}

unsigned Outdoor::port() const { return has_switch_ ? 1U + ((switch_lines_ >> 2) & 3U) : 0U; }

unsigned Outdoor::volts() const {
    if (supply_is_dead_ || !enabled_ || (has_lnbh23_ && (lnbh23_ & wiring::lnbh23_enable) == 0)) {
        return 0;
    }
    return (has_lnbh23_ ? (lnbh23_ & wiring::lnbh23_18v) != 0 : line_18v_) ? 18 : 13;
}

std::vector<Leg> Outdoor::unicable_legs() const {
    std::vector<Leg> legs;
    const double drift = lnb_.drift_khz + weather_.drift_khz;
    for (const UnicableUnit::Band &band : unicable_->bands()) {
        if (!band.channel) {
            continue;
        }
        const UserBandChannel &channel = *band.channel;
        legs.push_back(
            {sky_at(channel.position() + 1), channel.horizontal() ? Side::volts_18 : Side::volts_13,
             (channel.high_band() ? lnb_.high_khz : lnb_.low_khz) + drift,
             Conversion{channel.converter_khz, band.centre_khz, UnicableUnit::half_width_khz}});
    }
    return legs;
}

std::vector<Tone> Outdoor::tones() const {
    std::vector<Tone> tones;
    if (unicable_ && powered()) {
        for (const UnicableUnit::Band &band : unicable_->bands()) {
            if (band.tone) {
                tones.push_back({band.centre_khz, unicable_->tone_dbm()});
            }
        }
    }
    return tones;
}

std::vector<Leg> Outdoor::legs(Reason &reason, std::string &text) const {
    if (volts() == 0) {
        reason = Reason::no_supply;
        text = supply_is_dead_ ? "no signal: LNB supply dead" : "no signal: LNB supply off";
        return {};
    }
    if (weather_.cable_pulled) {
        reason = Reason::cable_pulled;
        text = "no signal: cable pulled";
        return {};
    }
    if (unicable_) {
        std::vector<Leg> legs = unicable_legs();
        if (legs.empty()) {
            reason = Reason::no_dish;
            text = "no signal: the Unicable unit was asked for no channel";
        }
        return legs;
    }
    const Sky *sky = sky_at(port());
    if (sky == nullptr) {
        reason = Reason::no_dish;
        text = has_switch_ ? fmt::format("no signal: nothing at port {} of the switch", port())
                           : "no signal: no dish";
        return {};
    }
    const double drift = lnb_.drift_khz + weather_.drift_khz;
    if (stacked()) {
        return {{sky, Side::volts_13, lnb_.low_khz + drift, {}},
                {sky, Side::volts_18, lnb_.high_khz + drift, {}}};
    }
    const bool high = has_high_band() && tone_;
    const Side side = volts() == 18 ? Side::volts_18 : Side::volts_13;
    return {{sky, side, (high ? lnb_.high_khz : lnb_.low_khz) + drift, {}}};
}

}  // namespace sim
