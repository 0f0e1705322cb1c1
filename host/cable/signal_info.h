// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "broadcast/transponder.h"
#include "host/terminal/output.h"

namespace host {

// The received carrier as the demodulator reports it; absent what it does not know.
struct SignalInfo {
    broadcast::System system = broadcast::System::dvbs;
    std::optional<broadcast::Modulation> modulation;
    std::optional<broadcast::CodeRate> code_rate;
    std::optional<broadcast::RollOff> roll_off;
    std::optional<bool> pilots;  // DVB-S2 only
    std::optional<bool> inverted;

    bool operator==(const SignalInfo &) const = default;
};

// Ask the chip layer, which must hold a locked channel.
SignalInfo read_signal_info();

// What the driver's code of a code rate means; absent for none of them.
std::optional<broadcast::CodeRate> code_rate_meant(std::uint32_t code);

// Its signal-to-noise ratio, whole dB; the chip layer's byte is a negative number below 0 dB.
int measure_quality_db();

Json json_of(const SignalInfo &info);

// "DVB-S2, 8PSK 2/3, roll-off 0.35, pilots, spectrum normal".
std::string summary(const SignalInfo &info);

}  // namespace host
