// SPDX-License-Identifier: MIT
#pragma once

#include "host/doctor/findings.h"
#include "host/terminal/driver_log.h"

namespace host {

// Look at the bus and at who answers on it, before any chip is started: the steps "bus",
// "addresses" and "identity". Returns whether there is a demodulator that the driver can start.
bool examine_bus(Findings &findings, DriverLog &log);

}  // namespace host
