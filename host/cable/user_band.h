// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "host/cable/legs.h"
#include "host/cable/plan.h"

namespace host {

// A receiver's user band: its index in the unit, and the middle of the slot in whole MHz, which is
// what the driver can be told.
struct UserBand {
    std::uint8_t index = 0;
    std::uint16_t frequency_mhz = 0;
    std::optional<std::uint16_t> bank;  // where the unit numbers its banks in its own way
};

constexpr unsigned user_band_indices = 8;

// Read INDEX:FREQ or INDEX:FREQ:BANK. Throws FormError or LimitError.
UserBand parse_user_band(std::string_view text);

// Read an intermediate frequency of the cable in whole MHz, 950 to 2150. Throws the same;
// `what` names the value.
std::uint16_t parse_if_mhz(std::string_view what, std::string_view text);

// Which of the two dishes of a unit.
enum class Position { a, b };

// What a channel change asks of the unit, for display: the driver works it out itself.
struct UserBandPlan {
    std::uint16_t bank = 0;
    unsigned tuning_word = 0;
    unsigned converter_mhz = 0;        // the unit's oscillator
    std::uint32_t reached_if_mhz = 0;  // what its 4 MHz steps bring to the middle of the user band
};

// The bank of EN 50494: position, polarisation and band.
std::uint16_t bank_of(const TunePlan &plan, const broadcast::Lnb &lnb, Position position);
std::uint16_t bank_of(const ScanLeg &leg, const broadcast::Lnb &lnb, Position position);

UserBandPlan plan_user_band(const UserBand &band, const TunePlan &plan, const broadcast::Lnb &lnb,
                            Position position);

}  // namespace host
