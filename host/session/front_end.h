// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "ds3000/hw/driver_record.h"
#include "host/cable/cable_leg.h"

namespace host {

// What every program on the chip layer does with a front end besides its own work, in the order of
// the plug-in. Of the driver's record, `supply`, only has_lnbh23 counts.

enum class StartUp {
    up,
    no_bus,
    no_chip  // no demodulator of the family; the bus is open
};

// Open the bus, wake the chips, and initialise them when they have been awake for 100 ms.
StartUp start_front_end();

// See whether an LNBH23 answers; it then supplies the LNB together with the GPIO lines.
void find_lnb_supply(ds3000_driver &supply);

// Time for the cable, which the plug-in does not give it: after the supply changed, and for the
// silence around a message.
struct CablePauses {
    std::uint32_t after_supply_us = 0;
    std::uint32_t silence_us = 0;
};

// The silence that the DiSEqC bus wants between messages, tone and voltage changes.
inline constexpr std::uint32_t diseqc_silence_us = 15'000;

// Supply the LNB and select a leg: switch command, tone, voltage.
void select_leg(const ds3000_driver &supply, const CableLeg &leg, const CablePauses &pauses = {});

void switch_supply_off(const ds3000_driver &supply);

// Send the chips to sleep, switch the supply off, close the bus.
void stop_front_end(const ds3000_driver &supply);

}  // namespace host
