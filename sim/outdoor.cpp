// SPDX-License-Identifier: MIT
#include "sim/outdoor.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

namespace sim {

namespace {

constexpr std::uint64_t ns_per_ms = 1'000'000;

bool concerns_messages(const Fault &fault) {
    return fault.kind == Fault::Kind::lost_diseqc || fault.kind == Fault::Kind::stuck_switch;
}

}  // namespace

Outdoor::Outdoor(const Scenario &scenario, Watch &watch)
    : watch_(&watch),
      defaults_{scenario.cn_db, scenario.level_dbm, scenario.cross_polarisation_db,
                scenario.level_spread_db, scenario.seed},
      supply_(scenario, watch),
      tones_(scenario.tones),
      lnb_(scenario.lnb) {
    if (!scenario.diseqc_switch) {
        if (!scenario.satellites.empty()) {
            dishes_[0].emplace(scenario.satellites.front(), defaults_);
        }
    } else {
        switch_.emplace(*scenario.diseqc_switch);
        wakes_ns_ = scenario.diseqc_switch->wakes_ms * ns_per_ms;
        const auto &ports = scenario.diseqc_switch->ports;
        for (std::size_t i = 0; i < std::min(ports.size(), dishes_.size()); ++i) {
            if (ports[i]) {
                dishes_.at(i).emplace(scenario.satellites.at(*ports[i]), defaults_);
            }
        }
    }
    if (scenario.unicable) {
        unicable_.emplace(*scenario.unicable);
        wakes_ns_ = scenario.unicable->wakes_ms * ns_per_ms;
    }
    std::copy_if(scenario.faults.begin(), scenario.faults.end(),
                 std::back_inserter(message_faults_), concerns_messages);
}

void Outdoor::supply_changed(std::uint64_t now_ns) {
    ++changes_;
    const unsigned volts_now = powered() ? volts() : 0;
    if (volts_now == volts_before_) {
        return;
    }
    if (volts_before_ == 0) {
        powered_since_ns_ = now_ns;
    }
    judge_held_voltage(now_ns);
    volts_before_ = volts_now;
    volts_since_ns_ = now_ns;
    if (volts_now == 0) {
        if (switch_) {
            switch_->lose_supply();
        }
        if (unicable_) {
            unicable_->power_off();
        }
        installs_ = false;
    }
}

void Outdoor::note_way(std::uint64_t now_ns) {
    const Way now{volts(), port(), switch_ ? switch_->choice() : std::nullopt, tone()};
    if (!unicable_ && now != way_) {
        way_ = now;
        way_ns_ = now_ns;
    }
}

void Outdoor::set_supply_enable(bool on, std::uint64_t now_ns) {
    supply_.set_enable(on, now_ns);
    supply_changed(now_ns);
    note_way(now_ns);
}

void Outdoor::set_supply_18v(bool on, std::uint64_t now_ns) {
    supply_.set_18v(on, now_ns);
    supply_changed(now_ns);
    note_way(now_ns);
}

void Outdoor::set_tone(bool on, std::uint64_t now_ns) {
    changes_ += on != tone_ ? 1 : 0;
    tone_ = on;
    note_way(now_ns);
}

void Outdoor::set_lnbh23(std::uint8_t control, std::uint64_t now_ns) {
    supply_.set_lnbh23(control, now_ns);
    supply_changed(now_ns);
    note_way(now_ns);
}

void Outdoor::set_weather(const Weather &weather, std::uint64_t now_ns) {
    weather_ = weather;
    supply_.set_shorted(weather.cable_shorted);
    supply_changed(now_ns);
}

void Outdoor::brown_out(std::uint64_t now_ns) {
    set_tone(false, now_ns);
    supply_.lose_control();
    supply_changed(now_ns);
}

bool Outdoor::has_bank(const UserBandChannel &channel) const {
    return dishes_.at(channel.position()).has_value() &&
           (!channel.high_band() || lnb_.high_khz != 0);
}

void Outdoor::change_modcod(const Event &event) {
    for (std::optional<Sky> &dish : dishes_) {
        if (dish) {
            dish->change_modcod(event.frequency_khz, event.polarisation, event.modulation,
                                event.code_rate);
        }
    }
    ++changes_;
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

Tone Outdoor::test_tone(const UnicableUnit::Band &band) const {
    const auto own = std::find_if(tones_.begin(), tones_.end(), [&band](const ToneSetup &setup) {
        return setup.band == band.index;
    });
    return own == tones_.end()
               ? Tone{band.centre_khz, unicable_->tone_dbm(), {}, *band.tone_from_ns}
               : Tone{band.centre_khz, own->dbm, own->habit, *band.tone_from_ns};
}

std::vector<Tone> Outdoor::tones() const {
    std::vector<Tone> tones;
    if (unicable_ && powered()) {
        for (const UnicableUnit::Band &band : unicable_->bands()) {
            if (band.tone_from_ns) {
                tones.push_back(test_tone(band));
            }
        }
    }
    for (const ToneSetup &other : tones_) {
        if (!other.band) {
            tones.push_back({other.mhz * 1000, other.dbm, other.habit});
        }
    }
    return tones;
}

std::vector<Leg> Outdoor::direct_legs(const Sky &sky) const {
    const double drift = lnb_.drift_khz + weather_.drift_khz;
    if (stacked()) {
        return {{&sky, Side::volts_13, lnb_.low_khz + drift, {}},
                {&sky, Side::volts_18, lnb_.high_khz + drift, {}}};
    }
    const auto told = switch_ ? switch_->choice() : std::nullopt;
    const bool high = has_high_band() && (told ? told->high_band : tone());
    const bool volts_18 = told ? told->volts_18 : volts() == 18;
    return {{&sky,
             volts_18 ? Side::volts_18 : Side::volts_13,
             (high ? lnb_.high_khz : lnb_.low_khz) + drift,
             {}}};
}

std::vector<Leg> Outdoor::legs(Reason &reason, std::string &text) const {
    if (volts() == 0) {
        reason = Reason::no_supply;
        text = supply_.is_dead()       ? "no signal: LNB supply dead"
               : supply_.has_tripped() ? "no signal: LNB supply tripped by a short circuit"
                                       : "no signal: LNB supply off";
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
        text = switch_ ? fmt::format("no signal: nothing at port {} of the switch", port())
                       : "no signal: no dish";
        return {};
    }
    return direct_legs(*sky);
}

}  // namespace sim
