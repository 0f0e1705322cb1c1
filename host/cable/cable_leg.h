// SPDX-License-Identifier: MIT
#pragma once

namespace host {

// What selects a dish, a polarisation and a band on the cable.
struct CableLeg {
    bool voltage_18v = false;
    bool tone = false;
    unsigned switch_port = 0;  // committed switch, 0: none

    bool operator==(const CableLeg &) const = default;
};

}  // namespace host
