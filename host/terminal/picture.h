// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace host {

struct ScreenSize {
    int columns = 0;
    int rows = 0;
    bool operator==(const ScreenSize &) const = default;
};

// How a character is drawn; a terminal without colours draws some of them alike.
enum class Ink { plain, faint, strong, red, yellow, green };

struct Cell {
    char32_t glyph = U' ';
    Ink ink = Ink::plain;
    bool reversed = false;
};

// What a whole screen of text shows. What is put beyond its edges is not seen.
class Picture {
 public:
    explicit Picture(ScreenSize size);

    [[nodiscard]] ScreenSize size() const { return size_; }
    [[nodiscard]] const Cell &at(int row, int column) const;

    void put(int row, int column, const Cell &cell);

    // Text of ours or from outside: what steers a terminal is escaped, and what would not take
    // one column becomes a question mark.
    void put(int row, int column, std::string_view text, Ink ink = Ink::plain,
             bool reversed = false);

    // A row as text, without the blanks at its end.
    [[nodiscard]] std::string line(int row) const;

 private:
    ScreenSize size_;
    std::vector<Cell> cells_;
};

// Text as the characters that put() would take.
std::u32string characters_of(std::string_view text);

// A character as UTF-8.
std::string utf8_of(char32_t glyph);

}  // namespace host
