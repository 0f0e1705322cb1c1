// SPDX-License-Identifier: MIT
#include "trace/message_text.h"

#include <algorithm>

namespace trace {

namespace {

constexpr std::string_view decimal = "0123456789";
constexpr std::string_view hexadecimal = "0123456789abcdef";

// The text with `stand_in` for every run of digits that stands behind `front`.
std::string without_numbers(std::string_view text, std::string_view front, std::string_view digits,
                            std::string_view stand_in) {
    std::string out;
    for (auto found = text.find(front); found != std::string_view::npos; found = text.find(front)) {
        const auto begin = found + front.size();
        const auto end = std::min(text.find_first_not_of(digits, begin), text.size());
        out += text.substr(0, begin);
        if (end > begin) {
            out += stand_in;
        }
        text.remove_prefix(end);
    }
    return out.append(text);
}

}  // namespace

std::string without_addresses(std::string_view message) {
    return without_numbers(message, "0x", hexadecimal, "*");
}

std::string without_times(std::string_view message) {
    return without_numbers(without_addresses(message), " at ", decimal, "*");
}

bool same_message(std::string_view a, std::string_view b) {
    return without_times(a) == without_times(b);
}

}  // namespace trace
