// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace host {

// A picture of dots for a terminal: each character, one of Unicode's braille patterns, holds two
// dots by four.
class BraillePicture {
 public:
    BraillePicture(std::size_t columns, std::size_t rows)
        : columns_(columns), rows_(rows), patterns_(columns * rows, 0) {}

    [[nodiscard]] std::size_t width() const { return 2 * columns_; }
    [[nodiscard]] std::size_t height() const { return 4 * rows_; }

    // Set a dot; (0, 0) is the lower left one. One outside is nowhere to be seen.
    void dot(std::size_t x, std::size_t y);

    // Set the dots between two heights, both included.
    void column(std::size_t x, std::size_t from_y, std::size_t to_y);

    // A row of characters in UTF-8, the upper one first.
    [[nodiscard]] std::string row(std::size_t index) const;

 private:
    std::size_t columns_;
    std::size_t rows_;
    std::vector<unsigned char> patterns_;
};

}  // namespace host
