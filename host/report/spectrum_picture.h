// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "host/cable/spectrum_point.h"

namespace host {

// A stretch that a mark under the picture shows.
struct PictureMark {
    double low_mhz = 0;
    double high_mhz = 0;
};

// Points as a picture for a terminal: lines of so many columns, with a scale in dB on the left and
// one in MHz below, and a line of marks between where there are any.
struct TerminalPicture {
    double low_mhz = 0;
    double high_mhz = 0;
    std::vector<SpectrumPoint> points;  // rising in frequency
    std::vector<PictureMark> marks;
    bool filled = true;  // from the floor up to the points; else from 0 dB
};
std::vector<std::string> drawn(const TerminalPicture &picture, std::size_t columns,
                               std::size_t rows);

}  // namespace host
