// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "ds3000/plugin/channel.h"
#include "host/cable/request.h"

namespace host {

// The channel that the plug-in makes of a tune request, and what people want to know of it besides.
struct TunePlan : ds3000_channel {
    bool inverted = false;           // oscillator above the downlink frequency
    std::uint32_t residual_khz = 0;  // of the IF beyond whole MHz: the demodulator has to find it

    // Why the plug-in refuses the request: value, limit and mend. Nothing when it takes it.
    std::optional<std::string> refusal = std::nullopt;
};

TunePlan plan_tune(const tune_request &request);

// 13 or 18.
unsigned volts_of(const ds3000_channel &channel);

}  // namespace host
