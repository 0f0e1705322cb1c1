// SPDX-License-Identifier: MIT
#include "trace/printable.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

namespace trace {

namespace {

std::uint8_t byte_of(char c) { return static_cast<std::uint8_t>(c); }

bool is_continuation(char c) { return (byte_of(c) & 0xC0U) == 0x80U; }

// The bytes that a character's first one announces, and what the second must lie in: the ranges
// leave out overlong forms, surrogates and what lies beyond Unicode.
struct Lead {
    std::uint8_t first;
    std::uint8_t last;
    std::size_t length;
    std::uint8_t second_low;
    std::uint8_t second_high;
};

constexpr std::array<Lead, 9> leads{{{0x00, 0x7F, 1, 0x00, 0xFF},
                                     {0xC2, 0xDF, 2, 0x80, 0xBF},
                                     {0xE0, 0xE0, 3, 0xA0, 0xBF},
                                     {0xE1, 0xEC, 3, 0x80, 0xBF},
                                     {0xED, 0xED, 3, 0x80, 0x9F},
                                     {0xEE, 0xEF, 3, 0x80, 0xBF},
                                     {0xF0, 0xF0, 4, 0x90, 0xBF},
                                     {0xF1, 0xF3, 4, 0x80, 0xBF},
                                     {0xF4, 0xF4, 4, 0x80, 0x8F}}};

struct CodeRange {
    char32_t first;
    char32_t last;
};

// Of two or three bytes each.
constexpr std::array<CodeRange, 5> steering{{
    {0x80, 0x9F},      // a terminal takes them for ESC and a letter
    {0x61C, 0x61C},    // the direction of letters
    {0x200E, 0x200F},  // the same
    {0x2028, 0x202E},  // ends of lines and paragraphs, directions of stretches
    {0x2066, 0x2069},  // directions of stretches
}};

bool is_plain(char c) { return c == '\n' || c == '\t' || (byte_of(c) < 0x80 && !is_control(c)); }

// How many bytes the well-formed character in front of a text has; 0 where there is none.
std::size_t utf8_length(std::string_view text) {
    if (text.empty()) {
        return 0;
    }
    const std::uint8_t front = byte_of(text.front());
    const auto *const lead =
        std::find_if(leads.begin(), leads.end(), [front](const Lead &candidate) {
            return front >= candidate.first && front <= candidate.last;
        });
    if (lead == leads.end() || text.size() < lead->length) {
        return 0;
    }
    const std::string_view rest = text.substr(1, lead->length - 1);
    const bool whole = rest.empty() || (byte_of(rest.front()) >= lead->second_low &&
                                        byte_of(rest.front()) <= lead->second_high);
    return whole && std::all_of(rest.begin(), rest.end(), is_continuation) ? lead->length : 0;
}

// Of a character of two or three bytes.
char32_t code_of(std::string_view character) {
    char32_t code = byte_of(character.front()) & (character.size() == 2 ? 0x1FU : 0x0FU);
    for (const char c : character.substr(1)) {
        code = code << 6U | (byte_of(c) & 0x3FU);
    }
    return code;
}

// Of a character that is not plain.
bool is_shown(std::string_view character) {
    return character.size() > 1 && steering_character(character).length == 0;
}

}  // namespace

SteeringCharacter steering_character(std::string_view text) {
    const std::size_t length = utf8_length(text);
    if (length != 2 && length != 3) {
        return {};
    }
    const char32_t code = code_of(text.substr(0, length));
    const bool steers = std::any_of(steering.begin(), steering.end(), [code](CodeRange range) {
        return code >= range.first && code <= range.last;
    });
    return steers ? SteeringCharacter{code, length} : SteeringCharacter{};
}

bool is_control(char c) { return byte_of(c) < 0x20 || byte_of(c) == 0x7F; }

std::string byte_escape(char c) { return fmt::format("\\x{:02X}", byte_of(c)); }

std::string printable(std::string_view text) {
    std::string shown;
    shown.reserve(text.size());
    while (!text.empty()) {
        const auto plain = std::find_if_not(text.begin(), text.end(), is_plain) - text.begin();
        shown += text.substr(0, static_cast<std::size_t>(plain));
        text.remove_prefix(static_cast<std::size_t>(plain));
        if (text.empty()) {
            break;
        }
        const std::string_view character =
            text.substr(0, std::max<std::size_t>(utf8_length(text), 1));
        if (is_shown(character)) {
            shown += character;
        } else {
            for (const char c : character) {
                shown += byte_escape(c);
            }
        }
        text.remove_prefix(character.size());
    }
    return shown;
}

}  // namespace trace
