// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "sim/committed_switch.h"
#include "sim/lnb_supply.h"
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
    ToneHabit habit = {};
    std::uint64_t from_ns = 0;
};

// What the weather and the cable do at a moment.
struct Weather {
    double fade_db = 0;
    double noise_db = 0;  // how much more of it comes from the LNB
    std::int32_t drift_khz = 0;
    bool cable_pulled = false;
    bool cable_shorted = false;
};

// A message that the master put on the cable.
struct SentMessage {
    std::span<const std::uint8_t> bytes;
    std::uint64_t from_ns = 0;  // its first bit
    std::uint64_t to_ns = 0;
    bool listens = false;       // the master waits for a reply
    bool reaches_cable = true;  // its 22 kHz does
    bool stands_apart = true;   // with silence before it
    [[nodiscard]] bool audible() const { return reaches_cable && stands_apart; }
};

// Everything between the sky and the receiver's socket: dishes, LNBs, the switch, the cable and the
// board's LNB supply.
//
// A device on the cable hears nothing until it is awake, and nothing of a message during which its
// voltage changed, that another receiver's message ran into, or that had no silence before it.
// A Unicable unit takes the switch's place: its user bands are on the cable, nothing else, and the
// supply's voltage and tone choose nothing. It hears only commands that are sent at 18 V, 4 ms
// after it rose or later (EN 50494, "Bus timing"): the voltage tells whose turn it is. A receiver
// that keeps 18 V takes everybody else's turn.
class Outdoor {
 public:
    Outdoor(const Scenario &scenario, Watch &watch);

    void set_supply_enable(bool on, std::uint64_t now_ns);
    void set_supply_18v(bool on, std::uint64_t now_ns);
    void set_lnbh23(std::uint8_t control, std::uint64_t now_ns);
    void set_tone(bool on, std::uint64_t now_ns);
    void set_weather(const Weather &weather, std::uint64_t now_ns);
    void brown_out(std::uint64_t now_ns);

    // The driver has told the master to do something, 0xA2 holding `output`; `tone` when it chose
    // between the continuous tone and none.
    void master_set_up(std::uint8_t output, std::optional<bool> tone, std::uint64_t now_ns);
    // The master was told to send a message in that time, which may be none.
    void master_sends(std::uint64_t from_ns, std::uint64_t to_ns);

    // A message went out on the cable. Returns the reply of a switch that gives one.
    std::vector<std::uint8_t> message(const SentMessage &sent);
    void burst(bool b, bool stands_apart, std::uint64_t from_ns);

    // Another receiver on the cable begins to send a message.
    void foreign_message(std::span<const std::uint8_t> bytes, std::uint64_t now_ns);

    // A transponder of whichever dish changes its modulation and code rate.
    void change_modcod(const Event &event);

    void point_at(const broadcast::Satellite &satellite, unsigned port);
    void set_lnb(const broadcast::Lnb &lnb);

    // Grows whenever what is on the cable may have changed.
    [[nodiscard]] std::uint64_t changes() const { return changes_; }

    // When voltage, tone or switch last led another way to the sky. The weather leads nowhere, and
    // to a Unicable unit all of them are one.
    [[nodiscard]] std::uint64_t way_ns() const { return way_ns_; }
    // Of the last burst that could be heard: 'A' or 'B'.
    [[nodiscard]] std::optional<char> last_burst() const { return last_burst_; }

    // Where a carrier lies behind the oscillator that is meant for it, without drift.
    [[nodiscard]] std::uint32_t lnb_if_of(const broadcast::Transponder &transponder) const;

    // Where it lies on the cable: there, or with a Unicable unit in the user band that suits it
    // best. Absent when no user band can carry it.
    [[nodiscard]] std::optional<std::uint32_t> if_of(
        const broadcast::Transponder &transponder) const;

    // What is on the cable; empty with the reason in `reason` and `text`.
    [[nodiscard]] std::vector<Leg> legs(Reason &reason, std::string &text) const;

    // Test tones on the cable, and carriers that only look like some.
    [[nodiscard]] std::vector<Tone> tones() const;

    // Null where there is no dish, or one that the Unicable unit cannot choose.
    [[nodiscard]] const Sky *sky_at(unsigned port) const;
    [[nodiscard]] unsigned volts() const { return supply_.volts(); }
    [[nodiscard]] bool supply_is_off() const { return supply_.is_off(); }
    [[nodiscard]] std::uint8_t lnbh23_status() const { return supply_.status(); }
    [[nodiscard]] bool tone() const { return tone_ && supply_.passes_tone(); }
    [[nodiscard]] unsigned port() const { return switch_ ? switch_->port() : 0; }
    [[nodiscard]] const broadcast::Lnb &lnb() const { return lnb_; }
    [[nodiscard]] const Weather &weather() const { return weather_; }
    [[nodiscard]] const std::vector<std::vector<std::uint8_t>> &messages() const {
        return messages_;
    }

 private:
    [[nodiscard]] bool powered() const { return volts() != 0 && !weather_.cable_pulled; }
    [[nodiscard]] bool is_hit(Fault::Kind kind) const;
    // What leads to a part of the sky.
    struct Way {
        unsigned volts = 0;
        unsigned port = 0;
        std::optional<CommittedSwitch::Choice> told = {};
        bool tone = false;
        bool operator==(const Way &) const = default;
    };

    void note_way(std::uint64_t now_ns);
    [[nodiscard]] bool repeats_the_last(std::span<const std::uint8_t> bytes) const;
    void supply_changed(std::uint64_t now_ns);
    [[nodiscard]] bool is_awake(std::uint64_t at_ns) const;
    void judge(const SentMessage &sent);
    [[nodiscard]] bool is_heard(const SentMessage &sent);
    void complain_of(Offence offence, const SentMessage &sent, const std::string &text);
    void judge_choice(const SentMessage &sent);
    std::vector<std::uint8_t> obey(std::span<const std::uint8_t> bytes, bool stuck,
                                   std::uint64_t now_ns);
    [[nodiscard]] bool voltage_suits_unicable(const SentMessage &sent);
    void unicable_message(std::span<const std::uint8_t> bytes, std::uint64_t now_ns);
    void judge_held_voltage(std::uint64_t now_ns);
    [[nodiscard]] bool has_bank(const UserBandChannel &channel) const;
    [[nodiscard]] std::vector<Leg> unicable_legs() const;
    [[nodiscard]] Tone test_tone(const UnicableUnit::Band &band) const;
    [[nodiscard]] std::vector<Leg> direct_legs(const Sky &sky) const;
    [[nodiscard]] bool stacked() const { return lnb_.high_khz != 0 && lnb_.switch_khz == 0; }
    [[nodiscard]] bool has_high_band() const { return lnb_.high_khz != 0 && !lnb_.ignores_tone; }

    Watch *watch_;
    Sky::Defaults defaults_;
    LnbSupply supply_;
    std::optional<CommittedSwitch> switch_;
    std::uint64_t wakes_ns_ = 0;
    std::array<std::optional<Sky>, 4> dishes_;
    std::optional<UnicableUnit> unicable_;
    std::vector<ToneSetup> tones_;
    std::vector<Fault> message_faults_;
    broadcast::Lnb lnb_;
    Weather weather_;
    bool tone_ = false;
    Way way_;
    std::uint64_t way_ns_ = 0;
    std::optional<char> last_burst_;
    unsigned volts_before_ = 0;
    std::uint64_t powered_since_ns_ = 0;
    std::uint64_t volts_since_ns_ = 0;
    std::uint64_t sends_from_ns_ = 0;
    std::uint64_t sends_to_ns_ = 0;
    bool collided_ = false;
    std::optional<bool> told_high_band_;
    std::uint64_t told_ns_ = 0;
    std::uint64_t commanded_ns_ = 0;
    bool installs_ = false;
    std::uint64_t changes_ = 0;
    std::vector<std::vector<std::uint8_t>> messages_;
};

}  // namespace sim
