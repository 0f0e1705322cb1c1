// SPDX-License-Identifier: MIT
#pragma once

#include "host/commands/program.h"

namespace host {

// Do the work. The one place where errors become messages and exit statuses.
ExitStatus run_job(const Job &job, Program &program);

}  // namespace host
