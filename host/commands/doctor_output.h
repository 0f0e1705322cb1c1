// SPDX-License-Identifier: MIT
#pragma once

#include "host/doctor/findings.h"
#include "host/terminal/presentation.h"

namespace host {

// Writes an examination in the output's format: each finding as it comes, then the diagnosis; JSON
// as a whole at the end.
class ExaminationWriter {
 public:
    explicit ExaminationWriter(Output &output);

    void write(const Finding &finding);

    // about: the members of the whole that come before the steps.
    void finish(const Findings &findings, const Json &about);

 private:
    RowStream rows_;
};

}  // namespace host
