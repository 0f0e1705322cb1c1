// SPDX-License-Identifier: MIT
#pragma once

#include <vector>

#include "host/boards/host_board.h"
#include "host/cable/legs.h"
#include "host/cable/spectrum_point.h"

namespace host {

// What a simulated world really has on the cable while a leg is selected, rising in downlink
// frequency. Empty on a board without such a world.
std::vector<SpectrumPoint> simulated_truth(HostBoard &board, const ScanLeg &leg);

}  // namespace host
