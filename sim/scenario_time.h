// SPDX-License-Identifier: MIT
#pragma once

#include "board/time_faults.h"
#include "sim/scenario_section.h"

namespace sim {

void read_clock(Section &section, board::TimeFaults &time);
void read_schedule(Section &section, board::TimeFaults &time);

// A fault that befalls the time of the process. Returns whether it is one; then it has been read.
bool read_time_fault(Section &section, board::TimeFaults &time);

// What scenarios call them, for a message.
inline constexpr const char *time_fault_names = "stall, suspend, signals, clock_unreadable";

}  // namespace sim
