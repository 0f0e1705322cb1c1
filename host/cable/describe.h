// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "broadcast/transponder.h"
#include "host/cable/legs.h"
#include "host/cable/plan.h"
#include "host/terminal/output.h"

namespace host {

// "H", "V", "L" or "R".
std::string polarisation_letter(broadcast::Polarisation polarisation);

// "11494 MHz H, 22000 ksym/s, DVB-S2".
std::string headline(const broadcast::Transponder &transponder);

// The members that a transponder has in every output.
Json json_of(const broadcast::Transponder &transponder);
Json json_of(const broadcast::Lnb &lnb);
Json json_of(const TunePlan &plan);
Json json_of(const ScanLeg &leg);

// "E0 10 38 F2"; empty without a switch.
std::string switch_bytes(const TunePlan &plan);

// "LNB EXTENDED, oscillator 9750 MHz, IF 1744 MHz, 18 V, tone off".
std::string summary(const broadcast::Lnb &lnb, const TunePlan &plan);

}  // namespace host
