// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "sim/scenario.h"

namespace sim {

// What takes one of several dishes to the cable.
//
// Every kind stands on port 1 when it wakes up, and forgets what it was told with its supply.
// A committed switch obeys E0..E3 <10 14 15 00> 38 <data>, where data bits 7..4 clear and bits 3..0
// set the four switch lines, bits 3..2 the port (DiSEqC bus specification 4.2, table "Committed
// switches"). A multiswitch obeys the other two lines too: bit 1 is 18 V's polarisation, bit 0 the
// high band, and the supply's voltage and tone choose only until it is told. A burst switch knows
// the two tone bursts alone: A is port 1, B port 2.
class CommittedSwitch {
 public:
    explicit CommittedSwitch(Switch setup) : setup_(std::move(setup)) {}

    void lose_supply();

    // Returns the reply of a switch that gives one. `stuck`: what it hears moves nothing.
    std::vector<std::uint8_t> obey(std::span<const std::uint8_t> bytes, bool stuck);
    void hear_burst(bool b);

    // From 1.
    [[nodiscard]] unsigned port() const { return 1U + ((lines_ >> 2U) & 3U); }

    // What it was told of polarisation and band, of a kind that obeys that.
    struct Choice {
        bool volts_18 = false;
        bool high_band = false;
        bool operator==(const Choice &) const = default;
    };
    [[nodiscard]] std::optional<Choice> choice() const;

    // The choice that a message makes, whoever obeys it; absent when it leaves a line as it is.
    static std::optional<Choice> choice_in(std::span<const std::uint8_t> bytes);

 private:
    Switch setup_;
    std::uint8_t lines_ = 0;
    bool told_ = false;
};

}  // namespace sim
