// SPDX-License-Identifier: MIT
#include "host/report/spectrum_picture.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <optional>

#include "host/report/braille.h"

namespace host {

namespace {

constexpr std::size_t scale_columns = 5;  // of the scale in dB, its blank included
constexpr double scale_db = 5;

constexpr double slack_db = 1;  // below a multiple of the scale that the picture does without

constexpr double most_db =
    200;  // no cable differs by more; what does is drawn at the picture's end

// The least and the greatest level that a picture shows: multiples of the scale, 0 among them.
struct Heights {
    double low_db = 0;
    double high_db = scale_db;

    explicit Heights(const std::vector<SpectrumPoint> &points) {
        for (const SpectrumPoint &point : points) {
            const double db = std::clamp(point.db, -most_db, most_db);
            low_db = std::min(low_db, std::floor((db + slack_db) / scale_db) * scale_db);
            high_db = std::max(high_db, std::ceil(db / scale_db) * scale_db);
        }
    }
    [[nodiscard]] double place(double db, std::size_t height) const {
        const double shown_db = std::clamp(db, low_db, high_db);
        return (shown_db - low_db) / (high_db - low_db) * static_cast<double>(height - 1);
    }
};

std::size_t rounded(double place) {
    constexpr double most = 1e6;  // far beyond any picture
    return static_cast<std::size_t>(std::lround(std::min(std::max(0.0, place), most)));
}

// The level at a place, on the line between the points around it.
std::optional<double> level_on(const std::vector<SpectrumPoint> &points, double mhz) {
    for (std::size_t i = 1; i < points.size(); ++i) {
        const SpectrumPoint &a = points[i - 1];
        const SpectrumPoint &b = points[i];
        if (mhz >= a.mhz && mhz <= b.mhz) {
            return b.mhz > a.mhz ? a.db + (b.db - a.db) * (mhz - a.mhz) / (b.mhz - a.mhz) : b.db;
        }
    }
    return std::nullopt;
}

void draw_points(BraillePicture &dots, const TerminalPicture &picture, const Heights &heights) {
    const double mhz_per_dot =
        (picture.high_mhz - picture.low_mhz) / static_cast<double>(dots.width());
    const std::size_t base = picture.filled ? 0 : rounded(heights.place(0, dots.height()));
    for (std::size_t x = 0; x < dots.width(); ++x) {
        const double mhz = picture.low_mhz + (static_cast<double>(x) + 0.5) * mhz_per_dot;
        if (const auto db = level_on(picture.points, mhz)) {
            dots.column(x, base, rounded(heights.place(*db, dots.height())));
        }
    }
}

// The multiple of the scale that lies within a row of characters, if one does.
std::string scale_of_row(const Heights &heights, std::size_t row, std::size_t rows) {
    const std::size_t height = 4 * rows;
    const auto first = std::lround(heights.low_db / scale_db);
    const auto last = std::lround(heights.high_db / scale_db);
    for (auto i = first; i <= last; ++i) {
        const double db = static_cast<double>(i) * scale_db;
        if ((height - 1 - rounded(heights.place(db, height))) / 4 == row) {
            return fmt::format("{:>4.0f} ", db);
        }
    }
    std::string blank(scale_columns, ' ');
    return blank;
}

// A mark is a line over its width with a stroke in its middle.
std::string line_of_marks(const TerminalPicture &picture, std::size_t columns) {
    std::vector<std::string> cells(columns, " ");
    const auto cell_of = [&](double mhz) {
        const double place = (mhz - picture.low_mhz) / (picture.high_mhz - picture.low_mhz);
        return std::min(
            rounded(std::floor(std::clamp(place, 0.0, 1.0) * static_cast<double>(columns))),
            columns - 1);
    };
    for (const PictureMark &mark : picture.marks) {
        for (std::size_t i = cell_of(mark.low_mhz); i <= cell_of(mark.high_mhz); ++i) {
            cells[i] = cells[i] == " " ? "\u2500" : cells[i];
        }
    }
    std::string line;
    for (const PictureMark &mark : picture.marks) {
        cells[cell_of((mark.low_mhz + mark.high_mhz) / 2)] = "\u2534";
    }
    for (const std::string &cell : cells) {
        line += cell;
    }
    return line;
}

// The least of 1, 2 or 5 times a power of ten that is as much.
double round_step(double least) {
    const double power = std::pow(10, std::floor(std::log10(least)));
    for (const double factor : {1.0, 2.0, 5.0}) {
        if (factor * power >= least) {
            return factor * power;
        }
    }
    return 10 * power;
}

std::string scale_below(const TerminalPicture &picture, std::size_t columns) {
    constexpr double columns_a_label = 10;
    const double mhz_per_column =
        (picture.high_mhz - picture.low_mhz) / static_cast<double>(columns);
    const double step = std::max(round_step(mhz_per_column * columns_a_label), 1.0);
    std::string line(columns, ' ');
    const double first = std::ceil(picture.low_mhz / step);
    for (std::size_t i = 0; i < columns; ++i) {
        const double mhz = (first + static_cast<double>(i)) * step;
        if (mhz > picture.high_mhz) {
            break;
        }
        const std::string label = fmt::format("{:.0f}", mhz);
        const std::size_t middle = rounded((mhz - picture.low_mhz) / mhz_per_column);
        const std::size_t begin = middle > label.size() / 2 ? middle - label.size() / 2 : 0;
        if (begin + label.size() <= columns) {
            line.replace(begin, label.size(), label);
        }
    }
    return line.substr(0, line.find_last_not_of(' ') + 1);
}

}  // namespace

std::vector<std::string> drawn(const TerminalPicture &picture, std::size_t columns,
                               std::size_t rows) {
    constexpr std::size_t least_columns = 20;
    const std::size_t width = std::max(columns, least_columns) - scale_columns;
    const Heights heights(picture.points);
    BraillePicture dots(width, rows);
    draw_points(dots, picture, heights);
    std::vector<std::string> lines;
    for (std::size_t i = 0; i < rows; ++i) {
        lines.push_back(scale_of_row(heights, i, rows) + dots.row(i));
    }
    const std::string margin(scale_columns, ' ');
    if (!picture.marks.empty()) {
        lines.push_back(margin + line_of_marks(picture, width));
    }
    lines.push_back(margin + scale_below(picture, width));
    return lines;
}

}  // namespace host
