// SPDX-License-Identifier: MIT
#pragma once

namespace host {

// The mode of the transport-stream port that the driver programs by itself.
inline constexpr unsigned usual_ts_mode = 3;

// How a board differs from the usual one; the chips cannot tell.
struct BoardWiring {
    bool iq_swapped = false;           // the demodulator's I and Q inputs are crossed
    bool reg30_bit4 = false;           // bit 4 of the demodulator's register 0x30 is to be set
    unsigned ts_mode = usual_ts_mode;  // that the demultiplexer is wired for: 1, 2 or 3
};

}  // namespace host
