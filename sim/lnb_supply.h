// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>

#include "sim/scenario.h"
#include "sim/watch.h"

namespace sim {

// The board's LNB supply: GPIO line 6 enables it, line 7 selects 18 V; with an LNBH23 its control
// byte selects the voltage (bit 3), must enable the output too (bit 2) and lets the 22 kHz through
// (bit 6). Line 7 does not choose what comes out then.
//
// The output follows within 5 ms: a voltage that is chosen later than the output is enabled is not
// there from the beginning, and an LNB or a switch starts at the wrong one; line 7 is left alone
// while the output falls, which a regulator that is set anew lifts again for a moment. The
// controller must be ready before the line closes the output's path and off after the line opened
// it: the other way round the path is switched under load. Line 7 goes before the controller: it
// chooses the rail that the controller's regulator takes its voltage from.
//
// A short circuit on the cable trips the supply. It stays off until it is switched off and on.
class LnbSupply {
 public:
    LnbSupply(const Scenario &scenario, Watch &watch);

    void set_enable(bool on, std::uint64_t now_ns);
    void set_18v(bool on, std::uint64_t now_ns);
    void set_lnbh23(std::uint8_t control, std::uint64_t now_ns);
    void set_shorted(bool shorted);
    // The controller loses its control byte with its own supply.
    void lose_control() { lnbh23_ = 0; }

    // The voltage bits of the demodulator's DiSEqC master, 0xA2 bits 1..0: 01 is 13 V, 00 is 18 V,
    // anything else off. They are not wired on this board, but have to say what the lines say.
    void compare_with_master(std::uint8_t output, std::uint64_t now_ns);

    // What comes out: 0, 13 or 18.
    [[nodiscard]] unsigned volts() const;
    // The same as far as the driver can know: faults left out.
    [[nodiscard]] unsigned asked_volts() const;
    // Nothing of it is left on, whether that makes a supply or not.
    [[nodiscard]] bool is_off() const { return !enabled_ && lnbh23_ == 0; }
    [[nodiscard]] bool passes_tone() const;
    [[nodiscard]] bool is_dead() const { return dead_; }
    [[nodiscard]] bool has_tripped() const { return tripped_; }
    // What the LNBH23 says when it is read: bit 0 is overload.
    [[nodiscard]] std::uint8_t status() const { return tripped_ ? 0x01 : 0x00; }

 private:
    void changed();
    void judge_voltage_order(unsigned volts_before, std::uint64_t now_ns);
    void judge_control(std::uint64_t now_ns);

    Watch *watch_;
    bool has_lnbh23_;
    bool dead_ = false;
    bool shorted_ = false;
    bool tripped_ = false;
    bool enabled_ = false;
    bool line_18v_ = false;
    std::uint8_t lnbh23_ = 0;
    std::uint64_t enabled_ns_ = 0;
    std::optional<std::uint64_t> disabled_ns_;
};

}  // namespace sim
