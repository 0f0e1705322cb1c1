// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace broadcast {

enum class System { dvbs, dvbs2 };

// A supply of 13 V selects vertical and right, 18 V horizontal and left.
enum class Polarisation { horizontal, vertical, left, right };

// Whether an LNB hears it at 18 V, not at 13 V.
bool is_selected_by_18v(Polarisation polarisation);

// Whether it is right or left.
bool is_circular(Polarisation polarisation);

enum class Modulation { qpsk, psk8, apsk16, apsk32 };

enum class CodeRate { r1_4, r1_3, r2_5, r1_2, r3_5, r2_3, r3_4, r4_5, r5_6, r7_8, r8_9, r9_10 };

enum class RollOff { r35, r25, r20 };

// One carrier of a satellite, as its operator describes it.
struct Transponder {
    std::uint32_t frequency_khz = 0;  // downlink
    Polarisation polarisation = Polarisation::horizontal;
    std::uint32_t symbol_rate = 0;  // sym/s
    System system = System::dvbs;
    Modulation modulation = Modulation::qpsk;
    std::optional<CodeRate> code_rate;  // absent: usual_code_rate
    RollOff roll_off = RollOff::r35;    // DVB-S has 35 % only
    bool pilots = false;                // DVB-S2 only
    bool inverted = false;              // spectrum, as transmitted
    std::optional<double> cn_db;        // in the symbol rate's bandwidth; absent: the scenario's
    std::optional<double> level_dbm;    // at the tuner's input; absent: the scenario's
    std::string source;                 // "file:row", for messages
};

struct Satellite {
    std::string name;
    std::vector<Transponder> transponders;
};

// What is on the air where a table says only "AUTO".
CodeRate usual_code_rate(System system, Modulation modulation);
CodeRate code_rate_of(const Transponder &transponder);

// "DVB-S2", "11494 H 22000 DVB-S2 8PSK 2/3".
std::string to_string(System system);
std::string to_string(Polarisation polarisation);
std::string to_string(Modulation modulation);
std::string to_string(CodeRate rate);
std::string to_string(RollOff roll_off);
std::string describe(const Transponder &transponder);

// "QPSK 3/4", or "QPSK" where the code rate is not known.
std::string modcod_name(const Transponder &transponder);

// The same with the code rate that a simulated world transmits where it is not known.
std::string modcod_on_air(const Transponder &transponder);

// The inverse of to_string, capitals or not; absent when the text names none. Code rates are
// written "3/4", polarisations also by their first letter.
std::optional<System> system_named(const std::string &text);
std::optional<Polarisation> polarisation_named(const std::string &text);
std::optional<Modulation> modulation_named(const std::string &text);
std::optional<CodeRate> code_rate_named(const std::string &text);

}  // namespace broadcast
