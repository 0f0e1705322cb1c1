// SPDX-License-Identifier: MIT
#include "host/scan/simulated_truth.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "host/boards/simulated_board.h"

namespace host {

std::vector<SpectrumPoint> simulated_truth(HostBoard &board, const ScanLeg &leg) {
    SimulatedBoard *simulated = board.simulated();
    if (simulated == nullptr) {
        return {};
    }
    constexpr std::uint32_t step_khz = 500;
    const std::uint32_t low_khz = leg.if_low_mhz * 1000U;
    const std::vector<double> density_db =
        simulated->receiver().cable_spectrum_db(low_khz, leg.if_high_mhz * 1000.0, step_khz);
    std::vector<SpectrumPoint> points;
    for (std::size_t i = 0; i < density_db.size(); ++i) {
        const auto if_khz = static_cast<std::uint32_t>(low_khz + i * step_khz);
        points.push_back({leg.downlink_khz(if_khz) / 1000.0, density_db[i]});
    }
    if (leg.lof_above) {
        std::reverse(points.begin(), points.end());
    }
    return points;
}

}  // namespace host
