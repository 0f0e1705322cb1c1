// SPDX-License-Identifier: MIT
#include "host/cable/cable_leg.h"

#include <cstdint>

namespace host {

CableLeg leg_of(const ds3000_channel &channel) {
    return {channel.voltage_18v != 0, channel.hiband != 0, channel.switch_pos};
}

diseqc_message switch_message_for(const CableLeg &leg) {
    diseqc_message message;
    diseqc_committed_switch(static_cast<std::uint8_t>(leg.switch_port), leg.voltage_18v ? 1 : 0,
                            leg.tone ? 1 : 0, &message);
    return message;
}

}  // namespace host
