// SPDX-License-Identifier: MIT
#include "host/monitor/meter_layout.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <optional>
#include <string>
#include <vector>

#include "host/monitor/big_digits.h"
#include "host/monitor/reading_words.h"

namespace host {

namespace {

// Where the bars end.
constexpr double full_quality_db = 20;
constexpr double full_margin_db = 12;
constexpr double full_strength_percent = 100;

// Columns of what stands beside the bars and the history, and beside the figures.
constexpr int label_columns = 9;
constexpr int value_columns = 9;
constexpr int side_columns = 19;

constexpr int rows_to_be_airy = 20;

struct GradeLook {
    Ink ink;
    const char *word;
};

GradeLook look_of(Grade grade) {
    switch (grade) {
        case Grade::no_lock:
            return {Ink::red, "NO LOCK"};
        case Grade::weak:
            return {Ink::red, "WEAK"};
        case Grade::fair:
            return {Ink::yellow, "FAIR"};
        default:
            return {Ink::green, "GOOD"};
    }
}

// How the rows of a screen are shared out.
struct Rows {
    int gap = 0;  // between two parts
    int scale = 1;
    int bar = 1;  // of each bar
    int details = 1;
    int figures_at = 0;
    int bars_at = 0;
    int history_at = 0;
    int history = 1;
    int details_at = 0;
};

int bars_rows(const Rows &rows) { return 3 * rows.bar + (rows.bar > 1 ? 2 : 0); }

Rows share_out(ScreenSize size) {
    constexpr int head_rows = 2;
    Rows rows;
    rows.gap = size.rows >= rows_to_be_airy ? 1 : 0;
    rows.bar = std::clamp(size.rows / 18, 1, 4);
    rows.details = size.rows >= rows_to_be_airy ? 2 : 1;
    const int by_rows = size.rows * 21 / 50 / big_digit_rows;
    const int by_columns = (size.columns - side_columns) / big_digits_columns("00", 1);
    rows.scale = std::max(1, std::min(by_rows, by_columns));
    rows.figures_at = head_rows + rows.gap;
    rows.bars_at = rows.figures_at + big_digit_rows * rows.scale + rows.gap;
    rows.history_at = rows.bars_at + bars_rows(rows) + rows.gap;
    rows.details_at = std::max(size.rows - rows.details, rows.history_at + 1);
    rows.history = std::max(1, rows.details_at - rows.gap - rows.history_at);
    return rows;
}

std::string duration_text(std::uint64_t ms) {
    const std::uint64_t seconds = ms / 1'000;
    return fmt::format("{}:{:02}:{:02}", seconds / 3'600, seconds / 60 % 60, seconds % 60);
}

std::string times_text(unsigned count) {
    return count == 1 ? "lost once" : fmt::format("lost {} times", count);
}

class MeterDrawing {
 public:
    MeterDrawing(const MeterFace &face, ScreenSize size, Glyphs glyphs)
        : face_(face),
          reception_(face.reading.reception),
          glyphs_(glyphs),
          look_(look_of(grade_of(reception_))),
          rows_(share_out(size)),
          picture_(size) {}

    Picture draw() {
        draw_head();
        draw_figures();
        draw_bars();
        draw_history();
        draw_details();
        return picture_;
    }

 private:
    [[nodiscard]] int columns() const { return picture_.size().columns; }
    [[nodiscard]] int bar_columns() const { return columns() - label_columns - value_columns; }
    [[nodiscard]] char32_t block() const { return glyphs_ == Glyphs::blocks ? U'█' : U'#'; }

    [[nodiscard]] std::optional<double> margin_db() const {
        return reception_.quality ? reception_.quality->margin_db() : std::nullopt;
    }

    void put_right(int row, std::string_view text, Ink ink) {
        picture_.put(row, columns() - static_cast<int>(characters_of(text).size()), text, ink);
    }

    void draw_head() {
        picture_.put(0, 0, face_.title, Ink::strong);
        const std::string lock =
            fmt::format(" {} {} ", reception_.locked ? "LOCKED" : "NO LOCK",
                        duration_text(face_.reading.time_ms - face_.reading.since_ms));
        picture_.put(1, 0, lock, reception_.locked ? Ink::green : Ink::red, true);
        std::string rest = face_.sounds ? "tone" : "";
        if (face_.reading.losses != 0) {
            rest = times_text(face_.reading.losses) + (rest.empty() ? "" : "  " + rest);
        }
        put_right(1, rest, Ink::plain);
    }

    void draw_figures() {
        const Cell cell{block(), look_.ink, false};
        const std::string quality =
            reception_.quality ? fmt::format("{:>2}", reception_.quality->quality_db) : "--";
        const int width = big_digits_columns("00", rows_.scale);
        const int indent = width - big_digits_columns(quality, rows_.scale);
        put_big_digits(picture_, rows_.figures_at, indent, quality, rows_.scale, cell);
        const bool margin_is_big = draw_big_margin(width + side_columns, cell);
        draw_side(width, margin_is_big);
    }

    // The margin in large figures too, where there is room for them. Returns whether there was.
    bool draw_big_margin(int column, const Cell &cell) {
        constexpr int unit_columns = 10;
        const int scale = std::min(
            rows_.scale, (columns() - column - unit_columns) / big_digits_columns("+00.0", 1));
        if (!margin_db() || scale < 1) {
            return false;
        }
        const std::string text = fmt::format("{:+.1f}", *margin_db());
        const int row = rows_.figures_at + big_digit_rows * (rows_.scale - scale);
        put_big_digits(picture_, row, column, text, scale, cell);
        picture_.put(row, column + big_digits_columns(text, scale), "dB margin", Ink::strong);
        return true;
    }

    void draw_side(int column, bool margin_is_big) {
        const int last = rows_.figures_at + big_digit_rows * rows_.scale - 1;
        picture_.put(rows_.figures_at, column, "dB C/N", Ink::strong);
        if (face_.best_quality_db) {
            picture_.put(rows_.figures_at + 1, column,
                         fmt::format("best {} dB", *face_.best_quality_db));
        }
        if (margin_db() && !margin_is_big) {
            picture_.put(last - rows_.scale - rows_.gap, column,
                         fmt::format("margin {:+.1f} dB", *margin_db()), look_.ink);
        }
        draw_slab(last - rows_.scale + 1, column);
    }

    // The grade's word on a ground of its colour, as high as the figures' blocks.
    void draw_slab(int row, int column) {
        constexpr int slab_columns = 13;
        const std::string word = fmt::format("{:^{}}", look_.word, slab_columns);
        for (int y = 0; y < rows_.scale; ++y) {
            picture_.put(row + y, column,
                         y == rows_.scale / 2 ? word : std::string(slab_columns, ' '), look_.ink,
                         true);
        }
    }

    struct Bar {
        const char *label;
        std::optional<double> value;
        std::optional<double> peak;
        double full;
        std::string text;
        Ink ink;
    };

    void draw_bars() {
        std::vector<Bar> bars{
            {"C/N", {}, face_.quality_peak, full_quality_db, {}, look_.ink},
            {"margin", margin_db(), face_.margin_peak, full_margin_db, {}, look_.ink},
            {"strength", {}, face_.strength_peak, full_strength_percent, {}, Ink::plain}};
        if (reception_.quality) {
            bars[0].value = reception_.quality->quality_db;
            bars[0].text = fmt::format("{} dB", reception_.quality->quality_db);
        }
        if (bars[1].value) {
            bars[1].text = fmt::format("{:+.1f} dB", *bars[1].value);
        }
        if (reception_.strength_percent) {
            bars[2].value = *reception_.strength_percent;
            bars[2].text = fmt::format("{} %", *reception_.strength_percent);
        }
        int row = rows_.bars_at;
        for (const Bar &bar : bars) {
            draw_bar(row, bar);
            row += rows_.bar + (rows_.bar > 1 ? 1 : 0);
        }
    }

    void draw_bar(int row, const Bar &bar) {
        const int middle = row + (rows_.bar - 1) / 2;
        picture_.put(middle, 0, bar.label);
        put_right(middle, bar.text, Ink::strong);
        for (int y = 0; y < rows_.bar; ++y) {
            draw_bar_row(row + y, bar);
        }
    }

    void draw_bar_row(int row, const Bar &bar) {
        const int eighths = eighths_of(bar.value, bar.full, bar_columns());
        for (int x = 0; x < bar_columns(); ++x) {
            const int part = std::clamp(eighths - 8 * x, 0, 8);
            picture_.put(row, label_columns + x,
                         part == 0 ? Cell{glyphs_ == Glyphs::blocks ? U'·' : U'.', Ink::faint}
                                   : Cell{lying_block(part), bar.ink});
        }
        const int peak = (eighths_of(bar.peak, bar.full, bar_columns()) - 1) / 8;
        if (bar.peak && *bar.peak > 0 && peak * 8 >= eighths) {
            picture_.put(row, label_columns + peak,
                         Cell{glyphs_ == Glyphs::blocks ? U'│' : U'|', Ink::strong});
        }
    }

    // How far a value reaches on a bar of so many cells, in eighths of one.
    static int eighths_of(std::optional<double> value, double full, int cells) {
        const double share = std::clamp(value.value_or(0) / full, 0.0, 1.0);
        return static_cast<int>(std::lround(share * cells * 8));
    }

    // So many eighths of a cell, from the left, or from below. The first of Unicode's are whole.
    [[nodiscard]] char32_t lying_block(int eighths) const {
        return glyphs_ == Glyphs::blocks ? U'█' + static_cast<char32_t>(8 - eighths) : U'#';
    }
    [[nodiscard]] char32_t standing_block(int eighths) const {
        if (glyphs_ == Glyphs::ascii) {
            return eighths < 4 ? U'_' : U'#';
        }
        return U'▁' + static_cast<char32_t>(eighths - 1);
    }

    void draw_history() {
        const int shown = std::min(bar_columns(), static_cast<int>(face_.history.size()));
        const std::size_t first =
            face_.history.size() - static_cast<std::size_t>(std::max(0, shown));
        for (int i = 0; i < shown; ++i) {
            draw_moment(label_columns + bar_columns() - shown + i,
                        face_.history[first + static_cast<std::size_t>(i)]);
        }
        const int last = rows_.history_at + rows_.history - 1;
        picture_.put(rows_.history_at, 0, rows_.history > 1 ? "C/N" : "history");
        if (rows_.history > 2) {
            picture_.put(rows_.history_at + 1, 0, fmt::format("{:.0f} dB", full_quality_db));
            picture_.put(last, 0, "history");
        }
        const auto span_ms =
            static_cast<std::uint64_t>(std::max(0, bar_columns())) * History::stretch_ms;
        put_right(last, fmt::format("{:.1f} min", static_cast<double>(span_ms) / 60e3), Ink::plain);
    }

    void draw_moment(int column, const HistoryMoment &moment) {
        if (!moment.worst) {
            return;
        }
        const Ink ink = look_of(*moment.worst).ink;
        const int last = rows_.history_at + rows_.history - 1;
        const int eighths =
            moment.least_quality_db
                ? std::max(1, eighths_of(*moment.least_quality_db, full_quality_db, rows_.history))
                : 0;
        for (int y = 0; y < rows_.history; ++y) {
            if (const int part = std::clamp(eighths - 8 * y, 0, 8); part > 0) {
                picture_.put(last - y, column, Cell{standing_block(part), ink});
            }
        }
        if (*moment.worst == Grade::no_lock) {
            picture_.put(last, column, Cell{U'x', ink});
        }
    }

    void draw_details() {
        std::vector<std::string> words = details_of(reception_);
        if (face_.reading.restarts != 0) {
            words.push_back(fmt::format("searches {}", face_.reading.restarts + 1));
        }
        words.emplace_back("q ends");
        int row = rows_.details_at;
        int column = 0;
        for (const std::string &word : words) {
            const int width = static_cast<int>(word.size());
            if (column + width > columns() && column > 0) {
                ++row;
                column = 0;
            }
            picture_.put(row, column, word);
            column += width + 2;
        }
    }

    const MeterFace &face_;
    const ReceptionReading &reception_;
    Glyphs glyphs_;
    GradeLook look_;
    Rows rows_;
    Picture picture_;
};

}  // namespace

Picture draw_meter(const MeterFace &face, ScreenSize size, Glyphs glyphs) {
    return MeterDrawing(face, size, glyphs).draw();
}

}  // namespace host
