// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "ds3000/plugin/plugin.h"

namespace host {

// What a tune request asks to be put on the cable, and where on it the transponder then lies: by
// the LNB alone, without the driver, so that the driver can be measured by it.
struct CableWish {
    unsigned volts = 0;  // 13 or 18
    bool tone = false;
    unsigned switch_port = 0;  // 0: whichever it is
    std::uint32_t if_khz = 0;
};

// Of a request that leaves the tone to the band.
CableWish wish_of(const tune_request &request);

}  // namespace host
