// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

#include "sim/scenario_section.h"

namespace sim {

// A fault of the bus. Returns whether it is one; then it has been read.
bool read_bus_fault(Section &section, std::vector<BusFault> &faults);

// What scenarios call them, for a message.
std::string bus_fault_names();

}  // namespace sim
