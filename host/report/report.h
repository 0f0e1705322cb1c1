// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/cable/spectrum_point.h"
#include "host/report/field_record.h"

namespace host {

// What a comparison with a table says of a transponder. Without one all are found. A peak of the
// spectrum was not tried.
enum class ReportState { found, missed, unexpected, peak };

// A row of the report and its mark in the picture. A text that is empty and a quantity without a
// value are not known, and shown as nothing.
struct ReportTransponder {
    double frequency_mhz = 0;                // downlink
    std::optional<double> nominal_mhz;       // the table's, of one that was found in it
    std::optional<std::int64_t> offset_khz;  // measured less nominal
    std::string polarisation;
    double symbol_rate_ksps = 0;             // 0: not known
    std::optional<std::uint32_t> width_khz;  // of a peak, which has no symbol rate
    std::string system;
    std::string modulation;
    std::string fec;
    std::string roll_off;
    std::string inversion;
    std::optional<bool> pilots;
    std::optional<int> quality_db;
    std::optional<unsigned> strength_percent;
    std::optional<double> over_noise_db;  // of a peak, by the levels around it
    unsigned port = 0;                    // of the DiSEqC switch; 0: none
    std::size_t leg = 0;                  // index into ScanPage::legs
    ReportState state = ReportState::found;
    std::string note;  // for instance why it was missed
};

// Another line of a picture, drawn beside the spectrum and named in the legend.
struct ReportTrace {
    std::string kind;  // "before" or "simulated": how it is drawn
    std::string label;
    std::vector<SpectrumPoint> points;  // rising in frequency
};

// A peak that the chips report, whether it locked or not.
struct ReportPeak {
    double mhz = 0;  // downlink
    double width_mhz = 0;
};

// One picture: what one choice of supply, tone and switch port put on the cable.
struct ReportLeg {
    std::string label;  // as a heading, for instance "Horizontal, high band"
    double low_mhz = 0;
    double high_mhz = 0;
    // As measured, rising in frequency. Empty where it was not: the picture then has its marks
    // alone.
    std::vector<SpectrumPoint> spectrum = {};
    std::string caption = {};  // how it was measured
    std::vector<ReportPeak> peaks = {};
    std::vector<ReportTrace> traces = {};
};

struct ScanPage {
    std::string title;
    std::string verdict;        // a sentence; may be empty
    FieldRecord record;         // when, where, with what
    std::string compared_with;  // the table's name; empty: not compared
    std::vector<ReportLeg> legs;
    std::vector<ReportTransponder> transponders;
};

// What a simulated world really has, labelled as such.
ReportTrace simulated_trace(std::vector<SpectrumPoint> truth);

// The whole page: HTML with its style and script inside, which needs nothing from anywhere. Every
// leg has a picture, in which each of its transponders is one `g.mark`; every transponder has a
// row of the one table. Throws std::out_of_range for a transponder of a leg that is not there.
std::string report_page(const ScanPage &report);

}  // namespace host
