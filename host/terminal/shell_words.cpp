// SPDX-License-Identifier: MIT
#include "host/terminal/shell_words.h"

#include <stdexcept>

namespace host {

namespace {

constexpr std::string_view plain =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_-./:,=+@%";

}  // namespace

std::string shell_word(const std::string &word) {
    if (!word.empty() && word.find_first_not_of(plain) == std::string::npos) {
        return word;
    }
    std::string quoted = "'";
    for (const char c : word) {
        quoted += c == '\'' ? "'\\''" : std::string(1, c);
    }
    return quoted + "'";
}

std::vector<std::string> split_words(std::string_view text) {
    std::vector<std::string> words;
    bool in_word = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == ' ') {
            in_word = false;
            continue;
        }
        if (!in_word) {
            words.emplace_back();
            in_word = true;
        }
        if (text[i] == '\\' && i + 1 < text.size()) {
            words.back() += text[++i];
        } else if (text[i] == '\'') {
            const auto end = text.find('\'', i + 1);
            if (end == std::string_view::npos) {
                throw std::invalid_argument("a quote is not closed");
            }
            words.back() += text.substr(i + 1, end - i - 1);
            i = end;
        } else {
            words.back() += text[i];
        }
    }
    return words;
}

}  // namespace host
