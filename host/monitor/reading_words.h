// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

#include "host/session/reception_reading.h"

namespace host {

// What is known of a reception besides its lock, in a few words each: those that a meter shows by
// bars, then the others.
std::vector<std::string> levels_of(const ReceptionReading &reading);
std::vector<std::string> details_of(const ReceptionReading &reading);

}  // namespace host
