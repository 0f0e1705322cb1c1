// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>

#include "host/commands/leg_plan.h"
#include "host/commands/program.h"

namespace host {

struct SpectrumOptions {
    LegOptions legs;
    std::optional<std::string> compare;
    double fall_db = 3;
    std::optional<std::string> report;
    std::string note;
    bool simulated_truth = false;
};

ExitStatus run_spectrum(Program &program, const SpectrumOptions &options);

}  // namespace host
