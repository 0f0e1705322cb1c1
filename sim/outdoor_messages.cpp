// SPDX-License-Identifier: MIT

// What the devices on the cable make of DiSEqC messages, and what is wrong with these.

#include <fmt/format.h>

#include <algorithm>

#include "sim/diseqc_message.h"
#include "sim/outdoor.h"

namespace sim {

namespace {

constexpr std::uint64_t ns_per_message_byte = 13'500'000;

// Tone and band of a switch message belong together when they follow each other so closely.
constexpr std::uint64_t same_change_ns = 100'000'000;

// EN 50494, "Bus timing": the rise to 18 V comes 4 ms before the message or earlier, and the fall
// 60 ms after it. Units and other receivers bear more; after a second a viewer sees it.
constexpr std::uint64_t rise_before_ns = 4'000'000;
constexpr std::uint64_t longest_turn_ns = 1'000'000'000;

double ms_of(std::uint64_t ns) { return static_cast<double>(ns) * 1e-6; }

}  // namespace

bool Outdoor::is_hit(Fault::Kind kind) const {
    return std::any_of(message_faults_.begin(), message_faults_.end(), [&](const Fault &fault) {
        return fault.kind == kind && fault.meets(messages_.size());
    });
}

bool Outdoor::is_awake(std::uint64_t at_ns) const {
    return powered() && at_ns >= powered_since_ns_ + wakes_ns_;
}

void Outdoor::complain_of(Offence offence, const SentMessage &sent, const std::string &text) {
    watch_->complain(offence, sent.from_ns, fmt::format("{}: {}", hex_of(sent.bytes), text));
}

void Outdoor::master_set_up(std::uint8_t output, std::optional<bool> tone, std::uint64_t now_ns) {
    supply_.compare_with_master(output, now_ns);
    if (!tone || !told_high_band_) {
        return;
    }
    if (*told_high_band_ != *tone && now_ns - told_ns_ < same_change_ns) {
        watch_->complain(
            Offence::switch_disagreement, now_ns,
            fmt::format("{} was told the {} band, the tone is {}", hex_of(messages_.back()),
                        *told_high_band_ ? "high" : "low", *tone ? "on" : "off"));
    }
    told_high_band_.reset();
}

void Outdoor::master_sends(std::uint64_t from_ns, std::uint64_t to_ns) {
    sends_from_ns_ = from_ns;
    sends_to_ns_ = to_ns;
    collided_ = false;
}

void Outdoor::judge(const SentMessage &sent) {
    const std::string fault = fault_of_form(sent.bytes, sent.listens);
    if (!fault.empty()) {
        complain_of(Offence::message_framing, sent, fault);
    } else if (is_repetition(sent.bytes[0]) && !repeats_the_last(sent.bytes)) {
        complain_of(Offence::message_framing, sent, "repeats a message that was not sent");
    }
    if (supply_.asked_volts() == 0) {
        complain_of(Offence::message_unheard, sent, "the LNB supply is off");
    } else if (!sent.reaches_cable || !supply_.passes_tone()) {
        complain_of(Offence::message_unheard, sent, "its 22 kHz did not reach the cable");
    } else if ((switch_ || unicable_) && powered() && !is_awake(sent.from_ns)) {
        complain_of(Offence::message_unheard, sent,
                    fmt::format("{:.1f} ms after the supply came, {:.0f} ms are needed",
                                ms_of(sent.from_ns - std::min(sent.from_ns, powered_since_ns_)),
                                ms_of(wakes_ns_)));
    } else if (powered() && volts_since_ns_ > sent.from_ns) {
        complain_of(Offence::message_cut, sent,
                    fmt::format("the supply changed to {} V in the middle of it", volts()));
    }
    judge_choice(sent);
}

bool Outdoor::repeats_the_last(std::span<const std::uint8_t> bytes) const {
    return !messages_.empty() && is_repetition_of(bytes, messages_.back());
}

void Outdoor::judge_choice(const SentMessage &sent) {
    const auto choice = CommittedSwitch::choice_in(sent.bytes);
    if (!choice || !switch_) {
        return;
    }
    const unsigned volts_told = choice->volts_18 ? 18 : 13;
    const unsigned volts_asked = supply_.asked_volts();
    if (volts_asked != 0 && volts_told != volts_asked) {
        complain_of(Offence::switch_disagreement, sent,
                    fmt::format("names {} V, the supply gives {} V", volts_told, volts_asked));
    }
    told_high_band_ = choice->high_band;
    told_ns_ = sent.to_ns;
}

bool Outdoor::is_heard(const SentMessage &sent) {
    return sent.audible() && supply_.passes_tone() && is_awake(sent.from_ns) &&
           volts_since_ns_ <= sent.from_ns && !collided_ && !is_hit(Fault::Kind::lost_diseqc);
}

std::vector<std::uint8_t> Outdoor::message(const SentMessage &sent) {
    judge(sent);
    if (!sent.reaches_cable) {
        return {};
    }
    messages_.emplace_back(sent.bytes.begin(), sent.bytes.end());
    if (unicable_ && UnicableUnit::is_command(sent.bytes) && !voltage_suits_unicable(sent)) {
        return {};
    }
    return is_heard(sent) ? obey(sent.bytes, is_hit(Fault::Kind::stuck_switch), sent.to_ns)
                          : std::vector<std::uint8_t>{};
}

void Outdoor::burst(bool b, bool stands_apart, std::uint64_t from_ns) {
    if (stands_apart) {
        last_burst_ = b ? 'B' : 'A';
    }
    if (switch_ && stands_apart && supply_.passes_tone() && is_awake(from_ns)) {
        switch_->hear_burst(b);
        ++changes_;
        note_way(from_ns);
    }
}

void Outdoor::foreign_message(std::span<const std::uint8_t> bytes, std::uint64_t now_ns) {
    const std::uint64_t end_ns = now_ns + bytes.size() * ns_per_message_byte;
    if (now_ns < sends_to_ns_ && end_ns > sends_from_ns_) {
        collided_ = true;
    } else if (powered()) {
        obey(bytes, false, end_ns);
    }
}

std::vector<std::uint8_t> Outdoor::obey(std::span<const std::uint8_t> bytes, bool stuck,
                                        std::uint64_t now_ns) {
    if (unicable_) {
        unicable_message(bytes, now_ns);
        return {};
    }
    if (!switch_) {
        return {};
    }
    ++changes_;
    std::vector<std::uint8_t> reply = switch_->obey(bytes, stuck);
    note_way(now_ns);
    return reply;
}

bool Outdoor::voltage_suits_unicable(const SentMessage &sent) {
    judge_held_voltage(sent.from_ns);
    commanded_ns_ = sent.to_ns;
    const bool high = supply_.asked_volts() == 18;
    const bool in_time = sent.from_ns >= volts_since_ns_ + rise_before_ns;
    if (!high || !in_time) {
        complain_of(Offence::unicable_voltage, sent,
                    !high ? fmt::format("sent at {} V", supply_.asked_volts())
                          : fmt::format("{:.1f} ms after the supply rose to 18 V",
                                        ms_of(sent.from_ns - volts_since_ns_)));
    }
    return high && in_time;
}

void Outdoor::judge_held_voltage(std::uint64_t now_ns) {
    const bool had_a_turn = unicable_ && volts_before_ == 18 && commanded_ns_ > volts_since_ns_;
    if (had_a_turn && !installs_ && now_ns > commanded_ns_ + longest_turn_ns) {
        watch_->complain(Offence::unicable_voltage, now_ns,
                         fmt::format("18 V kept for {:.0f} ms after a command, in which no other "
                                     "receiver on the cable can ask for a channel",
                                     ms_of(now_ns - commanded_ns_)));
    }
}

void Outdoor::unicable_message(std::span<const std::uint8_t> bytes, std::uint64_t now_ns) {
    if (UnicableUnit::asks_for_tones(bytes)) {
        installs_ = true;
        unicable_->start_tones(now_ns);
        ++changes_;
        return;
    }
    const auto request = unicable_->request_of(bytes);
    if (request && has_bank(request->channel)) {
        unicable_->follow(*request);
        ++changes_;
    }
}

}  // namespace sim
