// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "trace/transcript.h"

namespace host {

// Read a trace. Throws Failure (bad_input) saying what is wrong, with the file's name and the
// line's number.
trace::Trace read_trace(const std::string &file);

}  // namespace host
