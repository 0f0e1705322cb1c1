// SPDX-License-Identifier: MIT
#pragma once

#include "ds3000/diseqc/diseqc.h"
#include "ds3000/plugin/channel.h"

namespace host {

// What selects a dish, a polarisation and a band on the cable.
struct CableLeg {
    bool voltage_18v = false;
    bool tone = false;
    unsigned switch_port = 0;  // committed switch, 0: none

    bool operator==(const CableLeg &) const = default;
};

// The leg that a channel is received through.
CableLeg leg_of(const ds3000_channel &channel);

// What tells the committed switch which leg is wanted; the leg has a port.
diseqc_message switch_message_for(const CableLeg &leg);

}  // namespace host
