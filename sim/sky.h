// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "broadcast/transponder.h"

namespace sim {

// Which supply voltage an LNB needs to hear a polarisation: 13 V vertical and right, 18 V
// horizontal and left.
enum class Side { volts_13, volts_18 };
Side side_of(broadcast::Polarisation polarisation);
constexpr Side other_side(Side side) {
    return side == Side::volts_13 ? Side::volts_18 : Side::volts_13;
}

// A carrier that is on the air.
struct Carrier {
    broadcast::Transponder transponder;
    double frequency_khz = 0;
    double half_width_khz = 0;  // to the points where the pulse filter has lost half the power
    double threshold_db = 0;
    double cn_db = 0;         // without interference
    double interference = 0;  // what the others leak into the receive filter, over the carrier's
    double leaked_interference = 0;  // the same where the other polarisation is received
    double level_dbm = 0;
    std::string neighbour;  // the strongest interferer, for messages
};

// Why a row of a table is not on the air.
struct Absence {
    bool invalid = false;  // not a carrier that the standard knows; otherwise another row is there
    std::string text;
};

// What a dish sees: the satellite's carriers, each side sorted by frequency.
//
// Tables list some carriers twice, or an old and a new one in the same place. A row whose centre
// lies within an earlier row's width, or the other way round, on the same side is not on the air.
class Sky {
 public:
    // Levels and C/N of transponders that do not say.
    struct Defaults {
        double cn_db;
        // Of a carrier of 27.5 Msym/s with that C/N; the noise is the same for all.
        double level_dbm;
        double cross_polarisation_db;  // how far the other polarisation's leakage lies below it
        // How much stronger than both a carrier may be; how much each is follows from the seed.
        double spread_db = 0;
        std::uint64_t seed = 1;
    };

    Sky() = default;
    Sky(const broadcast::Satellite &satellite, const Defaults &defaults);

    // Send a carrier with another modulation and code rate from now on, where its system has them.
    void change_modcod(std::uint32_t frequency_khz, broadcast::Polarisation polarisation,
                       broadcast::Modulation modulation, broadcast::CodeRate code_rate);

    // The carriers of a side whose centre lies within low..high.
    [[nodiscard]] std::span<const Carrier> between(Side side, double low_khz,
                                                   double high_khz) const;

    // Power density of the LNB's noise at the tuner, mW a kHz: what the defaults' C/N leaves of
    // their level, or less, where a carrier's own C/N and level leave less.
    [[nodiscard]] double noise_density() const { return noise_density_; }

    // The carrier that a row describes, or null, and then why.
    [[nodiscard]] const Carrier *find(const broadcast::Transponder &row, Absence &absence) const;

 private:
    struct Leak {
        double power = 0;
        const Carrier *from = nullptr;
    };

    [[nodiscard]] const Carrier *in_the_way_of(const broadcast::Transponder &row) const;
    void add_interference(double cross_polarisation_db);
    [[nodiscard]] Leak add_interference_of(Side side, double loss_db, Carrier &carrier) const;
    void place(const broadcast::Transponder &row, const Defaults &defaults);

    std::array<std::vector<Carrier>, 2> sides_;
    double widest_khz_ = 0;
    double noise_density_ = 0;
};

}  // namespace sim
