// SPDX-License-Identifier: MIT
#include "host/monitor/big_digits.h"

#include <algorithm>
#include <array>

namespace host {

namespace {

constexpr int block_columns = 2;  // at scale 1

struct Figure {
    char character;
    std::array<std::string_view, big_digit_rows> rows;
};

// clang-format off
constexpr std::array figures{
    Figure{'0', {"###", "# #", "# #", "# #", "###"}},
    Figure{'1', {" # ", "## ", " # ", " # ", "###"}},
    Figure{'2', {"###", "  #", "###", "#  ", "###"}},
    Figure{'3', {"###", "  #", "###", "  #", "###"}},
    Figure{'4', {"# #", "# #", "###", "  #", "  #"}},
    Figure{'5', {"###", "#  ", "###", "  #", "###"}},
    Figure{'6', {"###", "#  ", "###", "# #", "###"}},
    Figure{'7', {"###", "  #", "  #", "  #", "  #"}},
    Figure{'8', {"###", "# #", "###", "# #", "###"}},
    Figure{'9', {"###", "# #", "###", "  #", "###"}},
    Figure{'+', {"   ", " # ", "###", " # ", "   "}},
    Figure{'-', {"   ", "   ", "###", "   ", "   "}},
    Figure{'.', {" ", " ", " ", " ", "#"}},
};
// clang-format on

const Figure *figure_of(char character) {
    const auto *const found =
        std::find_if(figures.begin(), figures.end(),
                     [=](const Figure &figure) { return figure.character == character; });
    return found == figures.end() ? nullptr : &*found;
}

int columns_of(const Figure &figure, int scale) {
    return (static_cast<int>(figure.rows.front().size()) + 1) * block_columns * scale;
}

void put_block(Picture &picture, int row, int column, int scale, const Cell &block) {
    for (int y = 0; y < scale; ++y) {
        for (int x = 0; x < block_columns * scale; ++x) {
            picture.put(row + y, column + x, block);
        }
    }
}

void put_figure(Picture &picture, int row, int column, const Figure &figure, int scale,
                const Cell &block) {
    for (const std::string_view blocks : figure.rows) {
        for (std::size_t i = 0; i < blocks.size(); ++i) {
            if (blocks[i] == '#') {
                put_block(picture, row, column + static_cast<int>(i) * block_columns * scale, scale,
                          block);
            }
        }
        row += scale;
    }
}

}  // namespace

int big_digits_columns(std::string_view text, int scale) {
    int columns = 0;
    for (const char character : text) {
        const Figure *const figure = figure_of(character);
        columns += figure == nullptr ? 0 : columns_of(*figure, scale);
    }
    return columns;
}

void put_big_digits(Picture &picture, int row, int column, std::string_view text, int scale,
                    const Cell &block) {
    for (const char character : text) {
        if (const Figure *const figure = figure_of(character)) {
            put_figure(picture, row, column, *figure, scale, block);
            column += columns_of(*figure, scale);
        }
    }
}

}  // namespace host
