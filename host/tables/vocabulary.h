// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <array>
#include <optional>
#include <span>
#include <string_view>

#include "broadcast/transponder.h"
#include "host/terminal/same_word.h"

namespace host {

// The words that stand behind the keys of a DVBv5 table, and what they say of a transponder.
enum class Sense {
    value,    // how it is transmitted
    open,     // nothing: the receiver is to find out
    foreign,  // how no satellite transmits
};

template <typename Value>
struct Word {
    std::string_view text = {};
    Sense sense = Sense::open;
    Value value = {};

    [[nodiscard]] Value value_or(Value other) const {
        return sense == Sense::value ? value : other;
    }
};

template <typename Value>
struct Key {
    std::string_view name;
    std::span<const Word<Value>> words;

    // The word that is written so, in capitals or not; null when the key has no such word.
    [[nodiscard]] const Word<Value> *find(std::string_view text) const {
        const auto found = std::find_if(words.begin(), words.end(), [text](const auto &word) {
            return same_word(word.text, text);
        });
        return found == words.end() ? nullptr : &*found;
    }

    // How a value is written. What is absent or has no word is left open.
    [[nodiscard]] std::string_view text_of(std::optional<Value> value) const {
        std::string_view open;
        for (const Word<Value> &word : words) {
            if (word.sense == Sense::value && word.value == value) {
                return word.text;
            }
            if (word.sense == Sense::open && open.empty()) {
                open = word.text;
            }
        }
        return open;
    }
};

// clang-format off
namespace words {

using broadcast::CodeRate;
using broadcast::Modulation;
using broadcast::Polarisation;
using broadcast::RollOff;
using broadcast::System;

inline constexpr auto delivery_systems = std::to_array<Word<System>>({
    {"DVBS",         Sense::value, System::dvbs},
    {"DVBS2",        Sense::value, System::dvbs2},
    {"UNDEFINED",    Sense::foreign},
    {"DVBC/ANNEX_A", Sense::foreign},
    {"DVBC/ANNEX_B", Sense::foreign},
    {"DVBC/ANNEX_C", Sense::foreign},
    {"DVBT",         Sense::foreign},
    {"DVBT2",        Sense::foreign},
    {"DVBH",         Sense::foreign},
    {"DSS",          Sense::foreign},
    {"ISDBT",        Sense::foreign},
    {"ISDBS",        Sense::foreign},
    {"ISDBC",        Sense::foreign},
    {"ATSC",         Sense::foreign},
    {"ATSCMH",       Sense::foreign},
    {"DTMB",         Sense::foreign},
    {"CMMB",         Sense::foreign},
    {"DAB",          Sense::foreign},
    {"TURBO",        Sense::foreign},
});

inline constexpr auto polarisations = std::to_array<Word<Polarisation>>({
    {"HORIZONTAL", Sense::value, Polarisation::horizontal},
    {"VERTICAL",   Sense::value, Polarisation::vertical},
    {"LEFT",       Sense::value, Polarisation::left},
    {"RIGHT",      Sense::value, Polarisation::right},
    {"OFF",        Sense::open},
});

inline constexpr auto modulations = std::to_array<Word<Modulation>>({
    {"QPSK",     Sense::value, Modulation::qpsk},
    {"PSK/8",    Sense::value, Modulation::psk8},
    {"APSK/16",  Sense::value, Modulation::apsk16},
    {"APSK/32",  Sense::value, Modulation::apsk32},
    {"QAM/AUTO", Sense::open},
    {"QAM/4_NR", Sense::foreign},
    {"QAM/16",   Sense::foreign},
    {"QAM/32",   Sense::foreign},
    {"QAM/64",   Sense::foreign},
    {"QAM/128",  Sense::foreign},
    {"QAM/256",  Sense::foreign},
    {"VSB/8",    Sense::foreign},
    {"VSB/16",   Sense::foreign},
    {"DQPSK",    Sense::foreign},
});

inline constexpr auto code_rates = std::to_array<Word<CodeRate>>({
    {"2/5",  Sense::value, CodeRate::r2_5},
    {"1/2",  Sense::value, CodeRate::r1_2},
    {"3/5",  Sense::value, CodeRate::r3_5},
    {"2/3",  Sense::value, CodeRate::r2_3},
    {"3/4",  Sense::value, CodeRate::r3_4},
    {"4/5",  Sense::value, CodeRate::r4_5},
    {"5/6",  Sense::value, CodeRate::r5_6},
    {"7/8",  Sense::value, CodeRate::r7_8},
    {"8/9",  Sense::value, CodeRate::r8_9},
    {"9/10", Sense::value, CodeRate::r9_10},
    {"AUTO", Sense::open},
    {"NONE", Sense::open},
    {"6/7",  Sense::foreign},
});

inline constexpr auto roll_offs = std::to_array<Word<RollOff>>({
    {"35",   Sense::value, RollOff::r35},
    {"25",   Sense::value, RollOff::r25},
    {"20",   Sense::value, RollOff::r20},
    {"AUTO", Sense::open},
});

inline constexpr auto switches = std::to_array<Word<bool>>({
    {"ON",   Sense::value, true},
    {"OFF",  Sense::value, false},
    {"AUTO", Sense::open},
});

}  // namespace words
// clang-format on

// The keys with words. Those of other ways to transmit say nothing about a satellite's transponder.
inline constexpr Key<broadcast::System> delivery_system_key{"DELIVERY_SYSTEM",
                                                            words::delivery_systems};
inline constexpr Key<broadcast::Polarisation> polarisation_key{"POLARIZATION",
                                                               words::polarisations};
inline constexpr Key<broadcast::Modulation> modulation_key{"MODULATION", words::modulations};
inline constexpr Key<broadcast::CodeRate> code_rate_key{"INNER_FEC", words::code_rates};
inline constexpr Key<broadcast::RollOff> roll_off_key{"ROLLOFF", words::roll_offs};
inline constexpr Key<bool> pilot_key{"PILOT", words::switches};
inline constexpr Key<bool> inversion_key{"INVERSION", words::switches};

// The other keys: whole numbers, and the name of an LNB.
inline constexpr std::string_view frequency_key = "FREQUENCY";
inline constexpr std::string_view symbol_rate_key = "SYMBOL_RATE";
inline constexpr std::string_view satellite_key = "SAT_NUMBER";
inline constexpr std::string_view lnb_key = "LNB";
inline constexpr std::string_view stream_key = "STREAM_ID";
inline constexpr std::string_view bandwidth_key = "BANDWIDTH_HZ";

}  // namespace host
