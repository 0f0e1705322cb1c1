// SPDX-License-Identifier: MIT
#include "host/terminal/picture.h"

#include "trace/printable.h"

namespace host {

namespace {

// Letters of one column, as far as names of satellites and channels use them: Latin, Greek and
// Cyrillic without combining marks.
bool takes_one_column(char32_t glyph) {
    constexpr char32_t soft_hyphen = 0xAD;
    return (glyph >= 0x20 && glyph < 0x7F) ||
           (glyph >= 0xA0 && glyph < 0x300 && glyph != soft_hyphen) ||
           (glyph >= 0x370 && glyph < 0x483) || (glyph >= 0x48A && glyph < 0x530);
}

// How many bytes follow the first one of a character.
std::size_t bytes_after(unsigned char first) {
    if (first < 0xC0) {
        return 0;
    }
    if (first < 0xE0) {
        return 1;
    }
    return first < 0xF0 ? 2 : 3;
}

}  // namespace

std::u32string characters_of(std::string_view text) {
    const std::string whole = trace::printable(text);  // valid UTF-8 from here on
    std::u32string characters;
    for (std::size_t i = 0; i < whole.size();) {
        const auto first = static_cast<unsigned char>(whole[i]);
        const std::size_t after = bytes_after(first);
        char32_t glyph = after == 0 ? first : first & (0x3FU >> after);
        for (std::size_t k = 1; k <= after && i + k < whole.size(); ++k) {
            glyph = glyph << 6U | (static_cast<unsigned char>(whole[i + k]) & 0x3FU);
        }
        i += after + 1;
        const bool is_blank = glyph == U'\n' || glyph == U'\t';
        characters += is_blank ? U' ' : takes_one_column(glyph) ? glyph : U'?';
    }
    return characters;
}

std::string utf8_of(char32_t glyph) {
    const auto tail = [glyph](unsigned shift) {
        return static_cast<char>(0x80U | (glyph >> shift & 0x3FU));
    };
    if (glyph < 0x80) {
        return {static_cast<char>(glyph)};
    }
    if (glyph < 0x800) {
        return {static_cast<char>(0xC0U | glyph >> 6U), tail(0)};
    }
    if (glyph < 0x10000) {
        return {static_cast<char>(0xE0U | glyph >> 12U), tail(6), tail(0)};
    }
    return {static_cast<char>(0xF0U | glyph >> 18U), tail(12), tail(6), tail(0)};
}

Picture::Picture(ScreenSize size)
    : size_(size),
      cells_(static_cast<std::size_t>(size.columns) * static_cast<std::size_t>(size.rows)) {}

const Cell &Picture::at(int row, int column) const {
    return cells_.at(static_cast<std::size_t>(row) * static_cast<std::size_t>(size_.columns) +
                     static_cast<std::size_t>(column));
}

void Picture::put(int row, int column, const Cell &cell) {
    if (row >= 0 && row < size_.rows && column >= 0 && column < size_.columns) {
        cells_[static_cast<std::size_t>(row) * static_cast<std::size_t>(size_.columns) +
               static_cast<std::size_t>(column)] = cell;
    }
}

void Picture::put(int row, int column, std::string_view text, Ink ink, bool reversed) {
    for (const char32_t glyph : characters_of(text)) {
        put(row, column++, Cell{glyph, ink, reversed});
    }
}

std::string Picture::line(int row) const {
    std::string text;
    for (int column = 0; column < size_.columns; ++column) {
        text += utf8_of(at(row, column).glyph);
    }
    return text.substr(0, text.find_last_not_of(' ') + 1);
}

}  // namespace host
