// SPDX-License-Identifier: MIT
#pragma once

namespace host {

// A place of a spectrum.
struct SpectrumPoint {
    double mhz = 0;  // downlink
    double db = 0;   // power density over the noise's
};

}  // namespace host
