// SPDX-License-Identifier: MIT
#include "host/terminal/suggestion.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <numeric>

namespace host {

namespace {

bool same_letter(char a, char b) {
    return std::tolower(static_cast<unsigned char>(a)) ==
           std::tolower(static_cast<unsigned char>(b));
}

// Letters to put in, take out or change to make one word of the other.
std::size_t distance_between(std::string_view a, std::string_view b) {
    std::vector<std::size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (const char letter : a) {
        std::size_t diagonal = row[0]++;
        for (std::size_t j = 0; j < b.size(); ++j) {
            const std::size_t changed = diagonal + (same_letter(letter, b[j]) ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({changed, row[j] + 1, row[j + 1] + 1});
        }
    }
    return row.back();
}

}  // namespace

std::string did_you_mean(std::string_view word, const std::vector<std::string> &known) {
    // One slip in a short word; two letters that changed places are two; more in long words.
    constexpr std::size_t short_word = 3;
    const std::size_t most_slips =
        word.size() <= short_word ? 1 : std::max<std::size_t>(2, word.size() / 4);
    std::size_t least = most_slips + 1;
    std::string_view nearest;
    for (const std::string &candidate : known) {
        const std::size_t slips = distance_between(word, candidate);
        if (slips < least) {
            least = slips;
            nearest = candidate;
        }
    }
    return nearest.empty() ? "" : fmt::format(" (did you mean {}?)", nearest);
}

}  // namespace host
