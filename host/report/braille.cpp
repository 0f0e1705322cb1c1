// SPDX-License-Identifier: MIT
#include "host/report/braille.h"

#include <algorithm>
#include <array>

namespace host {

void BraillePicture::dot(std::size_t x, std::size_t y) {
    // The bits of the patterns from U+2800 on, left and right column from above.
    constexpr std::array<std::array<unsigned char, 4>, 2> bits{
        {{0x01, 0x02, 0x04, 0x40}, {0x08, 0x10, 0x20, 0x80}}};
    if (x >= width() || y >= height()) {
        return;
    }
    const std::size_t from_above = height() - 1 - y;
    patterns_[from_above / 4 * columns_ + x / 2] |= bits.at(x % 2).at(from_above % 4);
}

void BraillePicture::column(std::size_t x, std::size_t from_y, std::size_t to_y) {
    for (std::size_t y = std::min(from_y, to_y); y <= std::max(from_y, to_y); ++y) {
        dot(x, y);
    }
}

std::string BraillePicture::row(std::size_t index) const {
    std::string text;
    for (std::size_t i = 0; i < columns_; ++i) {
        const unsigned pattern = patterns_.at(index * columns_ + i);
        // U+2800 + pattern in UTF-8.
        text += '\xE2';
        text += static_cast<char>(0xA0U | pattern >> 6U);
        text += static_cast<char>(0x80U | (pattern & 0x3FU));
    }
    return text;
}

}  // namespace host
