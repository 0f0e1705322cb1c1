// SPDX-License-Identifier: MIT
#pragma once

#include "host/commands/program.h"

namespace host {

// Refuse a run that would write what it also reads, or two things into one file, whatever names and
// links lead there; the files beside those that are replaced count too. Nothing has been opened for
// writing then. Throws Failure (usage).
void refuse_shared_files(const Program &program);

}  // namespace host
