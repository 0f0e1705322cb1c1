// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>

#include "host/commands/program.h"
#include "host/commands/target.h"

namespace host {

struct DoctorOptions {
    TargetOptions target;
    std::optional<std::string> user_band;
    double timeout_s = 5.0;
    double watch_s = 2.0;
    double standby_s = 1.0;
};

ExitStatus run_doctor(Program &program, const DoctorOptions &options);

}  // namespace host
