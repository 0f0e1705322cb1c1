// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <string>

#include "host/terminal/output.h"
#include "trace/reader.h"

namespace host {

// A trace as a shell script of i2ctransfer commands (i2c-tools, 7-bit addresses), its waits as
// sleeps. The answers that were recorded, and what i2ctransfer cannot do (GPIO lines, messages, a
// transfer left open that no read follows), stand there as comments. Each line is given to `write`.
void write_i2ctransfer_script(trace::EventReader &events, const std::string &name,
                              const std::function<void(const std::string &)> &write);

// An event with all that is recorded of it.
Json json_of(const trace::Event &event);

}  // namespace host
