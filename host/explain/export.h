// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

#include "host/terminal/output.h"
#include "trace/reader.h"

namespace host {

// A trace as a shell script of i2ctransfer commands (i2c-tools, 7-bit addresses), its waits as
// sleeps. The answers that were recorded, and what i2ctransfer cannot do (GPIO lines, messages, a
// transfer left open that no read follows), stand there as comments.
std::vector<std::string> i2ctransfer_script(const trace::Trace &trace, const std::string &name);

// An event with all that is recorded of it.
Json json_of(const trace::Event &event);

}  // namespace host
