// SPDX-License-Identifier: MIT
#pragma once

#include <fmt/format.h>

#include <cstdint>
#include <string>
#include <string_view>

namespace host {

// "1 row", "2 rows": a count of things whose plural ends in s.
inline std::string counted(std::uint64_t count, std::string_view what) {
    return fmt::format("{} {}{}", count, what, count == 1 ? "" : "s");
}

// "once", "2 times".
inline std::string times_in_words(std::uint64_t count) {
    return count == 1 ? "once" : fmt::format("{} times", count);
}

}  // namespace host
