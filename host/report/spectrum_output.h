// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string>

#include "host/report/report.h"
#include "host/scan/spectrum_result.h"
#include "host/terminal/presentation.h"

namespace host {

// How a spectrum is shown to a person.
struct SpectrumView {
    std::size_t columns = 80;   // of the terminal
    std::string compared_with;  // the earlier measurement's file; empty: not compared
    double fall_db = 0;         // from which on a level counts as fallen
};

// Writes a measurement in the output's format: each leg as soon as it is known, then the totals;
// JSON as a whole at the end.
class SpectrumWriter {
 public:
    SpectrumWriter(Output &output, SpectrumView view);

    void show(const MeasuredLeg &measured);

    // The last of it; the output is then finished.
    void finish(const SpectrumResult &result);

 private:
    RowStream rows_;
    SpectrumView view_;
};

// The page of a measurement: its picture has the levels, the peaks as marks, and what was measured
// before.
ScanPage page_of(const SpectrumResult &result, const SpectrumView &view, const std::string &title,
                 const FieldRecord &record);

// The picture of a leg: levels, caption and peaks.
ReportLeg picture_of(const ScanLeg &leg, const LegSpectrum &spectrum);

}  // namespace host
