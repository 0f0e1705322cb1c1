// SPDX-License-Identifier: MIT
#include "broadcast/modcod.h"

#include <array>

#include "broadcast/arithmetic.h"

namespace broadcast {

namespace {

struct Threshold {
    CodeRate rate;
    double db;
};

// Es/N0, EN 302 307-1 table 13.
constexpr std::array s2_qpsk{Threshold{CodeRate::r1_4, -2.35}, Threshold{CodeRate::r1_3, -1.24},
                             Threshold{CodeRate::r2_5, -0.30}, Threshold{CodeRate::r1_2, 1.00},
                             Threshold{CodeRate::r3_5, 2.23},  Threshold{CodeRate::r2_3, 3.10},
                             Threshold{CodeRate::r3_4, 4.03},  Threshold{CodeRate::r4_5, 4.68},
                             Threshold{CodeRate::r5_6, 5.18},  Threshold{CodeRate::r8_9, 6.20},
                             Threshold{CodeRate::r9_10, 6.42}};
constexpr std::array s2_psk8{Threshold{CodeRate::r3_5, 5.50},  Threshold{CodeRate::r2_3, 6.62},
                             Threshold{CodeRate::r3_4, 7.91},  Threshold{CodeRate::r5_6, 9.35},
                             Threshold{CodeRate::r8_9, 10.69}, Threshold{CodeRate::r9_10, 10.98}};
constexpr std::array s2_apsk16{Threshold{CodeRate::r2_3, 8.97},  Threshold{CodeRate::r3_4, 10.21},
                               Threshold{CodeRate::r4_5, 11.03}, Threshold{CodeRate::r5_6, 11.61},
                               Threshold{CodeRate::r8_9, 12.89}, Threshold{CodeRate::r9_10, 13.13}};
constexpr std::array s2_apsk32{Threshold{CodeRate::r3_4, 12.73}, Threshold{CodeRate::r4_5, 13.64},
                               Threshold{CodeRate::r5_6, 14.28}, Threshold{CodeRate::r8_9, 15.69},
                               Threshold{CodeRate::r9_10, 16.05}};

// Eb/N0, EN 300 421 table 3.
constexpr std::array s_qpsk{Threshold{CodeRate::r1_2, 4.5}, Threshold{CodeRate::r2_3, 5.0},
                            Threshold{CodeRate::r3_4, 5.5}, Threshold{CodeRate::r5_6, 6.0},
                            Threshold{CodeRate::r7_8, 6.4}};

// Outer code of DVB-S: Reed-Solomon (204, 188).
constexpr double reed_solomon = 188.0 / 204.0;

template <std::size_t count>
std::optional<double> find(const std::array<Threshold, count> &rows, CodeRate rate) {
    for (const Threshold &row : rows) {
        if (row.rate == rate) {
            return row.db;
        }
    }
    return std::nullopt;
}

std::optional<double> dvbs2_threshold_db(Modulation modulation, CodeRate rate) {
    switch (modulation) {
        case Modulation::qpsk:
            return find(s2_qpsk, rate);
        case Modulation::psk8:
            return find(s2_psk8, rate);
        case Modulation::apsk16:
            return find(s2_apsk16, rate);
        case Modulation::apsk32:
            return find(s2_apsk32, rate);
    }
    return std::nullopt;
}

}  // namespace

unsigned bits_per_symbol(Modulation modulation) { return 2U + static_cast<unsigned>(modulation); }

double value_of(CodeRate rate) {
    constexpr std::array values{1.0 / 4, 1.0 / 3, 2.0 / 5, 1.0 / 2, 3.0 / 5, 2.0 / 3,
                                3.0 / 4, 4.0 / 5, 5.0 / 6, 7.0 / 8, 8.0 / 9, 9.0 / 10};
    return values.at(static_cast<std::size_t>(rate));
}

std::optional<double> threshold_db(System system, Modulation modulation, CodeRate rate) {
    if (system == System::dvbs2) {
        return dvbs2_threshold_db(modulation, rate);
    }
    const std::optional<double> eb_n0 =
        modulation == Modulation::qpsk ? find(s_qpsk, rate) : std::nullopt;
    if (!eb_n0) {
        return std::nullopt;
    }
    return *eb_n0 + to_db(2.0 * value_of(rate) * reed_solomon);
}

std::optional<double> threshold_db(const Transponder &transponder) {
    return threshold_db(transponder.system, transponder.modulation, code_rate_of(transponder));
}

std::uint32_t frame_symbols(Modulation modulation, bool pilots) {
    constexpr std::uint32_t frame_bits = 64800;
    constexpr std::uint32_t slot_symbols = 90;
    constexpr std::uint32_t pilot_symbols = 36;  // after every 16th slot
    const std::uint32_t slots = frame_bits / bits_per_symbol(modulation) / slot_symbols;
    return slot_symbols * (slots + 1) + (pilots ? pilot_symbols * ((slots - 1) / 16) : 0);
}

std::uint32_t frame_payload_bits(CodeRate rate) {
    // 7/8 is a rate of DVB-S alone.
    constexpr std::array<std::uint32_t, 12> bch_payload{16008, 21408, 25728, 32208, 38688, 43040,
                                                        48408, 51648, 53840, 80,    57472, 58192};
    constexpr std::uint32_t header_bits = 80;
    return bch_payload.at(static_cast<std::size_t>(rate)) - header_bits;
}

double payload_bytes_per_s(const Transponder &transponder) {
    const CodeRate rate = code_rate_of(transponder);
    const double symbol_rate = transponder.symbol_rate;
    if (transponder.system == System::dvbs) {
        return symbol_rate * 2.0 * value_of(rate) * reed_solomon / 8.0;
    }
    return symbol_rate / frame_symbols(transponder.modulation, transponder.pilots) *
           frame_payload_bits(rate) / 8.0;
}

double from_db(double db) { return power_of_ten(db / 10); }
double to_db(double ratio) { return 10 * decimal_logarithm(ratio); }

}  // namespace broadcast
