// SPDX-License-Identifier: MIT
#include "sim/scenario_text.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstddef>

#include "sim/scenario.h"

namespace sim {

namespace {

// Walks through a text and knows, as far as it matters, where it is.
class TextWalk {
 public:
    TextWalk(std::string_view text, const std::string &name) : rest_(text), name_(name) {}

    void run() {
        constexpr std::string_view byte_order_mark = "\xEF\xBB\xBF";
        if (rest_.starts_with(byte_order_mark)) {
            rest_.remove_prefix(byte_order_mark.size());
        }
        while (!rest_.empty()) {
            check_front();
            rest_.remove_prefix(step());
        }
    }

 private:
    enum class Place { outside, comment, string };

    void check_front() const {
        const auto c = static_cast<unsigned char>(rest_.front());
        const bool is_blank = c == '\t' || c == '\n' || rest_.starts_with("\r\n");
        if ((c < 0x20 && !is_blank) || c == 0x7F) {
            refuse(fmt::format("a control character (0x{:02X})", c));
        }
        // Those of two bytes: a terminal takes them for ESC and a letter.
        if (c == 0xC2 && rest_.size() > 1 && static_cast<unsigned char>(rest_[1]) < 0xA0) {
            refuse(fmt::format("a control character (U+00{:02X})",
                               static_cast<unsigned char>(rest_[1])));
        }
        if (c >= 0x80 && place_ == Place::outside) {
            refuse("a character that is no ASCII, outside of comments and strings");
        }
    }

    // Take note of what stands in front. Returns how many characters that is.
    std::size_t step() {
        const char c = rest_.front();
        if (c == '\n') {
            ++line_;
            place_ = place_ == Place::string && multi_line_ ? place_ : Place::outside;
            return 1;
        }
        if (place_ == Place::string) {
            return step_in_string();
        }
        if (place_ == Place::outside && c == '#') {
            place_ = Place::comment;
        } else if (place_ == Place::outside && (c == '"' || c == '\'')) {
            return open(c);
        }
        return 1;
    }

    std::size_t open(char quote) {
        quote_ = quote;
        multi_line_ = quotes() >= 3;
        // Two are an empty string.
        place_ = quotes() == 2 ? Place::outside : Place::string;
        return multi_line_ ? 3 : std::min<std::size_t>(quotes(), 2);
    }

    std::size_t step_in_string() {
        // Of what an escape may hide, only these decide where the string ends.
        if (quote_ == '"' && (rest_.starts_with("\\\"") || rest_.starts_with("\\\\"))) {
            return 2;
        }
        if (rest_.front() != quote_ || (multi_line_ && quotes() < 3)) {
            return 1;
        }
        place_ = Place::outside;
        // The last three of up to five end a string of several lines.
        return multi_line_ ? std::min<std::size_t>(quotes(), 5) : 1;
    }

    // How many of the string's quotes stand in front.
    [[nodiscard]] std::size_t quotes() const {
        return std::min(rest_.find_first_not_of(quote_), rest_.size());
    }

    [[noreturn]] void refuse(const std::string &what) const {
        throw ScenarioError(fmt::format("{}:{}: {}", name_, line_, what));
    }

    std::string_view rest_;
    const std::string &name_;
    unsigned line_ = 1;
    Place place_ = Place::outside;
    char quote_ = '"';
    bool multi_line_ = false;
};

}  // namespace

void check_scenario_text(std::string_view text, const std::string &name) {
    TextWalk(text, name).run();
}

}  // namespace sim
