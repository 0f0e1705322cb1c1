// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>

#include "host/session/reception_reading.h"
#include "host/session/rig.h"
#include "host/terminal/console.h"
#include "host/terminal/output.h"

namespace host {

// The members of a result that say what became of a tune: lock, what was read of it, or why there
// is none. What was read last of a board that is gone means nothing, and is forgotten.
void add_reception(Json &result, Reception &reception, Workbench &bench);

// The same for people, from the result and the reception that was added to it.
void write_reception(Output &output, const Json &result, const Reception &reception);

// Say to a person that a lock is worth nothing.
void say_without_data(Console &console, const Reception &reception);

// A line of a tune's text.
void write_fact(Output &output, std::string_view what, std::string_view value);

// Put the members of an object beside the others, its name in front of theirs.
void spread(Json &row, const char *object);

}  // namespace host
