// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "host/cable/spectrum_point.h"

namespace host {

// What a comparison with a table says of a transponder. Without one all are found.
enum class ReportState { found, missed, unexpected };

// A row of the report and its mark in the picture. A text that is empty and a quantity without a
// value are not known, and shown as nothing.
struct ReportTransponder {
    double frequency_mhz = 0;  // downlink
    std::string polarisation;
    double symbol_rate_ksps = 0;  // 0: not known
    std::string system;
    std::string modulation;
    std::string fec;
    std::string roll_off;
    std::string inversion;
    std::optional<bool> pilots;
    std::optional<int> quality_db;
    std::optional<unsigned> strength_percent;
    unsigned port = 0;    // of the DiSEqC switch; 0: none
    std::size_t leg = 0;  // index into ScanPage::legs
    ReportState state = ReportState::found;
    std::string note;  // for instance why it was missed
};

// One picture: what one choice of supply, tone and switch port put on the cable.
struct ReportLeg {
    std::string label;  // as a heading, for instance "Horizontal, high band"
    double low_mhz = 0;
    double high_mhz = 0;
    // Rising in frequency. Empty where nobody can tell, as on a real board: the picture then has
    // its marks alone.
    std::vector<SpectrumPoint> spectrum;
};

struct ScanPage {
    std::string title;
    std::vector<std::string> subtitle;  // a line each: LNB, algorithm, passes, board
    std::string compared_with;          // the table's name; empty: not compared
    std::vector<ReportLeg> legs;
    std::vector<ReportTransponder> transponders;
};

// The whole page: HTML with its style and script inside, which needs nothing from anywhere. Every
// leg has a picture, in which each of its transponders is one `g.mark`; every transponder has a
// row of the one table. Throws std::out_of_range for a transponder of a leg that is not there.
std::string report_page(const ScanPage &report);

}  // namespace host
