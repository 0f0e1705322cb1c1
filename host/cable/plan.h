// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>

#include "broadcast/transponder.h"
#include "ds3000/plugin/plugin.h"
#include "host/cable/lnb.h"

namespace host {

// The request of a receiver with this LNB, whose dish hangs at this port (0: no switch).
tune_request request_for(const broadcast::Transponder &transponder, const broadcast::Lnb &lnb,
                         unsigned port);

// What the plug-in makes of a tune request, for display: the plug-in works it out itself.
struct TunePlan {
    std::uint32_t lof_khz = 0;       // the oscillator that is used
    std::uint32_t if_khz = 0;        // its distance to the downlink frequency
    std::uint32_t tuned_if_mhz = 0;  // what is left of it: whole MHz, the rest is dropped
    std::uint32_t residual_khz = 0;  // the rest, which the demodulator has to find
    std::uint32_t symbol_rate_ksps = 0;
    bool voltage_18v = false;
    bool tone = false;
    bool inverted = false;  // oscillator above the downlink frequency
    std::optional<std::array<std::uint8_t, 4>> switch_message;

    // Why the plug-in refuses the request: value, limit and mend. Nothing when it takes it.
    std::optional<std::string> refusal;

    // Whether the plug-in holds this for the same channel and leaves the hardware alone.
    std::uint32_t delivery_system = 0;
    std::uint32_t switch_pos = 0;
    [[nodiscard]] bool same_channel(const TunePlan &other) const;
};

// Intermediate frequencies that the plug-in takes.
constexpr std::uint32_t lowest_if_khz = 950'000;
constexpr std::uint32_t highest_if_khz = 2'150'000;

// Values of tune_request words.
constexpr std::uint32_t request_13v = 1;
constexpr std::uint32_t request_18v = 2;
constexpr std::uint32_t request_dvbs = 5;
constexpr std::uint32_t request_dvbs2 = 6;

TunePlan plan_tune(const tune_request &request);

}  // namespace host
