// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "sim/scenario.h"

namespace sim {

// What the scenario's faults do to one transfer.
struct Disturbance {
    bool refused = false;
    bool lengthens = false;
    std::uint64_t stuck_ns = 0;  // the host waits so long for a bus that does not come free
    double slowness = 1;

    [[nodiscard]] std::uint64_t lengthened(std::uint64_t duration_ns) const {
        return stuck_ns + static_cast<std::uint64_t>(static_cast<double>(duration_ns) * slowness);
    }
};

// The scenario's faults of the bus itself.
class BusFaults {
 public:
    explicit BusFaults(const Scenario &scenario);

    // Call once for every transfer.
    Disturbance next_transfer(std::uint8_t address, std::uint64_t now_ns) {
        return faults_.empty() ? Disturbance{} : disturb(address, now_ns);
    }

 private:
    Disturbance disturb(std::uint8_t address, std::uint64_t now_ns);

    std::vector<Fault> faults_;
    std::uint64_t transfers_ = 0;
    std::array<std::uint64_t, 256> transfers_to_{};
};

}  // namespace sim
