// SPDX-License-Identifier: MIT
#pragma once

#include "host/doctor/findings.h"
#include "host/terminal/output.h"

namespace host {

// Writes an examination in the output's format: people and spreadsheets get each finding as it
// comes, programs get the whole at the end.
class ExaminationWriter {
 public:
    explicit ExaminationWriter(Output &output);

    void write(const Finding &finding);

    // about: the members of the whole that come before the steps.
    void finish(const Findings &findings, const Json &about);

 private:
    struct Form;
    static const Form &form_of(Format format);

    Output &output_;
    const Form &form_;
};

}  // namespace host
