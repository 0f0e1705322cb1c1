// SPDX-License-Identifier: MIT
#pragma once

#include "broadcast/lnb.h"
#include "broadcast/transponder.h"
#include "ds3000/plugin/plugin.h"

namespace host {

// The request of a receiver with this LNB, whose dish hangs at this port (0: no switch).
tune_request request_for(const broadcast::Transponder &transponder, const broadcast::Lnb &lnb,
                         unsigned port);

// The request's word 17, 0 where the polarisation chooses. Numbers of the host's own: a plug-in
// that counts otherwise is to be found out.
inline constexpr std::uint32_t voltage_mode_13v = 1;
inline constexpr std::uint32_t voltage_mode_18v = 2;

// Its word 18, anything else where the band chooses.
inline constexpr std::uint32_t tone_mode_on = 1;
inline constexpr std::uint32_t tone_mode_off = 2;

// Its word 14.
inline constexpr std::uint32_t system_dvbs = 5;
inline constexpr std::uint32_t system_dvbs2 = 6;

// Let it ask for 13 or 18 V whatever the polarisation.
void fix_voltage(tune_request &request, unsigned volts);

// Let it ask for the tone or for none, whatever the band. It counts for an LNB with two oscillators
// and a switch frequency alone.
void fix_tone(tune_request &request, bool on);

}  // namespace host
