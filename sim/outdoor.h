// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "sim/scenario.h"
#include "sim/sky.h"
#include "sim/unicable.h"
#include "sim/verdict.h"

namespace sim {

// A Unicable unit's conversion of a stretch: what lies at an intermediate frequency comes out at
// the converter's oscillator less it, within the user band's filter.
struct Conversion {
    double converter_khz = 0;
    double centre_khz = 0;
    double half_width_khz = 0;
};

// One stretch of the sky as it lies on the cable: frequencies reduced by the oscillator, or
// mirrored below it; through a Unicable unit once more below the converter.
struct Leg {
    const Sky *sky = nullptr;
    Side side = Side::volts_13;
    double lof_khz = 0;
    std::optional<Conversion> conversion = {};
};

// A carrier without modulation on the cable.
struct Tone {
    double khz = 0;
    double level_dbm = 0;
};

// What the weather and the cable do at a moment.
struct Weather {
    double fade_db = 0;
    std::int32_t drift_khz = 0;
    bool cable_pulled = false;
};

// Everything between the sky and the receiver's socket: dishes, LNBs, the committed switch, the
// cable and the board's LNB supply.
//
// The supply: GPIO line 6 enables it, line 7 selects 18 V; with an LNBH23 its control byte selects
// the voltage (bit 3) and must enable the output too (bit 2). The voltage bits of the demodulator's
// DiSEqC master are not wired on this board.
// The switch: wakes up on port 1 when the supply comes, obeys E0..E3 <10 14 15 00> 38 <data>, where
// data bits 7..4 clear and bits 3..0 set the four switch lines, bits 3..2 the port (DiSEqC bus
// specification 4.2, table "Committed switches").
// A Unicable unit takes the switch's place: its user bands are on the cable, nothing else, and the
// supply's voltage and tone choose nothing.
class Outdoor {
 public:
    explicit Outdoor(const Scenario &scenario);

    void set_supply_enable(bool on);
    void set_supply_18v(bool on);
    void set_lnbh23(std::uint8_t control);
    void set_tone(bool on);
    void set_weather(const Weather &weather);
    void brown_out();

    // A message went out on the cable. Returns the reply of a switch that gives one.
    std::vector<std::uint8_t> message(std::span<const std::uint8_t> bytes);

    // Another receiver on the cable sent a message.
    void foreign_message(std::span<const std::uint8_t> bytes);

    void point_at(const broadcast::Satellite &satellite, unsigned port);
    void set_lnb(const broadcast::Lnb &lnb);

    // Grows whenever what is on the cable may have changed.
    [[nodiscard]] std::uint64_t changes() const { return changes_; }

    // Where a carrier lies behind the oscillator that is meant for it, without drift.
    [[nodiscard]] std::uint32_t lnb_if_of(const broadcast::Transponder &transponder) const;

    // Where it lies on the cable: there, or with a Unicable unit in the user band that suits it
    // best. Absent when no user band can carry it.
    [[nodiscard]] std::optional<std::uint32_t> if_of(
        const broadcast::Transponder &transponder) const;

    // What is on the cable; empty with the reason in `reason` and `text`.
    [[nodiscard]] std::vector<Leg> legs(Reason &reason, std::string &text) const;

    // Test tones on the cable.
    [[nodiscard]] std::vector<Tone> tones() const;

    // Null where there is no dish, or one that the Unicable unit cannot choose.
    [[nodiscard]] const Sky *sky_at(unsigned port) const;
    [[nodiscard]] unsigned volts() const;
    [[nodiscard]] bool tone() const { return tone_; }
    [[nodiscard]] unsigned port() const;
    [[nodiscard]] const broadcast::Lnb &lnb() const { return lnb_; }
    [[nodiscard]] const Weather &weather() const { return weather_; }
    [[nodiscard]] const std::vector<std::vector<std::uint8_t>> &messages() const {
        return messages_;
    }

 private:
    [[nodiscard]] bool message_is_lost() const;
    [[nodiscard]] bool powered() const { return volts() != 0 && !weather_.cable_pulled; }
    std::vector<std::uint8_t> obey(std::span<const std::uint8_t> bytes);
    void unicable_message(std::span<const std::uint8_t> bytes);
    [[nodiscard]] bool has_bank(const UserBandChannel &channel) const;
    [[nodiscard]] std::vector<Leg> unicable_legs() const;
    void supply_changed();
    [[nodiscard]] bool stacked() const { return lnb_.high_khz != 0 && lnb_.switch_khz == 0; }
    [[nodiscard]] bool has_high_band() const { return lnb_.high_khz != 0 && !lnb_.ignores_tone; }

    Sky::Defaults defaults_;
    bool has_lnbh23_;
    bool supply_is_dead_ = false;
    bool switch_replies_;
    bool has_switch_;
    std::array<std::optional<Sky>, 4> dishes_;
    std::optional<UnicableUnit> unicable_;
    std::vector<Fault> message_faults_;
    broadcast::Lnb lnb_;
    Weather weather_;
    bool enabled_ = false;
    bool line_18v_ = false;
    std::uint8_t lnbh23_ = 0;
    bool tone_ = false;
    std::uint8_t switch_lines_ = 0;
    std::uint64_t changes_ = 0;
    std::vector<std::vector<std::uint8_t>> messages_;
};

}  // namespace sim
